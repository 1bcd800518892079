#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/device/controller.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/update/scan_bus.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::Bytes;
using simulator::Fault;
using simulator::Sense;
using testing::IsSupersetOf;

namespace {

/// One record of a feature buffer.
Bytes featureRecord(const std::string& name, const Bytes& value) {
  Bytes record(36 + name.size() + value.size());
  writeBigEndian(record, 0, 4, record.size() - 4);
  writeBigEndian(record, 8, 4, 0x4E414D45);
  writeBigEndian(record, 12, 4, name.size());
  std::copy(name.begin(), name.end(), record.begin() + 16);
  writeBigEndian(record, 16 + name.size(), 4, 0xABCD);
  writeBigEndian(record, 32 + name.size(), 4, value.size());
  std::copy(value.begin(), value.end(), record.end() - static_cast<std::ptrdiff_t>(value.size()));
  return record;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Bytes tail(36);

/// Offset of the byte with the feature bit, or 0 for the named entry.
constexpr std::uint32_t named = 0;

/// A buffer in which every bit but one says the opposite.
Bytes featureBuffer(std::uint32_t offset, bool ready) {
  if (offset == named) {
    const Bytes word = ready ? Bytes{0xEF, 0xFF, 0xFF, 0xFF} : Bytes{0x10, 0, 0, 0};
    return featureRecord("lib_features", Bytes(4)) + featureRecord("lib_feature", word) + tail;
  }
  Bytes buffer(offset + 100, ready ? 0xFF : 0x00);
  buffer[offset] = ready ? 0xF7 : 0x08;
  return buffer;
}

Bytes loadIdPage(std::uint32_t loadId) {
  Bytes page(43);
  writeBigEndian(page, 8, 4, loadId);
  return page;
}

class ProductString : public UpdateTest {
 protected:
  /// The product string of the drive, asked while its target is closed.
  std::string product(const std::string& model) {
    drive.options().model = model;
    ScsiTarget target;
    EXPECT_EQ(target.openDevice(0, 5, 0, 0, nullptr, 1), CMD_OK);
    target.closeDevice();
    std::string text;
    const char* result = getProductString(&target, text);
    EXPECT_EQ(result, text.data());
    EXPECT_FALSE(target.isOpened());
    return text;
  }

  simulator::VirtualDrive& drive = room.addDrive({.target = 5, .level = "A1B2"});
};

TEST_F(ProductString, TellsAutomationReadinessByModel) {
  struct {
    const char* model;
    std::uint8_t bufferId;
    std::uint32_t offset;
  } const cases[] = {
      {"ULTRIUM-PX1", 3, 104}, {"ULTRIUM-PX2", 3, 6403}, {"PX3", 3, 403},   {"RX3 HH", 3, 403},
      {"PX4", 3, 403},         {"RX4", 3, 403},          {"PX5", 3, 471},   {"RX5", 3, 471},
      {"PX6", 3, named},       {"RX6", 3, named},        {"PX7", 3, named}, {"RX7", 3, named},
      {"PX8", 3, named},       {"RX8", 3, named},        {"W11", 7, named}, {"PX6 RX5", 3, named},
      {"RX5 PX1", 3, 471},     {"W11 PX8", 7, named},
  };
  for (const auto& row : cases) {
    const std::string plain = std::string("QOR-") + row.model + ":Fibre";
    drive.setBuffer(row.bufferId, featureBuffer(row.offset, true));
    EXPECT_EQ(product(row.model), plain + ":AutomationReady");
    drive.setBuffer(row.bufferId, featureBuffer(row.offset, false));
    EXPECT_EQ(product(row.model), plain);
    drive.removeBuffer(row.bufferId);
  }
}

TEST_F(ProductString, HasOnlyTheSuffixesWhoseTestPasses) {
  const Sense refused = {.key = 5, .asc = 0x24};
  struct {
    const char* model;
    Fault fault;
    const char* suffixes;
  } const cases[] = {
      {"PX1", {.cdb = "none"}, ":AutomationReady"},
      {"PX1", {.cdb = "3C 03", .sense = refused}, ""},
      {"PX1", {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 0}}, ""},    // no capacity
      {"PX1", {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 104}}, ""},  // the byte lies just beyond
      {"PX1", {.cdb = "3C 02", .sense = refused}, ""},
      {"PX1", {.cdb = "3C 02", .transfer = 104}, ""},
      {"PX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D75)}, ""},
      {"PX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D76)}, ":v2"},
      {"RX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D76)}, ":v2"},
      {"PX4", {.cdb = "12 01 03", .reply = loadIdPage(0xFFFFFFFF)}, ":v2"},
      {"RX4", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700E00)}, ":v2"},
      {"RX4", {.cdb = "12 01 03", .transfer = 11, .reply = loadIdPage(0xFFFFFFFF)}, ""},
      {"RX4", {.cdb = "12 01 03", .sense = refused}, ""},
      {"PX5", {.cdb = "12 01 03", .reply = loadIdPage(0xFFFFFFFF)}, ""},
  };
  for (const auto& row : cases) {
    drive.setBuffer(3, featureBuffer(104, true));
    room.journal().clear();
    room.addFault(row.fault);
    EXPECT_EQ(product(row.model), std::string("QOR-") + row.model + ":Fibre" + row.suffixes);
    EXPECT_EQ(room.journal().count("12 01 03"), 1u) << "the load id is asked for in any case";
    room.faults().clear();
  }
}

TEST_F(ProductString, AsksOnlyForWhatItNeeds) {
  EXPECT_EQ(product("ULTRIUM-TD9"), "QOR-ULTRIUM-TD9:Fibre");
  automationReadyMode = false;
  EXPECT_EQ(product("ULTRIUM-PX6"), "QOR-ULTRIUM-PX6:Fibre");
  EXPECT_EQ(room.journal().count("3C"), 0u);

  room.addChanger({.target = 6, .model = "3573-TL PX6", .level = "0100"});
  ScsiTarget changer;
  ASSERT_EQ(changer.openDevice(0, 6, 0, 0, nullptr, 1), CMD_OK);
  room.journal().clear();
  std::string text;
  EXPECT_STREQ(getProductString(&changer, text), "QOR-3573-TL PX6");
  EXPECT_TRUE(changer.isOpened()) << "an open target stays open";
  EXPECT_TRUE(room.journal().lines().empty());
  changer.closeDevice();
}

TEST_F(ProductString, TellsTheDriveInsideALibrary) {
  directory.write("Devlist.txt", "LibraryCheck=true\nAutomationReadyCheck=false\n");
  drive.options().model = "PX3";
  room.addFault({.cdb = "12 01 03", .device = drive.address(), .times = 0, .reply = loadIdPage(0xFFFFFFFF)});
  room.addDrive({.target = 7, .model = "PX3", .level = "A1B2"});
  room.addChanger({.target = 6, .model = "3573-TL", .level = "0100"}, {.bays = {&drive}});
  EXPECT_EQ(scanScsiBus(4), FW_NO_DRIVE_CONNECTED);
  EXPECT_TRUE(libraryMode);
  EXPECT_FALSE(automationReadyMode);
  std::vector<std::string> products;
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    ASSERT_EQ(target->openDevice(), CMD_OK);
    std::string text;
    products.push_back(getProductString(target, text));
    EXPECT_TRUE(target->isOpened()) << "the drives were closed while the library was asked";
    target->closeDevice();
  }
  EXPECT_THAT(products, testing::ElementsAre("QOR-PX3:Fibre:Library:v2", "QOR-3573-TL", "QOR-PX3:Fibre"));
}

TEST_F(ProductString, LogsItsFindings) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  drive.setBuffer(3, featureBuffer(104, true));
  product("PX1");
  drive.setBuffer(3, featureRecord("lib_feature", {0x00, 0x00, 0x01, 0x00}) + tail);
  product("PX7");
  EXPECT_THAT(output.lines(),
              IsSupersetOf({"MAIN0000D BufferLength 204", "MAIN0000B AutomationReady Check (40 bytes):",
                            "MAIN0000D Productstring is <QOR-PX1:Fibre:AutomationReady>",
                            "TSTS0021D getVPDEntryAsString check name lib_feature Matches ABCD length:4",
                            "TSTS0021D getVPDEntryAsString check name lib_feature return 256",
                            "MAIN0000D ::getVPDEntryAsUlong returned: 256",
                            "MAIN0000D ::getVPDEntryAsUlong masked: 0"}));
}

// Named entries

/// Whether the buffer, and nothing behind its end, holds this number. A failure leaves the number alone.
bool holds(Bytes buffer, ulong32 expected) {
  buffer.shrink_to_fit();
  ulong32 value = 0x5A5A5A5A;
  const bool found = getVPDEntryAsULong(buffer.data(), static_cast<ulong32>(buffer.size()), "name", value);
  EXPECT_TRUE(found || value == 0x5A5A5A5A);
  return found && value == expected;
}

TEST(NamedEntry, IsReadBigEndian) {
  const Bytes before = featureRecord("other", {1, 2, 3, 4});
  EXPECT_TRUE(holds(before + featureRecord("name", {}) + tail, 0));
  EXPECT_TRUE(holds(before + featureRecord("name", {0xFE}) + tail, 0xFE));
  EXPECT_TRUE(holds(before + featureRecord("name", {1, 2, 3, 4, 0xA1, 0x70, 0x0D, 0x75}) + tail, 0xA1700D75));
  EXPECT_FALSE(holds(before + featureRecord("names", {0}) + tail, 0));
  EXPECT_TRUE(holds(featureRecord("name", Bytes(9)) + featureRecord("name", {7}) + tail, 7))
      << "the walk goes on after an entry that is too long";
}

TEST(NamedEntry, IsNotFoundInACutBuffer) {
  const Bytes whole = featureRecord("other", {1, 2, 3, 4}) + featureRecord("name", {0, 0, 1, 0}) + Bytes(1);
  EXPECT_TRUE(holds(whole, 256));
  for (auto end = whole.begin(); end != whole.end(); ++end)
    EXPECT_FALSE(holds(Bytes(whole.begin(), end), 256));
}

TEST(NamedEntry, SurvivesHostileLengths) {
  for (std::size_t field : {0u, 12u, 36u}) {
    for (std::uint32_t hostile : {0u, 9u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFDCu, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
      Bytes buffer = featureRecord("name", {1, 2, 3, 4}) + tail;
      writeBigEndian(buffer, field, 4, hostile);
      // The length of a record does not matter to the entry in it, unless it ends the walk.
      EXPECT_EQ(holds(buffer, 0x01020304), field == 0 && hostile != 0) << field << " " << hostile;
    }
  }
}

}  // namespace
