#include "kiv/changer/element_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

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
Bytes library() {
  return image(
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
      "01 01 0C 00 3B 1A 00 00 00 00 00 00 "  // 0101h; accessible, exception 3Bh/1Ah: drive removed
      "00 00 00 00 " +                        // no identifier
      zeros(34));
}

constexpr const char* libraryText =
    "ChangerElementStatusPage::toString(), Type: 1, PVolTag 0, DescLength 16, bytes desc. available 16"
    "\nRobot Address 1"
    "\n Robot State ................... Normal"
    "\n Media Present ................. Yes"
    "\n ASC/ASCQ ...................... 0000"
    "\n Source Element Address Valid .. Yes"
    "\n Source Element Address ........ 4660"
    "\n Location (Fra/Col/Row/Acc)..... 2/2/3/A (VX7100/7200 only)"
    "ChangerElementStatusPage::toString(), Type: 2, PVolTag 1, DescLength 60, bytes desc. available 120"
    "\nSlot Address ................... 4096"
    "\n Slot State .................... Normal"
    "\n Robot Access Allowed .......... Yes"
    "\n Media Inverted ................ Yes"
    "\n Volume Tag .................... QOR001L6"
    "\n Cartridge Location............. F1/C2/R3"
    "\n Media Present ................. Yes"
    "\n ASC/ASCQ ...................... 0000"
    "\n Source Element Address Valid .. No"
    "\n Source Element Address ........ N/A"
    "\n Location (Fra/Col/Row/Acc)..... N/A (VX7100/7200 only)"
    "\nSlot Address ................... 4097"
    "\n Slot State .................... Abnormal"
    "\n Robot Access Allowed .......... No"
    "\n Media Inverted ................ No"
    "\n Volume Tag ....................  "
    "\n Cartridge Location............. CAFE"
    "\n Media Present ................. No"
    "\n ASC/ASCQ ...................... 3003"
    "\n Source Element Address Valid .. No"
    "\n Source Element Address ........ N/A"
    "\n Location (Fra/Col/Row/Acc)..... N/A (VX7100/7200 only)"
    "ChangerElementStatusPage::toString(), Type: 3, PVolTag 0, DescLength 60, bytes desc. available 60"
    "\nImport/Export Station Address 16"
    "\n Import/Export State ........... Normal"
    "\n Media Placed by Operator ...... Yes"
    "\n Import Enabled ................ No"
    "\n Export Enabled ................ Yes"
    "\n SCS Vendor ID ................. QOR     "
    "\n SCS Model ID .................. LIBRARY2        "
    "\n SCS Serial Number.............. LIB200000001"
    "\n SCS First Storage Address ..... 2000"
    "\n SCS Frame Number  ............. F02"
    "\n Media Present ................. Yes"
    "\n ASC/ASCQ ...................... 0000"
    "\n Source Element Address Valid .. Yes"
    "\n Source Element Address ........ 4097"
    "\n Location (Fra/Col/Row/Acc)..... 2/0/0/B (VX7100/7200 only)"
    "ChangerElementStatusPage::toString(), Type: 4, PVolTag 0, DescLength 50, bytes desc. available 100"
    "\nDrive Address 256"
    "\n Drive State ................... Normal (Drive Present)"
    "\n Same Bus as Medium Changer .... No"
    "\n Logical Unit Number ........... 5"
    "\n SCSI Bus Address .............. 7"
    "\n Device ID ..................... QOR     ULTRIUM-PX6     1068000073"
    "\n Media Present ................. No"
    "\n ASC/ASCQ ...................... 0000"
    "\n Source Element Address Valid .. No"
    "\n Source Element Address ........ N/A"
    "\n Location (Fra/Col/Row/Acc)..... N/A (VX7100/7200 only)"
    "\nDrive Address 257"
    "\n Drive State ................... Abnormal (Drive Not Present)"
    "\n Same Bus as Medium Changer .... Yes"
    "\n Logical Unit Number ........... N/A"
    "\n SCSI Bus Address .............. N/A"
    "\n Device ID ..................... "
    "\n Media Present ................. No"
    "\n ASC/ASCQ ...................... 3B1A"
    "\n Source Element Address Valid .. No"
    "\n Source Element Address ........ N/A"
    "\n Location (Fra/Col/Row/Acc)..... N/A (VX7100/7200 only)";

/// The decoded data of an image in a buffer of exactly its size.
std::unique_ptr<ChangerElementStatusData> decoded(const Bytes& data, bool identifiers = true) {
  return std::make_unique<ChangerElementStatusData>(data.data(), static_cast<ulong32>(data.size()),
                                                    identifiers);
}

template <class Descriptor>
const Descriptor& descriptor(const ChangerElementStatusData& data, std::uint16_t page, std::uint16_t index) {
  return dynamic_cast<Descriptor&>(*data.getElementStatusPage(page)->getDescriptor(index));
}

TEST(ElementStatus, RendersAWholeLibrary) {
  const Bytes data = library();
  EXPECT_EQ(decoded(data)->toString(), libraryText);
}

TEST(ElementStatus, DecodesAWholeLibrary) {
  const Bytes bytes = library();
  const auto data = decoded(bytes);
  EXPECT_EQ(data->getFirstElementAddressReported(), 1);
  EXPECT_EQ(data->getNumberElementsAvail(), 6);
  EXPECT_EQ(data->getByteCntReportAvail(), 328u);
  ASSERT_EQ(data->getNumberPages(), 4);
  EXPECT_EQ(data->getElementStatusPage(4), nullptr);
  EXPECT_EQ(data->getElementStatusPage(1)->getByteDescAvailable(), 120u);
  EXPECT_EQ(data->getElementStatusPage(1)->getNumberDescriptors(), 2);
  EXPECT_EQ(data->getElementStatusPage(1)->getDescriptor(2), nullptr);
  EXPECT_EQ(data->getElementStatusPage(1)->getMaxReportedElementAddress(), 0x1001);
  EXPECT_EQ(data->getMaxReportedElementAddress(), 0x1001);

  EXPECT_TRUE(descriptor<MediumTransportElemStatusDescriptor>(*data, 0, 0).isInvert());

  const auto& slot = descriptor<StorageWithDVCIDElemStatusDescriptor>(*data, 1, 1);
  EXPECT_TRUE(slot.isExcept());
  EXPECT_EQ(slot.getAsc(), 0x30);
  EXPECT_EQ(slot.getAscq(), 0x03);
  EXPECT_EQ(slot.getCodeSet(), 1);
  EXPECT_EQ(slot.getIdentifierType(), 3);
  EXPECT_EQ(slot.getIdentifierLength(), 2);

  const auto& station = descriptor<IOElemwDVCIDStatusDescriptor>(*data, 2, 0);
  EXPECT_TRUE(station.isMediaChangerConnected());
  EXPECT_TRUE(station.isAccess());
  EXPECT_FALSE(station.isInvert());
  EXPECT_EQ(station.getSrcStorageElemAddress(), 0x1001);

  const auto& drive = descriptor<DataTransferwDVCIDElemStatusDescriptor>(*data, 3, 0);
  EXPECT_TRUE(drive.isLunValid() && drive.isIdValid() && drive.isNotBus() && drive.isAccess());
  EXPECT_EQ(drive.getLun(), 5);
  EXPECT_EQ(drive.getScsiBusAddress(), 7);
}

TEST(ElementStatus, DecodesWithoutIdentifiers) {
  const Bytes bytes = library();
  const auto data = decoded(bytes, false);
  EXPECT_EQ(data->getMaxReportedElementAddress(), 0x1001);
  EXPECT_EQ(dynamic_cast<ElementIdentification*>(data->getElementStatusPage(1)->getDescriptor(0)), nullptr);
  const auto& drive = descriptor<DataTransferElemStatusDescriptor>(*data, 3, 1);
  EXPECT_FALSE(drive.isDrivePresent());
  EXPECT_NE(drive.toString().find("Device ID ..................... N/A"), std::string::npos);
}

TEST(ElementStatus, DecodesWhatAnyTruncationLeaves) {
  const Bytes whole = library();
  std::size_t before = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    for (const bool identifiers : {false, true}) {
      const Bytes data(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      const auto status = decoded(data, identifiers);
      EXPECT_EQ(status->getNumberElementsAvail(), size < 8 ? 0 : 6);
      std::size_t descriptors = 0;
      for (std::uint16_t i = 0; i < status->getNumberPages(); ++i)
        descriptors += status->getElementStatusPage(i)->getNumberDescriptors();
      EXPECT_GE(descriptors, before) << size;
      before = descriptors;
      const std::string report = status->toString();
      EXPECT_EQ(report == libraryText, identifiers && size == whole.size());
    }
  }
  EXPECT_EQ(before, 6u);
}

TEST(ElementStatus, SurvivesEveryByteAtItsExtremes) {
  const Bytes whole = library();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF}) {
      Bytes data = whole;
      data[at] = static_cast<std::uint8_t>(value);
      const auto status = decoded(data);
      EXPECT_LE(status->getNumberPages(), 4);
      EXPECT_LE(status->toString().size(), 100000u);
    }
  }
}

/// Pages of storage elements without anything behind their 12 bytes.
std::string page(int type, int count) {
  char header[32];
  std::snprintf(header, sizeof header, "%02X 00 00 0C 00 00 00 %02X ", type, 12 * count);
  std::string written = header;
  for (int i = 0; i < count; ++i) written += "10 00 01 00 00 00 00 00 00 00 00 00 ";
  return written;
}

TEST(ElementStatus, EndsWhereThePagesEnd) {
  const std::string header = "00 01 FF FF 00 FF FF FF ";
  const struct {
    const char* name;
    std::string pages;
    std::vector<int> descriptors;  // by page
  } rows[] = {
      {"nothing", "", {}},
      {"a fifth page", page(1, 1) + page(2, 2) + page(3, 1) + page(4, 3) + page(2, 1), {1, 2, 1, 3}},
      {"an unknown type ends the walk", page(2, 1) + page(5, 1) + page(4, 1), {1}},
      {"zeros behind the pages", page(2, 1) + page(0, 0), {1}},
      {"a byte count beyond the data",
       page(2, 1) + "04 00 00 0C 00 00 00 0D 01 00 01 00 00 00 00 00 00 00 00 00 ",
       {1}},
      {"a byte count of 24 bits", "04 00 00 0C 00 FF FF FF " + page(2, 1), {}},
      {"a descriptor length of 0 ends the page",
       "04 00 00 00 00 00 00 0C " + page(2, 1).substr(24) + page(2, 1),
       {0, 1}},
      {"descriptors longer than the page",
       "04 00 FF FF 00 00 00 0C " + page(2, 1).substr(24) + page(2, 1),
       {0, 1}},
      {"a descriptor that is not whole",
       "02 00 00 0C 00 00 00 12 " + page(2, 1).substr(24) + "10 01 01 00 00 00 ",
       {1}},
      {"part of a page header", page(2, 1) + "04 00 00 0C 00 00 00 ", {1}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Bytes data = image(header + row.pages);
    const auto status = decoded(data, false);
    std::vector<int> descriptors;
    for (std::uint16_t i = 0; i < status->getNumberPages(); ++i)
      descriptors.push_back(status->getElementStatusPage(i)->getNumberDescriptors());
    EXPECT_EQ(descriptors, row.descriptors);
  }
  EXPECT_EQ(ChangerElementStatusData(nullptr, 100, true).toString(), "");
  EXPECT_EQ(ChangerElementStatusPage(nullptr, 100, true).getNumberDescriptors(), 0);
}

TEST(ElementStatus, KeepsToTheNumberOfElementAddresses) {
  Bytes data(16 + 70000, 0);
  std::ranges::copy(bytes("00 00 FF FF 00 01 11 78 02 00 00 01 00 01 11 70"), data.begin());
  EXPECT_EQ(decoded(data)->getElementStatusPage(0)->getNumberDescriptors(), 65535);
}

TEST(ElementStatusDescriptor, ReadsItsVolumeTag) {
  const struct {
    const char* name;
    std::string tag;
    bool volumeTags;
    ulong32 length;
    const char* expected;
  } rows[] = {
      {"none on this page", text("QOR001L6", 36), false, 48, "<not valid>"},
      {"blanks behind it", text("QOR001L6", 36), true, 48, "QOR001L6"},
      {"full width", text("123456789012345678901234567890123456", 36), true, 48,
       "123456789012345678901234567890123456"},
      {"up to a zero byte", text(std::string("QOR001\0L6", 9), 36), true, 48, "QOR001"},
      {"empty", zeros(36), true, 48, " "},
      {"blanks only", text("", 36), true, 48, ""},
      {"47 bytes are enough", text("QOR001L6", 36), true, 47, "QOR001L6"},
      {"46 bytes are not", text("QOR001L6", 36), true, 46, " "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Bytes data = image("10 00 01 00 00 00 00 00 00 00 00 00 " + row.tag);
    data.resize(row.length);
    StorageElemStatusDescriptor slot(data.data(), row.length, static_cast<std::uint16_t>(row.length),
                                     row.volumeTags);
    slot.decodeData();
    EXPECT_EQ(slot.getPrimVolumeTag(), row.expected);
    EXPECT_EQ(slot.isPrimVolumeTagValid(), row.volumeTags);
  }
}

TEST(ElementStatusDescriptor, FindsItsIdentifierBehindTheVolumeTag) {
  Bytes data = image("10 00 01 00 00 00 00 00 00 00 00 00 02 F1 00 03 41 42 43 " + text("", 45));
  StorageWithDVCIDElemStatusDescriptor without(data.data(), 64, 64, false);
  without.decodeData();
  EXPECT_EQ(without.getCodeSet(), 2);
  EXPECT_EQ(without.getIdentifierType(), 1);
  EXPECT_EQ(without.getBinary_Identifier(), bytes("41 42 43"));

  std::ranges::copy(bytes("01 04 00 FF"), data.begin() + 48);
  StorageWithDVCIDElemStatusDescriptor with(data.data(), 64, 64, true);
  with.decodeData();
  EXPECT_EQ(with.getCodeSet(), 1);
  EXPECT_EQ(with.getIdentifierLength(), 255);
  EXPECT_EQ(with.getBinary_Identifier().size(), 12u) << "no more than the descriptor holds";

  StorageWithDVCIDElemStatusDescriptor cut(data.data(), 63, 64, true);
  cut.decodeData();
  EXPECT_EQ(cut.getElementAddress(), 0) << "not wholly there: all defaults";
  EXPECT_FALSE(cut.isFull());
  EXPECT_EQ(cut.getIdentifierLength(), 0);
}

TEST(ElementStatusDescriptor, TellsANeighbourByA44ByteIdentifier) {
  Bytes data = image("00 10 40 00 00 00 00 00 00 00 00 00 02 01 00 2C " + text("QOR", 44));
  for (const std::uint8_t length : {std::uint8_t{44}, std::uint8_t{43}}) {
    data[15] = length;
    IOElemwDVCIDStatusDescriptor station(data.data(), 60, 60, false);
    station.decodeData();
    EXPECT_EQ(station.isMediaChangerConnected(), length == 44);
  }
}

TEST(ElementStatusDescriptor, SplitsASourceAddress) {
  Bytes data(12);
  data[9] = 0x80;
  const struct {
    std::uint8_t high, low;
    const char* location;
  } rows[] = {{0x12, 0x34, "2/2/3/A"}, {0xFF, 0xFF, "31/7/15/B"}, {0x00, 0x0E, "0/0/0/A"}};
  for (const auto& row : rows) {
    data[10] = row.high;
    data[11] = row.low;
    MediumTransportElemStatusDescriptor robot(data.data(), 12, 12, false);
    robot.decodeData();
    EXPECT_NE(robot.toString().find(std::string("..... ") + row.location + " (VX"), std::string::npos);
  }
}

TEST(ElementStatus, LogsItsDecoding) {
  const Bytes data = library();
  CapturedOutput output;
  const LogLevel level(LOG_DEBUG);
  decoded(data);
  for (const char* line :
       {"SCSI0000D ChangerElementStatusPage::decodeData, type 3",
        "SCSI0000D MediumTransportElemStatusDescriptor::decodeData",
        "SCSI0000D IOElemwDVCIDStatusDescriptor::decodeData desclen:60 volTag:0",
        "SCSI0000D IOElemwDVCIDStatusDescriptor::decodeData Addr:0010 identifierLength:44 offset:12",
        "SCSI0000D DataTransferwDVCIDElemStatusDescriptor::decodeData"})
    EXPECT_THAT(output.lines(), testing::Contains(line));
}

}  // namespace
