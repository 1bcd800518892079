#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/scsi/big_endian.h"
#include "kiv/update/scan_bus.h"
#include "tests/support/captured_output.h"
#include "tests/update/update_test.h"

using simulator::Bytes;
using simulator::Fault;
using simulator::Sense;
using testing::Contains;
using testing::ElementsAre;
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

class ProductString : public UpdateTest {
 protected:
  static constexpr std::uint8_t targetId = 5;

  simulator::VirtualDrive& addDrive(const std::string& model, simulator::DriveOptions options = {}) {
    return room.addDrive({.target = targetId, .model = model, .level = "A1B2", .serial = "SN5"}, options);
  }
  /// The product string of the device, asked while its target is closed.
  std::string product() {
    ScsiTarget target;
    EXPECT_EQ(target.openDevice(0, targetId, 0, 0, nullptr, 1), CMD_OK);
    target.closeDevice();
    std::string text;
    const char* result = getProductString(&target, text);
    EXPECT_EQ(result, text.data());
    EXPECT_FALSE(target.isOpened());
    return text;
  }
};

constexpr std::uint32_t named = 0;

struct FeatureCase {
  const char* model;
  std::uint8_t bufferId;
  std::uint32_t offset;
};

/// Every bit but one says the opposite.
Bytes featureBuffer(const FeatureCase& row, bool ready) {
  if (row.offset == named) {
    const Bytes word = ready ? Bytes{0xEF, 0xFF, 0xFF, 0xFF} : Bytes{0x10, 0, 0, 0};
    return featureRecord("lib_features", Bytes(4)) + featureRecord("lib_feature", word) + tail;
  }
  Bytes buffer(row.offset + 100, ready ? 0xFF : 0x00);
  buffer[row.offset] = ready ? 0xF7 : 0x08;
  return buffer;
}

TEST_F(ProductString, TellsAutomationReadinessByModel) {
  constexpr FeatureCase cases[] = {
      {"ULTRIUM-PX1", 3, 104}, {"ULTRIUM-PX2", 3, 6403}, {"ULTRIUM-PX3", 3, 403}, {"RX3 HH", 3, 403},
      {"PX4", 3, 403},         {"RX4", 3, 403},          {"PX5", 3, 471},         {"RX5", 3, 471},
      {"PX6", 3, named},       {"RX6", 3, named},        {"PX7", 3, named},       {"RX7", 3, named},
      {"PX8", 3, named},       {"RX8", 3, named},        {"W11", 7, named},       {"PX6 PX1 RX5", 3, named},
      {"RX5 PX1", 3, 471},     {"W11 PX1", 7, named},
  };
  auto& drive = addDrive("");
  for (const FeatureCase& row : cases) {
    drive.options().model = row.model;
    const std::string plain = std::string("QOR-") + row.model + ":Fibre";
    drive.setBuffer(row.bufferId, featureBuffer(row, true));
    EXPECT_EQ(product(), plain + ":AutomationReady");
    drive.setBuffer(row.bufferId, featureBuffer(row, false));
    EXPECT_EQ(product(), plain);
  }
}

TEST_F(ProductString, AsksOnlyForWhatTheModelAndTheModesCallFor) {
  auto& drive = addDrive("ULTRIUM-TD9");
  EXPECT_EQ(product(), "QOR-ULTRIUM-TD9:Fibre");
  drive.options().model = "ULTRIUM-PX6";
  automationReadyMode = false;
  EXPECT_EQ(product(), "QOR-ULTRIUM-PX6:Fibre");
  EXPECT_EQ(room.journal().count("3C"), 0u);
  EXPECT_EQ(room.journal().count("12 01 03"), 2u);
}

TEST_F(ProductString, OfAChangerHasNoSuffix) {
  room.addChanger({.target = targetId, .model = "3573-TL PX6", .level = "0100"});
  EXPECT_EQ(product(), "QOR-3573-TL PX6");
  EXPECT_EQ(room.journal().count("3C"), 0u);
  EXPECT_EQ(room.journal().count("12 01 03"), 0u);
}

TEST_F(ProductString, DropsASuffixWhoseTestFails) {
  const FeatureCase byteModel = {"PX1", 3, 104};
  const Sense refused = {.key = 5, .asc = 0x24};
  const Fault faults[] = {
      {.cdb = "3C 03", .sense = refused},
      {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 0}},    // no capacity
      {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 104}},  // the byte lies just beyond
      {.cdb = "3C 02", .sense = refused},
      {.cdb = "3C 02", .transfer = 104},
  };
  addDrive(byteModel.model).setBuffer(byteModel.bufferId, featureBuffer(byteModel, true));
  for (const Fault& fault : faults) {
    room.addFault(fault);
    EXPECT_EQ(product(), "QOR-PX1:Fibre");
    room.faults().clear();
    EXPECT_EQ(room.journal().count("12 01 03"), 1u) << "the load id is asked for all the same";
    room.journal().clear();
  }
  EXPECT_EQ(product(), "QOR-PX1:Fibre:AutomationReady");
}

TEST_F(ProductString, TellsTheSecondVersionByItsLoadId) {
  struct {
    const char* model;
    std::uint32_t loadId;
    bool second;
  } const cases[] = {
      {"PX3", 0xA1700D75, false}, {"PX3", 0xA1700D76, true},  {"RX3", 0xA1700D76, true},
      {"PX4", 0xFFFFFFFF, true},  {"RX4", 0xA1700D75, false}, {"RX4", 0xA1700E00, true},
      {"PX5", 0xFFFFFFFF, false}, {"TD9", 0xFFFFFFFF, false},
  };
  automationReadyMode = false;
  auto& drive = addDrive("");
  for (const auto& row : cases) {
    drive.options().model = row.model;
    Bytes page(43);
    writeBigEndian(page, 8, 4, row.loadId);
    room.addFault({.cdb = "12 01 03", .reply = page});
    EXPECT_EQ(product(), std::string("QOR-") + row.model + ":Fibre" + (row.second ? ":v2" : ""));
    room.faults().clear();
  }
}

TEST_F(ProductString, IgnoresALoadIdThatDidNotArriveWhole) {
  automationReadyMode = false;
  addDrive("PX3", {.loadId = 0xFFFFFFFF});
  room.addFault({.cdb = "12 01 03", .transfer = 11});
  EXPECT_EQ(product(), "QOR-PX3:Fibre");
  EXPECT_EQ(product(), "QOR-PX3:Fibre:v2");
  room.addFault({.cdb = "12 01 03", .sense = Sense{.key = 5, .asc = 0x24}});
  EXPECT_EQ(product(), "QOR-PX3:Fibre");
}

TEST_F(ProductString, LeavesAnOpenTargetOpen) {
  addDrive("PX3");
  ScsiTarget target;
  ASSERT_EQ(target.openDevice(0, targetId, 0, 0, nullptr, 1), CMD_OK);
  std::string text;
  getProductString(&target, text);
  EXPECT_TRUE(target.isOpened());
  target.closeDevice();
}

TEST_F(ProductString, LogsItsFindings) {
  auto& drive = addDrive("PX1");
  drive.setBuffer(3, featureBuffer({"PX1", 3, 104}, true));
  LogLevel level(LOG_DEBUG);
  CapturedOutput bytes;
  product();
  EXPECT_THAT(bytes.lines(),
              IsSupersetOf({"MAIN0000D BufferLength 204", "MAIN0000D Inquiry Page 0x3 Load ID A0000001",
                            "MAIN0000D Productstring is <QOR-PX1:Fibre:AutomationReady>"}));
  EXPECT_THAT(bytes.text(), testing::HasSubstr(" AutomationReady Check (40 bytes):\n"));

  drive.options().model = "PX7";
  drive.setBuffer(3, featureRecord("lib_feature", {0x00, 0x00, 0x01, 0x00}) + tail);
  CapturedOutput entries;
  product();
  EXPECT_THAT(entries.lines(),
              IsSupersetOf({"TSTS0021D getVPDEntryAsString check name lib_feature Matches ABCD length:4",
                            "TSTS0021D getVPDEntryAsString check name lib_feature return 256",
                            "MAIN0000D ::getVPDEntryAsUlong returned: 256",
                            "MAIN0000D ::getVPDEntryAsUlong masked: 0"}));

  drive.setBuffer(3, Bytes(50));
  CapturedOutput missing;
  product();
  EXPECT_THAT(missing.lines(), Contains("MAIN0000D ::getVPDEntryAsUlong failed"));
}

// Named entries

/// Looks an entry up in a copy that ends where the buffer ends. False leaves the value alone.
testing::AssertionResult finds(Bytes buffer, const std::string& name, ulong32 expected) {
  buffer.shrink_to_fit();
  ulong32 value = 0x5A5A5A5A;
  if (!getVPDEntryAsULong(buffer.data(), static_cast<ulong32>(buffer.size()), name, value)) {
    EXPECT_EQ(value, 0x5A5A5A5Au);
    return testing::AssertionFailure() << "not found";
  }
  if (value == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "found " << value;
}

TEST(NamedEntry, IsReadBigEndian) {
  const Bytes before = featureRecord("other", {1, 2, 3, 4});
  EXPECT_TRUE(finds(before + featureRecord("name", {}) + tail, "name", 0));
  EXPECT_TRUE(finds(before + featureRecord("name", {0xFE}) + tail, "name", 0xFE));
  EXPECT_TRUE(finds(before + featureRecord("name", {0xA1, 0x70, 0x0D, 0x75}) + tail, "name", 0xA1700D75));
  EXPECT_TRUE(finds(before + featureRecord("name", {1, 2, 3, 4, 5, 6, 7, 8}) + tail, "name", 0x05060708));
  EXPECT_FALSE(finds(before + featureRecord("name", Bytes(9)) + tail, "name", 0));
  EXPECT_FALSE(finds(before + featureRecord("names", {1}) + tail, "name", 1));
  EXPECT_TRUE(finds(featureRecord("name", Bytes(9)) + featureRecord("name", {7}) + tail, "name", 7))
      << "the walk goes on after an entry that is too long";
}

TEST(NamedEntry, IsNotFoundInACutBuffer) {
  const Bytes whole = featureRecord("other", {1, 2, 3, 4}) + featureRecord("name", {0, 0, 1, 0}) + Bytes(1);
  EXPECT_TRUE(finds(whole, "name", 256));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(
        finds(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), "name", 256))
        << length;
  }
}

TEST(NamedEntry, SurvivesHostileLengths) {
  const Bytes good = featureRecord("name", {1, 2, 3, 4}) + tail;
  for (std::size_t field : {0u, 12u, 36u}) {
    for (std::uint32_t hostile :
         {0u, 1u, 5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFDCu, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
      Bytes buffer = good;
      writeBigEndian(buffer, field, 4, hostile);
      // The length of the record does not matter to the entry in it, unless it ends the walk.
      const bool found = field == 0 ? hostile != 0 : field == 36 && hostile <= 5;
      ulong32 value = 0;
      EXPECT_EQ(getVPDEntryAsULong(buffer.data(), static_cast<ulong32>(buffer.size()), "name", value), found)
          << field << " " << hostile;
    }
  }
  ulong32 value = 0;
  EXPECT_FALSE(getVPDEntryAsULong(nullptr, 100, "name", value));
}

}  // namespace
