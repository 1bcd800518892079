#include "kiv/scsi/big_endian.h"
#include "kiv/update/scan_bus.h"
#include "tests/support/room_test.h"

namespace {

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// One record of a feature buffer.
Bytes featureRecord(const std::string& name, const Bytes& value) {
  Bytes head(16), middle(20);
  writeBigEndian(head, 0, 4, 32 + name.size() + value.size());
  writeBigEndian(head, 8, 4, 0x4E414D45);
  writeBigEndian(head, 12, 4, name.size());
  writeBigEndian(middle, 0, 4, 0xABCD);
  writeBigEndian(middle, 16, 4, value.size());
  return head + Bytes(name.begin(), name.end()) + middle + value;
}

const Bytes tail(36);

/// Offset of the byte with the feature bit, or 0 for the named entry.
constexpr std::uint32_t NAMED = 0;

/// A buffer in which every bit but one says the opposite.
Bytes featureBuffer(std::uint32_t offset, bool ready) {
  if (offset == NAMED) {
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
    target = ScsiTarget();
    EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
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
  const struct {
    const char* model;
    std::uint8_t bufferId;
    std::uint32_t offset;
  } rows[] = {
      {"ULTRIUM-PX1", 3, 104}, {"ULTRIUM-PX2", 3, 6403}, {"PX3", 3, 403},   {"RX3 HH", 3, 403},
      {"PX4", 3, 403},         {"RX4", 3, 403},          {"PX5", 3, 471},   {"RX5", 3, 471},
      {"PX6", 3, NAMED},       {"RX6", 3, NAMED},        {"PX7", 3, NAMED}, {"RX7", 3, NAMED},
      {"PX8", 3, NAMED},       {"RX8", 3, NAMED},        {"W11", 7, NAMED}, {"PX6 RX5", 3, NAMED},
      {"RX5 PX1", 3, 471},     {"W11 PX8", 7, NAMED},
  };
  for (const auto& row : rows) {
    for (const bool ready : {true, false}) {
      drive.setBuffer(row.bufferId, featureBuffer(row.offset, ready));
      EXPECT_EQ(product(row.model),
                std::string("QOR-") + row.model + ":Fibre" + (ready ? ":AutomationReady" : ""));
    }
    drive.removeBuffer(row.bufferId);
  }
}

TEST_F(ProductString, HasOnlyTheSuffixesWhoseTestPasses) {
  const Sense refused = {.key = 5, .asc = 0x24};
  const std::pair<const char*, Fault> rows[] = {
      {"PX1", {.cdb = "none"}},
      {"PX1", {.cdb = "3C 03", .sense = refused}},
      {"PX1", {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 0}}},    // no capacity
      {"PX1", {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 104}}},  // the byte lies just beyond
      {"PX1", {.cdb = "3C 03", .reply = Bytes{0, 0, 0, 105}}},
      {"PX1", {.cdb = "3C 02", .sense = refused}},
      {"PX1", {.cdb = "3C 02", .transfer = 104}},
      {"PX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D75)}},
      {"PX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D76)}},
      {"RX3", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700D76)}},
      {"PX4", {.cdb = "12 01 03", .reply = loadIdPage(0xFFFFFFFF)}},
      {"RX4", {.cdb = "12 01 03", .reply = loadIdPage(0xA1700E00)}},
      {"RX4", {.cdb = "12 01 03", .transfer = 11, .reply = loadIdPage(0xFFFFFFFF)}},
      {"RX4", {.cdb = "12 01 03", .sense = refused}},
      {"PX5", {.cdb = "12 01 03", .reply = loadIdPage(0xFFFFFFFF)}},
      {"PX7", {.cdb = "none"}},
  };
  for (const auto& [model, fault] : rows) {
    drive.setBuffer(3, std::string(model) == "PX7"
                           ? featureRecord("lib_feature", {0x00, 0x00, 0x01, 0x00}) + tail
                           : featureBuffer(104, true));
    room.journal().clear();
    room.addFault(fault);
    std::string text;
    const auto log = logOf([&] { text = product(model); });
    record(text);
    for (const std::string& line : log)
      if (line.starts_with("MAIN") || line.starts_with("TSTS")) record("  " + line);
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
  ASSERT_EQ(openAt(target = ScsiTarget(), 0, 0, 6), CMD_OK);
  room.journal().clear();
  std::string text;
  EXPECT_STREQ(getProductString(&target, text), "QOR-3573-TL PX6");
  EXPECT_TRUE(target.isOpened()) << "an open target stays open";
  EXPECT_TRUE(room.journal().lines().empty());
}

TEST_F(ProductString, TellsTheDriveInsideALibrary) {
  directory.write("Devlist.txt", "LibraryCheck=true\nAutomationReadyCheck=false\n");
  drive.options().model = "PX3";
  room.addFault({.cdb = "12 01 03", .device = drive.address(), .times = 0, .reply = loadIdPage(0xFFFFFFFF)});
  room.addDrive({.target = 5, .lun = 1, .model = "PX3", .level = "A1B2"});
  room.addDrive({.target = 7, .model = "PX3", .level = "A1B2"});
  room.addChanger({.target = 6, .model = "3573-TL", .level = "0100"}, {.bays = {&drive}});
  EXPECT_EQ(scanScsiBus(4), FW_NO_DRIVE_CONNECTED);
  EXPECT_TRUE(libraryMode);
  EXPECT_FALSE(automationReadyMode);
  for (ScsiTarget* device : deviceController.getDeviceList()) {
    ASSERT_EQ(device->openDevice(), CMD_OK);
    std::string text;
    record(getProductString(device, text));
    EXPECT_TRUE(device->isOpened()) << "the drives were closed while the library was asked";
    device->closeDevice();
  }
  // Told to look no more, the library is not asked; it stays so until a table says otherwise.
  directory.write("Devlist.txt", "AutomationReadyCheck=false\n");
  for (int scan = 0; scan < 2; ++scan) {
    scanScsiBus(4);
    TELL(libraryMode);
  }
}

/// Whether the buffer, and nothing behind its end, holds this number. A failure leaves the number alone.
bool holds(Bytes buffer, ulong32 expected) {
  buffer.shrink_to_fit();
  ulong32 value = 0x5A5A5A5A;
  const bool found = getVPDEntryAsULong(buffer.data(), static_cast<ulong32>(buffer.size()), "name", value);
  EXPECT_TRUE(found || value == 0x5A5A5A5A);
  return found && value == expected;
}

TEST(NamedEntry, IsReadBigEndianAndWhole) {
  const Bytes before = featureRecord("other", {1, 2, 3, 4});
  EXPECT_TRUE(holds(before + featureRecord("name", {}) + tail, 0));
  EXPECT_TRUE(holds(before + featureRecord("name", {0xFE}) + tail, 0xFE));
  EXPECT_TRUE(holds(before + featureRecord("name", {1, 2, 3, 4, 0xA1, 0x70, 0x0D, 0x75}) + tail, 0xA1700D75));
  EXPECT_FALSE(holds(before + featureRecord("names", {0}) + tail, 0));
  EXPECT_TRUE(holds(featureRecord("name", Bytes(9)) + featureRecord("name", {7}) + tail, 7))
      << "the walk goes on after an entry that is too long";
  const Bytes whole = before + featureRecord("name", {0, 0, 1, 0}) + Bytes(1);
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
