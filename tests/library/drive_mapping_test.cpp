#include "kiv/library/drive_mapping.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

#include "kiv/device/controller.h"
#include "kiv/scsi/big_endian.h"
#include "simulator/room/room.h"
#include "simulator/windows/import_table.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

using simulator::Sense;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Bytes = std::vector<std::uint8_t>;

class Mapping : public testing::Test {
 protected:
  Mapping() { simulator::takeOverImports(); }
  ~Mapping() override {
    controller.clearDeviceList();
    EXPECT_EQ(room.openHandles(), 0u);
  }
  simulator::VirtualDrive& addDrive(std::uint8_t target, const char* serial) {
    return room.addDrive({.target = target, .model = "ULTRIUM-PX6", .serial = serial});
  }
  simulator::VirtualChanger& addLibrary(std::uint8_t target, std::vector<simulator::VirtualDrive*> bays,
                                        const char* serial = "LIB0000001") {
    const auto count = static_cast<std::uint16_t>(bays.size());
    return room.addChanger({.target = target, .model = "LIB-3573", .serial = serial},
                           {.drives = {0x0100, count}, .bays = std::move(bays)});
  }
  void scan(bool driverDevices = false) {
    controller.rediscoverSCSIBus(driverDevices, "", "", "");
    room.journal().clear();
  }
  /// "changer/drive" of every pair, by their serial numbers; meanwhile the library logs at this level.
  std::vector<std::string> pairs(logLevels logLevel = LOG_DEBUG) {
    std::vector<DriveMapping> map;
    const LogLevel level(logLevel);
    CapturedOutput output;
    ChangerDriveMapping().getMapping(controller, map);
    log = output.lines();
    std::vector<std::string> result;
    for (const DriveMapping& record : map)
      result.push_back(record.changerSerialNumber + "/" + record.driveSerialNumber);
    return result;
  }
  ScsiTarget& device(const char* serial) {
    for (ScsiTarget* target : controller.getDeviceList())
      if (std::string(target->getSerialNumber()) == serial) return *target;
    throw std::out_of_range(serial);
  }

  void expectLogged(const std::string& message) { EXPECT_THAT(log, Contains("CLCO0000" + message)); }

  simulator::Room room;
  DeviceController controller;
  std::vector<std::string> log;
};

TEST_F(Mapping, PairsDrivesWithTheBaysOfEveryLibrary) {
  auto& first = addDrive(1, "1068000071");
  auto& second = addDrive(2, "1068000072");
  addDrive(3, "1068000073");
  addLibrary(8, {&first, nullptr}, "LIB0000001");
  addLibrary(9, {nullptr, &second, nullptr}, "LIB0000002");
  scan();
  EXPECT_THAT(pairs(), ElementsAre("LIB0000001/1068000071", "LIB0000002/1068000072"));
  expectLogged(
      "D getElementAddressRanges: Library Element Addresses:[01h][1],[1000h][24],[10h][4],[100h][3]");
  expectLogged("D ChangerDriveMapping::getMapping ElementCount: 3");
  expectLogged("D compareDeviceInquiry: Inquiry data matches, [1068000072]");
  EXPECT_THAT(
      log, Contains("CLCO0000D ::compareDeviceInquiry - Inquiry data do not match, [1068000073]").Times(5));
  EXPECT_THAT(room.journal().cdbs("H0-B0-T8-L0"),
              ElementsAre("1A 08 1D 00 18 00", "B8 04 01 00 00 02 01 00 00 08 00 00",
                          HasSubstr("B8 04 01 00 00 02 01 00 00 ")));
  for (ScsiTarget* target : controller.getDeviceList()) EXPECT_FALSE(target->isOpened());
}

TEST_F(Mapping, FillsARecordAndKeepsWhatIsThere) {
  auto& drive = room.addDrive(
      {.adapter = 1, .bus = 1, .target = 5, .lun = 2, .model = "ULTRIUM-PX6", .serial = "1068000073"});
  addLibrary(8, {&drive});
  scan();
  std::vector<DriveMapping> map(1);
  ChangerDriveMapping().getMapping(controller, map);
  ASSERT_EQ(map.size(), 2u);
  const DriveMapping& r = map[1];
  EXPECT_EQ(r.changerSerialNumber + "/" + r.changerDriverName,
            std::string("LIB0000001/") + device("LIB0000001").getDriverName());
  EXPECT_EQ(r.driveSerialNumber + "/" + r.driveDriverName,
            std::string("1068000073/") + device("1068000073").getDriverName());
  EXPECT_EQ(r.driveModelName, "ULTRIUM-PX6     ");
  EXPECT_EQ(std::tuple(r.changerHostAdapter, r.changerBus, r.changerTargetId, r.changerLun),
            std::tuple(0, 0, 8u, 0u));
  EXPECT_EQ(std::tuple(r.driveHostAdapter, r.driveBus, r.driveTargetId, r.driveLun),
            std::tuple(1, 1, 5u, 2u));
}

TEST_F(Mapping, FindsNothingWithoutALibraryOrBays) {
  addDrive(1, "1068000071");
  scan();
  EXPECT_THAT(pairs(), IsEmpty());
  addLibrary(8, {});
  scan();
  EXPECT_THAT(pairs(), IsEmpty());
}

TEST_F(Mapping, WorksThroughTheMakersDriver) {
  auto& drive = addDrive(1, "1068000071");
  room.addChanger(
      {.target = 8, .serial = "LIB0000001", .claimed = true, .driver = simulator::DriverOptions{}},
      {.drives = {0x0100, 2}, .bays = {&drive, nullptr}});
  scan(true);
  EXPECT_THAT(pairs(), ElementsAre("LIB0000001/1068000071"));
  EXPECT_EQ(room.journal().count("CHANGER_GET_ELEMENT_STATUS"), 2u);
}

TEST_F(Mapping, WaitsForALibraryToBecomeReady) {
  auto& drive = addDrive(1, "1068000071");
  auto& library = addLibrary(8, {&drive});
  const Sense none{}, busy{.key = 2, .asc = 4, .ascq = 1}, broken{.key = 2, .asc = 4, .ascq = 3},
      reset{.key = 6};
  struct Refusal {
    unsigned times;
    Sense sense;
  };
  const struct {
    const char* name;
    Refusal modeSense, testUnitReady;
    std::size_t seconds, tests;  // slept, TEST UNIT READY sent
    const char* message;         // null: the drive is found
  } rows[] = {
      {"ready", {0, none}, {0, none}, 0, 0, nullptr},
      {"unit attention", {1, reset}, {0, none}, 1, 2, nullptr},
      {"ready in time", {1, busy}, {61, busy}, 61, 62, nullptr},
      {"too late", {1, busy}, {62, busy}, 61, 62, "TUR ready failed SK:(02h) ASC:(04h) ASCQ:(01h)"},
      {"broken", {1, reset}, {2, broken}, 1, 2, "TUR ready failed SK:(02h) ASC:(04h) ASCQ:(03h)"},
      {"mended", {1, reset}, {1, broken}, 1, 2, nullptr},
      {"no wait", {1, broken}, {0, none}, 0, 0, "Mode Sense Command failed SK:(02h) ASC:(04h) ASCQ:(03h)"},
      {"again",
       {2, reset},
       {0, none},
       1,
       2,
       "Loop Element Info Command failed SK:(06h) ASC:(00h) ASCQ:(00h)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    room.faults().clear();
    scan();
    const auto refuse = [&](const char* cdb, const Refusal& refusal) {
      if (refusal.times == 0) return;
      room.addFault({.cdb = cdb, .device = "H0-B0-T8-L0", .times = refusal.times, .sense = refusal.sense});
    };
    refuse("1A", row.modeSense);
    refuse("00", row.testUnitReady);
    EXPECT_EQ(pairs().size(), row.message ? 0u : 1u);
    EXPECT_EQ(room.journal().count("Sleep"), row.seconds);
    EXPECT_EQ(room.journal().count("00 00 00 00 00 00"), row.tests);
    EXPECT_EQ(device("LIB0000001").isOpened(), row.message != nullptr) << "left open when it fails";
    if (row.message == nullptr) continue;
    expectLogged("E getElementAddressRanges: " + std::string(row.message) +
                 ", [LIB-3573        ][LIB0000001]");
    expectLogged("E ChangerDriveMapping::getMapping, getElementAddressRanges failed for changer LIB0000001");
  }
  scan();
  room.faults().clear();
  library.restart(5);  // and then a unit attention
  EXPECT_EQ(pairs().size(), 1u);
  EXPECT_EQ(room.journal().count("Sleep"), 6u);
}

TEST_F(Mapping, GoesOnWithTheNextLibrary) {
  auto& drive = addDrive(1, "1068000071");
  addLibrary(8, {nullptr}, "LIB0000001");
  addLibrary(9, {&drive}, "LIB0000002");
  for (const unsigned nth : {1u, 2u}) {  // the header, the report
    scan();
    room.addFault({.cdb = "B8", .device = "H0-B0-T8-L0", .nth = nth, .sense = Sense{.key = 4, .asc = 0x44}});
    EXPECT_THAT(pairs(), ElementsAre("LIB0000002/1068000071"));
    expectLogged("E ReadElementStatus failed: SK:(04h) ASC:(44h) ASCQ:(00h), [LIB-3573        ][LIB0000001]");
    expectLogged("W ChangerDriveMapping::getMapping - Could not retrieve DescriptorTable");
    EXPECT_TRUE(device("LIB0000001").isOpened());
  }
}

TEST_F(Mapping, KeepsTheOutcomeOfTheCommandThatFailed) {
  addLibrary(8, {nullptr});
  scan();
  ScsiTarget& changer = device("LIB0000001");
  changer.openDevice();
  ChangerLibraryBaseCommands commands(&changer);
  EXPECT_TRUE(commands.getElementAddressRanges() && commands.areElementsDataAvailable());
  room.addFault({.cdb = "1A", .sense = Sense{.key = 5, .asc = 0x24}});
  EXPECT_FALSE(commands.getElementAddressRanges() || commands.areElementsDataAvailable());
  EXPECT_EQ(hex(commands.cdbSpan()), "1A 08 1D 00 18 00");
  EXPECT_EQ(commands.getExecutionStatus(), CMD_ERROR);
  EXPECT_EQ(commands.getSenseKey(), 5);
  commands.setChanger(nullptr);
  EXPECT_FALSE(commands.getElementAddressRanges());
}

/// A library whose report on its drive bays a test writes down.
class LyingLibrary : public Mapping {
 protected:
  LyingLibrary() {
    addDrive(1, "1068000073");
    addLibrary(8, {nullptr});
    scan();
  }
  /// Report and page header, then descriptors in hex.
  static Bytes report(int elements, std::uint8_t pageFlags, int descriptorLength,
                      const std::string& descriptors) {
    Bytes result = bytes(("01 00 00 00 00 00 00 FF 04 00 00 00 00 00 00 FF " + descriptors)
                             .substr(0, 47 + descriptors.size()));
    writeBigEndian(result, 2, 2, static_cast<std::uint64_t>(elements));
    result[9] = pageFlags;
    writeBigEndian(result, 10, 2, static_cast<std::uint64_t>(descriptorLength));
    return result;
  }
  /// Maps with this report, of which so many bytes arrive.
  std::size_t pairsWith(const Bytes& data, std::size_t arriving = 0xFFFF) {
    room.faults().clear();
    Bytes header = data;
    header.resize(8);
    room.addFault({.cdb = "B8", .nth = 1, .reply = header});
    const auto transfer = static_cast<std::uint32_t>(std::min(arriving, data.size()));
    room.addFault({.cdb = "B8", .nth = 2, .transfer = transfer, .reply = data});
    return pairs(LOG_ERROR).size();
  }
};

const std::string serial = "31 30 36 38 30 30 30 30 37 33 ";  // 1068000073
const std::string bay = "01 00 08 00 00 00 00 00 00 00 00 00 ";
const std::string named = "02 01 00 0A " + serial;

std::string zeros(std::size_t count) {
  std::string text;
  while (count-- > 0) text += "00 ";
  return text;
}

TEST_F(LyingLibrary, IsCheckedAgainstWhatArrived) {
  const struct {
    const char* name;
    int elements;
    std::uint8_t flags;
    int length;
    std::string descriptors;
    std::size_t pairs;
  } rows[] = {
      {"the serial number alone", 1, 0, 26, bay + named, 1},
      {"in the middle", 1, 0, 30, bay + "02 01 00 0E 41 42 " + serial + "43 44 ", 1},
      {"the last byte differs", 1, 0, 26, bay + "02 01 00 0A 31 30 36 38 30 30 30 30 37 34 ", 0},
      {"cut by its length", 1, 0, 26, bay + "02 01 00 09 " + serial, 0},
      {"behind a volume tag", 1, 0x80, 62, bay + zeros(36) + named, 1},
      {"in a volume tag", 1, 0x80, 62, bay + named + zeros(36), 0},
      {"length 252, 0 in eight bits", 1, 0, 26, bay + "02 01 00 FC " + serial, 0},
      {"length 255, 3 in eight bits", 1, 0, 26, bay + "02 01 00 FF " + serial, 0},
      {"length beyond the descriptor", 1, 0, 26, bay + "02 01 00 FB " + serial, 1},
      {"in the next bay only", 2, 0, 26, bay + "02 01 00 FB " + zeros(10) + bay + named, 1},
      {"in two bays", 2, 0, 26, bay + named + bay + named, 2},
      {"more elements than there are", 0xFFFF, 0, 26, bay + named, 1},
      {"fewer", 0, 0, 26, bay + named, 0},
      {"descriptor length 0", 0xFFFF, 0, 0, bay + named, 0},
      {"descriptor length beyond the data", 1, 0, 0xFFFF, bay + named, 0},
      {"no room for an identifier", 1, 0, 15, bay + named, 0},
      {"no descriptors", 1, 0, 26, "", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(pairsWith(report(row.elements, row.flags, row.length, row.descriptors)), row.pairs) << row.name;
    EXPECT_FALSE(device("1068000073").isOpened());
  }
  pairsWith(report(1, 0, 26, bay + "02 01 00 FC " + serial));
  EXPECT_THAT(log, ElementsAre("CLCO0000E ChangerDriveMapping::getMapping - identifier of length 0"));
  Bytes whole = report(1, 0, 26, bay + named);
  whole[5] = 0xFF;
  EXPECT_EQ(pairsWith(whole), 0u) << "a byte count that no adapter transfers";
}

TEST_F(LyingLibrary, MayTellAnythingAtAnyLength) {
  const Bytes whole = report(2, 0, 26, bay + "02 01 00 0A " + zeros(10) + bay + named);
  for (std::size_t size = 0; size <= whole.size(); ++size)
    EXPECT_EQ(pairsWith(whole, size), size == whole.size() ? 1u : 0u) << size;
  for (std::size_t at = 6; at < 46; ++at) {
    for (const int value : {0x00, 0x80, 0xFF}) {
      Bytes changed = whole;
      changed[at] = static_cast<std::uint8_t>(value);
      EXPECT_LE(pairsWith(changed), 2u);
    }
  }
}

TEST_F(LyingLibrary, NamesEveryDriveThatHasNoSerialNumber) {
  device("1068000073").setSerialNumber("");
  EXPECT_EQ(pairsWith(report(1, 0, 17, bay + "02 01 00 01 41 ")), 1u);
  EXPECT_EQ(pairsWith(report(1, 0, 17, bay + "02 01 00 FC 41 ")), 0u) << "an empty identifier";
  EXPECT_EQ(pairsWith(report(1, 0, 17, bay + "02 01 00 01 41 "), 32), 0u) << "the last byte is absent";
}

TEST_F(LyingLibrary, IsComparedWithDrivesOnly) {
  ChangerDriveMapping mapping;
  const Bytes identifier = bytes("00 31 30 36 38 30 30 30 30 37 33 00");
  const auto matches = [&](ScsiTarget* target, const std::uint8_t* data, ulong32 length) {
    mapping.setDevice(target);
    return mapping.compareDeviceInquiry(data, length);
  };
  ScsiTarget& drive = device("1068000073");
  EXPECT_FALSE(matches(nullptr, identifier.data(), 12));
  EXPECT_FALSE(matches(&device("LIB0000001"), identifier.data(), 12));
  EXPECT_TRUE(matches(&drive, identifier.data(), 12));
  EXPECT_FALSE(matches(&drive, identifier.data(), 0));
  EXPECT_FALSE(matches(&drive, nullptr, 12));
}

}  // namespace
