#include "kiv/changer/element_status.h"

#include <algorithm>
#include <memory>

#include "tests/support/captured_output.h"
#include "tests/support/record.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Text as bytes, padded with blanks.
std::string text(std::string value, std::size_t width) {
  value.resize(width, ' ');
  return hex(std::span(reinterpret_cast<const std::uint8_t*>(value.data()), width)) + " ";
}
std::string zeros(std::size_t count) { return text(std::string(count, '\0'), count); }
Bytes image(const std::string& written) { return bytes(written.substr(0, written.size() - 1)); }

/// A library with one robot, two slots, an import/export station and two drive bays.
const std::string libraryImage =
    "00 01 00 06 00 00 01 48 "  // report: first element 1, 6 elements, 328 bytes follow
    // Robots.
    "01 00 00 10 00 00 00 10 "           // page: type 1, no volume tags, 16 bytes each, 16 in all
    "00 01 01 00 00 00 00 00 00 C0 12 "  // address 1; full; source valid, inverted
    "34 00 00 00 00 "                    // source 1234h
    // Slots.
    "02 80 00 3C 00 00 00 78 "                // page: type 2, volume tags, 60 bytes each, 120 in all
    "10 00 09 00 00 00 00 00 00 40 00 00 " +  // address 1000h; full, accessible; inverted
    text("QOR001L6", 36) +                    // primary volume tag
    "02 00 00 08 " +
    text("F1/C2/R3", 8) +                     // ASCII identifier
    "10 01 04 00 30 03 00 00 00 00 00 00 " +  // address 1001h; exception 30h/03h; not accessible
    zeros(36) +                               // an empty tag
    "01 03 00 02 CA FE 00 00 00 00 00 00 "    // binary identifier
    // Import/export stations.
    "03 00 00 3C 00 00 00 3C "              // page: type 3, 60 bytes each, 60 in all
    "00 10 6B 00 00 00 00 00 00 80 10 01 "  // 0010h; full, operator, accessible, bits 5 and 6; source
    "02 01 00 2C " +                        // ASCII identifier of 44 bytes
    text("QOR", 8) +
    text("LIBRARY2", 16) + text("LIB200000001", 12) + text("2000F02", 8) +
    // Drive bays.
    "04 00 00 32 00 00 00 64 "              // page: type 4, 50 bytes each, 100 in all
    "01 00 08 00 00 00 B5 07 00 00 00 00 "  // 0100h; accessible; all three valid bits, LUN 5, address 7
    "02 01 00 22 " +                        // T10 vendor identification of 34 bytes
    text("QOR", 8) +
    text("ULTRIUM-PX6", 16) + text("1068000073", 10) +
    "01 01 0C 00 3B 1A 00 00 00 00 00 00 " +  // 0101h; accessible, exception 3Bh/1Ah: drive removed
    zeros(38);                                // no identifier

ChangerElementStatusData* decoded(const Bytes& data, bool identifiers = true) {
  return new ChangerElementStatusData(data.data(), static_cast<ulong32>(data.size()), identifiers);
}
using Status = std::unique_ptr<ChangerElementStatusData>;

/// The number of descriptors on each page.
std::vector<int> descriptors(const ChangerElementStatusData& status) {
  std::vector<int> counts;
  for (std::uint16_t i = 0; i < status.getNumberPages(); ++i)
    counts.push_back(status.getElementStatusPage(i)->getNumberDescriptors());
  return counts;
}

TEST(ElementStatus, DecodesAWholeLibrary) {
  Record record;
  const Bytes data = image(libraryImage);
  for (const bool identifiers : {true, false}) {
    Status status;
    record("log", logOf([&] { status.reset(decoded(data, identifiers)); }));
    TELL(identifiers, status->toString());
    TELL(status->getFirstElementAddressReported(), status->getByteCntReportAvail(),
         status->getMaxReportedElementAddress());
    EXPECT_EQ(status->getElementStatusPage(4), nullptr);
    EXPECT_EQ(status->getElementStatusPage(1)->getDescriptor(2), nullptr);
    ElemStatusDescriptor* slot = status->getElementStatusPage(1)->getDescriptor(0);
    EXPECT_EQ(dynamic_cast<ElementIdentification*>(slot) != nullptr, identifiers);
  }
  for (std::size_t size = 0; size <= data.size(); ++size) {
    const Status cut(decoded(Bytes(data.data(), data.data() + size)));
    EXPECT_EQ(cut->getNumberElementsAvail(), size < 8 ? 0 : 6);
    EXPECT_EQ(cut->toString() == Status(decoded(data))->toString(), size == data.size());
  }
  Bytes many(16 + 70000);
  std::ranges::copy(bytes("00 00 FF FF 00 01 11 78 02 00 00 01 00 01 11 70"), many.begin());
  EXPECT_EQ(descriptors(*Status(decoded(many))), std::vector{65535}) << "element addresses have 16 bits";
}

/// Records what `flags` makes of descriptors with one bit set.
template <class Descriptor, typename Flags>
void tellBits(Record& record, const std::string& kind, Flags flags) {
  for (const std::size_t byte : {2u, 6u, 9u}) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      Bytes data(12);
      data[byte] = static_cast<std::uint8_t>(1u << bit);
      Descriptor descriptor(data.data(), 12, 12, false);
      descriptor.decodeData();
      record(kind + " byte " + std::to_string(byte) + " bit " + std::to_string(bit), flags(descriptor));
    }
  }
}

TEST(ElementStatus, ReadsEveryBit) {
  Record record;
  const auto each = [](std::initializer_list<std::pair<const char*, bool>> flags) {
    std::string set;
    for (const auto& [name, value] : flags)
      if (value) set += (set.empty() ? "" : " ") + std::string(name);
    return set;
  };
  tellBits<MediumTransportElemStatusDescriptor>(record, "robot", [&](const auto& d) {
    return each({{"full", d.isFull()},
                 {"except", d.isExcept()},
                 {"source", d.isSrcValid()},
                 {"invert", d.isInvert()}});
  });
  tellBits<StorageElemStatusDescriptor>(record, "slot", [&](const auto& d) {
    return each({{"full", d.isFull()},
                 {"except", d.isExcept()},
                 {"source", d.isSrcValid()},
                 {"invert", d.isInvert()},
                 {"access", d.isAccess()}});
  });
  tellBits<IOElemStatusDescriptor>(record, "station", [&](const auto& d) {
    return each({{"full", d.isFull()},
                 {"except", d.isExcept()},
                 {"source", d.isSrcValid()},
                 {"invert", d.isInvert()},
                 {"access", d.isAccess()},
                 {"export", d.isExportEnable()},
                 {"import", d.isImportEnable()},
                 {"operator", d.isOperatorPlacedMedium()}});
  });
  tellBits<DataTransferElemStatusDescriptor>(record, "drive", [&](const auto& d) {
    return each({{"full", d.isFull()},
                 {"except", d.isExcept()},
                 {"source", d.isSrcValid()},
                 {"invert", d.isInvert()},
                 {"access", d.isAccess()},
                 {"lun", d.isLunValid()},
                 {"id", d.isIdValid()},
                 {"not bus", d.isNotBus()}});
  });
}

/// A page of elements that consist of twelve bytes.
std::string page(int type, int count) {
  std::string written =
      hex(Bytes{static_cast<std::uint8_t>(type), 0, 0, 12, 0, 0, 0, static_cast<std::uint8_t>(12 * count)}) +
      " ";
  while (count-- > 0) written += "10 00 01 00 00 00 00 00 00 00 00 00 ";
  return written;
}

TEST(ElementStatus, EndsWhereThePagesEnd) {
  const std::string header = "00 01 FF FF 00 FF FF FF ", one = page(2, 1), element = one.substr(24);
  const struct {
    const char* name;
    std::string pages;
    std::vector<int> expected;
  } rows[] = {
      {"nothing", "", {}},
      {"a fifth page", page(1, 1) + page(2, 2) + page(3, 1) + page(4, 3) + one, {1, 2, 1, 3}},
      {"an unknown type", one + page(5, 1) + one, {1}},
      {"zeros", one + page(0, 0), {1}},
      {"a byte count beyond the data", one + "04 00 00 0C 00 00 00 0D " + element, {1}},
      {"a byte count of 24 bits", "04 00 00 0C 00 FF FF FF " + one, {}},
      {"a descriptor length of 0", "04 00 00 00 00 00 00 0C " + element + one, {0, 1}},
      {"descriptors longer than the page", "04 00 FF FF 00 00 00 0C " + element + one, {0, 1}},
      {"part of a descriptor", "02 00 00 0C 00 00 00 12 " + element + "10 01 01 00 00 00 ", {1}},
      {"a page without elements", one + page(4, 0), {1, 0}},
      {"part of a page header", one + "04 00 00 0C 00 00 00 ", {1}},
  };
  for (const auto& row : rows) {
    const Bytes data = image(header + row.pages);
    EXPECT_EQ(descriptors(*Status(decoded(data, false))), row.expected) << row.name;
  }
  EXPECT_EQ(ChangerElementStatusData(nullptr, 100, true).toString(), "");
  for (const std::uint8_t flags : std::initializer_list<std::uint8_t>{0x40, 0x80}) {
    Bytes data = image(header + one);
    data[9] = flags;
    EXPECT_EQ(Status(decoded(data))->getElementStatusPage(0)->isAlternateVolumeTag(), flags == 0x40);
  }
}

TEST(ElementStatus, ReadsVolumeTags) {
  const struct {
    std::string tag;
    bool volumeTags;
    std::uint16_t length;
    const char* expected;
  } rows[] = {
      {"QOR001L6", false, 48, "<not valid>"},
      {"QOR001L6", true, 48, "QOR001L6"},
      {"123456789012345678901234567890123456", true, 48, "123456789012345678901234567890123456"},
      {std::string("QOR001\0L6", 9), true, 48, "QOR001"},
      {std::string(36, '\0'), true, 48, " "},
      {"", true, 48, ""},  // blanks only
      {"QOR001L6", true, 47, "QOR001L6"},
      {"QOR001L6", true, 46, " "},
  };
  for (const auto& row : rows) {
    Bytes data = image("10 00 01 00 00 00 00 00 00 00 00 00 " + text(row.tag, 36));
    data.resize(row.length);
    StorageElemStatusDescriptor slot(data.data(), row.length, row.length, row.volumeTags);
    slot.decodeData();
    EXPECT_EQ(slot.getPrimVolumeTag(), row.expected) << row.length;
    EXPECT_EQ(slot.isPrimVolumeTagValid(), row.volumeTags);
  }
}

TEST(ElementStatus, ReadsIdentifiersWithinTheirDescriptor) {
  Bytes data = image("10 00 01 00 00 00 00 00 00 00 00 00 02 F1 00 03 41 42 43 " + text("", 45));
  std::ranges::copy(bytes("01 04 00 FF"), data.begin() + 48);  // the block behind a volume tag
  const auto decode = [&](ulong32 available, bool volumeTag) {
    auto slot = std::make_unique<StorageWithDVCIDElemStatusDescriptor>(data.data(), available, 64, volumeTag);
    slot->decodeData();
    return slot;
  };
  EXPECT_EQ(decode(64, false)->getCodeSet(), 2);
  EXPECT_EQ(decode(64, false)->getIdentifierType(), 1);
  EXPECT_EQ(hex(decode(64, false)->getBinary_Identifier()), "41 42 43");
  EXPECT_EQ(decode(64, true)->getCodeSet(), 1);
  EXPECT_EQ(decode(64, true)->getIdentifierLength(), 255);
  EXPECT_EQ(decode(64, true)->getBinary_Identifier().size(), 12u);
  EXPECT_EQ(decode(63, true)->getElementAddress(), 0) << "not wholly there: all defaults";
  EXPECT_EQ(decode(63, true)->getIdentifierLength(), 0);

  Bytes neighbour = image("00 10 40 00 00 00 00 00 00 00 00 00 02 01 00 2B " + text("QOR", 44));
  for (const std::uint8_t length : std::initializer_list<std::uint8_t>{43, 44}) {
    neighbour[15] = length;
    IOElemwDVCIDStatusDescriptor station(neighbour.data(), 60, 60, false);
    station.decodeData();
    EXPECT_EQ(station.isMediaChangerConnected(), length == 44) << "43 bytes do not name a library";
  }
}

}  // namespace
