#include "kiv/library/drive_mapping.h"

#include "kiv/changer/commands.h"
#include "kiv/scsi/big_endian.h"
#include "tests/support/room_test.h"

namespace {

class Mapping : public RoomTest {
 protected:
  simulator::VirtualDrive& addDrive(std::uint8_t id, const char* serial) {
    return room.addDrive({.target = id, .model = "ULTRIUM-PX6", .serial = serial});
  }
  simulator::VirtualChanger& addLibrary(std::uint8_t id, std::vector<simulator::VirtualDrive*> bays,
                                        const char* serial = "LIB0000001") {
    const auto count = static_cast<std::uint16_t>(bays.size());
    return room.addChanger({.target = id, .model = "LIB-3573", .serial = serial},
                           {.drives = {0x0100, count}, .bays = std::move(bays)});
  }
  void scan(bool driverDevices = false) {
    controller.rediscoverSCSIBus(driverDevices, "", "", "");
    room.journal().clear();
  }
  /// Records the pairs of a mapping, the devices that it left open, what it sent to the first library, for
  /// how long it waited, and what it logged. Returns the number of pairs.
  std::size_t map(const std::string& what, logLevels level = LOG_DEBUG) {
    std::vector<DriveMapping> found;
    std::vector<std::string> open;
    auto log = logOf([&] { ChangerDriveMapping().getMapping(controller, found); }, level);
    std::erase_if(log, [](const std::string& line) { return !line.starts_with("CLCO"); });
    record(what);
    for (const DriveMapping& r : found) {
      record("  changer", r.changerSerialNumber, r.changerDriverName, r.changerHostAdapter, r.changerBus,
             r.changerTargetId, r.changerLun);
      record("  drive", r.driveSerialNumber, r.driveDriverName, r.driveModelName, r.driveHostAdapter,
             r.driveBus, r.driveTargetId, r.driveLun);
    }
    for (ScsiTarget* each : controller.getDeviceList())
      if (each->isOpened()) open.push_back(each->getSerialNumber());
    record("  left open", open);
    if (level == LOG_DEBUG)
      record("  seconds, commands, log", room.journal().count("1000"), room.journal().cdbs("H0-B0-T8-L0"),
             log);
    else
      record("  log", log);
    room.journal().clear();
    return found.size();
  }
  ScsiTarget& device(const char* serial) {
    for (ScsiTarget* each : controller.getDeviceList())
      if (std::string(each->getSerialNumber()) == serial) return *each;
    throw std::out_of_range(serial);
  }
};

TEST_F(Mapping, PairsDrivesWithTheBaysOfEveryLibrary) {
  auto& first = addDrive(1, "1068000071");
  scan();
  map("without a library");
  addLibrary(8, {});
  scan();
  map("without a bay");
  auto& second = addDrive(2, "1068000072");
  auto& distant = room.addDrive(
      {.adapter = 1, .bus = 1, .target = 5, .lun = 2, .model = "ULTRIUM-PX7", .serial = "1068000073"});
  addLibrary(9, {&first, nullptr}, "LIB0000002");
  addLibrary(10, {nullptr, &second, &distant}, "LIB0000003");
  scan();
  map("two libraries with bays");
  std::vector<DriveMapping> kept(1);
  ChangerDriveMapping().getMapping(controller, kept);
  TELL(kept.size());
}

TEST_F(Mapping, WorksThroughTheMakersDriver) {
  auto& drive = addDrive(1, "1068000071");
  room.addChanger(
      {.target = 8, .serial = "LIB0000001", .claimed = true, .driver = simulator::DriverOptions{}},
      {.drives = {0x0100, 2}, .bays = {&drive, nullptr}});
  scan(true);
  EXPECT_EQ(map("by driver", LOG_ERROR), 1u);
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
  } rows[] = {
      {"ready", {0, none}, {0, none}},
      {"unit attention", {1, reset}, {0, none}},
      {"ready in time", {1, busy}, {61, busy}},
      {"too late", {1, busy}, {62, busy}},
      {"broken", {1, reset}, {2, broken}},
      {"mended", {1, reset}, {1, broken}},
      {"no wait", {1, broken}, {0, none}},
      {"no wait for another reason", {1, {.key = 3, .asc = 4, .ascq = 1}}, {0, none}},
      {"again", {2, reset}, {0, none}},
  };
  for (const auto& row : rows) {
    scan();
    const auto refuse = [&](const char* cdb, const Refusal& refusal) {
      if (refusal.times == 0) return;
      room.addFault({.cdb = cdb, .device = "H0-B0-T8-L0", .times = refusal.times, .sense = refusal.sense});
    };
    refuse("1A", row.modeSense);
    refuse("00", row.testUnitReady);
    map(row.name);
    room.faults().clear();
  }
  scan();
  library.restart(5);  // and then a unit attention
  map("restart");
}

TEST_F(Mapping, GoesOnWithTheNextLibrary) {
  auto& drive = addDrive(1, "1068000071");
  addLibrary(8, {nullptr}, "LIB0000001");
  addLibrary(9, {&drive}, "LIB0000002");
  for (const unsigned nth : {1u, 2u}) {  // the header, the report
    scan();
    room.addFault({.cdb = "B8", .device = "H0-B0-T8-L0", .nth = nth, .sense = Sense{.key = 4, .asc = 0x44}});
    map("the first refuses");
  }
  scan();
  room.addFault({.cdb = "1A", .device = "H0-B0-T8-L0", .error = ERROR_IO_DEVICE});
  map("the first is gone");
}

TEST_F(Mapping, KeepsTheOutcomeOfTheCommandThatFailed) {
  addLibrary(8, {nullptr});
  scan();
  ScsiTarget& changer = device("LIB0000001");
  changer.openDevice();
  ChangerLibraryBaseCommands commands(&changer);
  TELL(commands.getElementAddressRanges(), commands.areElementsDataAvailable());
  room.addFault({.cdb = "1A", .sense = Sense{.key = 5, .asc = 0x24}});
  TELL(commands.getElementAddressRanges(), commands.areElementsDataAvailable());
  TELL(commands.cdbSpan(), commands.getExecutionStatus(), commands.getSenseKey());
  for (const unsigned refused : {1u, 2u, 3u}) {  // the header, the report, neither
    ChangerCmdReadElementStatus cmd(4, 0x100, 1, false, true, 8);
    unsigned length = 99, count = 99;
    unsigned char tag = 99;
    room.addFault({.cdb = "B8", .nth = refused, .sense = Sense{.key = 4, .asc = 0x44}});
    TELL(refused, commands.getDescriptorTableOfReadElement(cmd, length, count, tag) == nullptr);
    TELL(length, count, tag, commands.cdbSpan(), commands.getSenseKey());
    room.faults().clear();
  }
  commands.setChanger(nullptr);
  record("no changer", logOf([&] { EXPECT_FALSE(commands.getElementAddressRanges()); }));
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
  /// The number of pairs with this report, of which so many bytes arrive.
  std::size_t pairsWith(const Bytes& data, std::size_t arriving = 0xFFFF) {
    room.faults().clear();
    Bytes header = data;
    header.resize(8);
    room.addFault({.cdb = "B8", .nth = 1, .reply = header});
    const auto transfer = static_cast<std::uint32_t>(std::min(arriving, data.size()));
    room.addFault({.cdb = "B8", .nth = 2, .transfer = transfer, .reply = data});
    std::vector<DriveMapping> found;
    log = logOf([&] { ChangerDriveMapping().getMapping(controller, found); }, LOG_ERROR);
    EXPECT_FALSE(controller.getDeviceList()[0]->isOpened());
    return found.size();
  }

  std::vector<std::string> log;
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
  } rows[] = {
      {"the serial number alone", 1, 0, 26, bay + named},
      {"in the middle", 1, 0, 30, bay + "02 01 00 0E 41 42 " + serial + "43 44 "},
      {"the last byte differs", 1, 0, 26, bay + "02 01 00 0A 31 30 36 38 30 30 30 30 37 34 "},
      {"cut by its length", 1, 0, 26, bay + "02 01 00 09 " + serial},
      {"behind a volume tag", 1, 0x80, 62, bay + zeros(36) + named},
      {"in a volume tag", 1, 0x80, 62, bay + named + zeros(36)},
      {"length 252, 0 in eight bits", 1, 0, 26, bay + "02 01 00 FC " + serial},
      {"length 255, 3 in eight bits", 1, 0, 26, bay + "02 01 00 FF " + serial},
      {"length beyond the descriptor", 1, 0, 26, bay + "02 01 00 FB " + serial},
      {"in the next bay only", 2, 0, 26, bay + "02 01 00 FB " + zeros(10) + bay + named},
      {"in two bays", 2, 0, 26, bay + named + bay + named},
      {"more elements than there are", 0xFFFF, 0, 26, bay + named},
      {"fewer", 0, 0, 26, bay + named},
      {"descriptor length 0", 0xFFFF, 0, 0, bay + named},
      {"descriptor length beyond the data", 1, 0, 0xFFFF, bay + named},
      {"no room for an identifier", 1, 0, 15, bay + named},
      {"no descriptors", 1, 0, 26, ""},
  };
  for (const auto& row : rows) {
    const auto pairs = pairsWith(report(row.elements, row.flags, row.length, row.descriptors));
    record(row.name, pairs, log);
  }
  Bytes whole = report(1, 0, 26, bay + named);
  whole[5] = 0xFF;
  record("a byte count that no adapter transfers", pairsWith(whole));
}

TEST_F(LyingLibrary, MayTellAnythingAtAnyLength) {
  const Bytes whole = report(2, 0, 26, bay + "02 01 00 0A " + zeros(10) + bay + named);
  for (std::size_t size = 0; size <= whole.size(); ++size)
    EXPECT_EQ(pairsWith(whole, size), size == whole.size() ? 1u : 0u) << size;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    const auto pairs = [&](std::uint8_t value) {
      Bytes changed = whole;
      changed[at] = value;
      return pairsWith(changed);
    };
    record("byte " + std::to_string(at) + " 00h, 80h, FFh", pairs(0x00), pairs(0x80), pairs(0xFF));
  }
}

TEST_F(LyingLibrary, NamesEveryDriveThatHasNoSerialNumber) {
  device("1068000073").setSerialNumber("");
  TELL(pairsWith(report(1, 0, 17, bay + "02 01 00 01 41 ")));
  record("an empty identifier", pairsWith(report(1, 0, 17, bay + "02 01 00 FC 41 ")));
  record("the last byte is absent", pairsWith(report(1, 0, 17, bay + "02 01 00 01 41 "), 32));
}

TEST_F(LyingLibrary, IsComparedWithDrivesOnly) {
  ChangerDriveMapping mapping;
  const Bytes identifier = bytes("00 31 30 36 38 30 30 30 30 37 33 00");
  const auto tell = [&](ScsiTarget* each, const std::uint8_t* data, ulong32 length) {
    mapping.setDevice(each);
    bool matches = false;
    const auto said = logOf([&] { matches = mapping.compareDeviceInquiry(data, length); });
    record("matches", matches, said);
  };
  ScsiTarget& drive = device("1068000073");
  tell(nullptr, identifier.data(), 12);
  tell(&device("LIB0000001"), identifier.data(), 12);
  tell(&drive, identifier.data(), 12);
  tell(&drive, identifier.data(), 10);
  tell(&drive, identifier.data(), 0);
  tell(&drive, nullptr, 12);
}

}  // namespace
