// What the library asks of Windows and of the drive, call by call, and what it logs on the way.
#include <optional>

#include "tests/support/room_test.h"

using simulator::AfterDownload;

namespace {

class Conversation : public UpdateTest {
 protected:
  simulator::VirtualDrive& addDrive(simulator::DriveOptions options, bool claimed,
                                    std::optional<simulator::DriverOptions> byDriver = {}) {
    options.becomingReadySeconds = 0;
    auto& drive = room.addDrive(
        {.target = 5, .model = "ULTRIUM-PX6", .level = "B200", .claimed = claimed, .driver = byDriver},
        options);
    drive.setBuffer(3, Bytes(81));
    return drive;
  }
  /// Carries an operation out, and records what it logs and asks.
  template <typename Operation>
  void tell(Operation operation) {
    room.journal().clear();
    auto log = here(logOf(operation));
    if (log.size() > 2000) log.erase(log.begin() + 500, log.end() - 20);
    record("log", log);
    record("calls", calls());
  }
};

TEST_F(Conversation, OfAScan) {
  tell([&] { record("nothing there", scanScsiBus(1)); });
  addDrive({}, false);
  tell([&] { record("result", scanScsiBus(1)); });
}

TEST_F(Conversation, OfAScanOfAClaimedDrive) {
  addDrive({}, true);
  tell([&] { record("result", scanScsiBus(0)); });
}

struct Update {
  const char* name;
  simulator::DriveOptions drive;
  bool claimed;
  Fault fault;
  std::optional<simulator::DriverOptions> driver = {};
};
void PrintTo(const Update& update, std::ostream* out) { *out << update.name; }

const Update updates[] = {
    {"Plain", {}, false, {}},
    {"Claimed", {}, true, {}},
    {"LoadedCartridge", {.cartridge = true}, false, {}},
    {"FailedUnload", {.cartridge = true}, false, {.cdb = "1B", .sense = Sense{.key = 5, .asc = 0x53}}},
    {"StuckCartridge", {.cartridge = true, .stuckCartridge = true}, false, {}},
    {"InvalidField", {}, false, {.cdb = "3B", .nth = 2, .sense = Sense{.key = 5, .asc = 0x24}}},
    {"BadMicrocode", {}, false, {.cdb = "3B", .sense = Sense{.key = 5, .asc = 0x82, .ascq = 0x83}}},
    {"AnyOtherRefusal", {}, false, {.cdb = "3B", .sense = Sense{.key = 5, .asc = 0x26}}},
    {"BackAfterARescan", {.afterDownload = AfterDownload::LostUntilRescan}, false, {}},
    {"NeverBack", {.afterDownload = AfterDownload::NeverReturns}, false, {}},
    // What TEST UNIT READY says while the drive is empty or restarts must survive whatever the driver tells.
    {"ThroughTheDriver", {.cartridge = true}, true, {}, {{}}},
    {"ThroughADriverWithoutSense", {.cartridge = true}, true, {}, {{.refuses = {0x001F6064}}}},
};

class UpdateConversation : public Conversation, public testing::WithParamInterface<Update> {};

TEST_P(UpdateConversation, IsExact) {
  const Update& update = GetParam();
  const auto& drive = addDrive(update.drive, update.claimed, update.driver);
  writeImage("C300", 70000);
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre image.bin C300\n");
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-PX6:Fibre\n");
  if (update.driver) {
    ASSERT_EQ(deviceController.rediscoverSCSIBus(true, "", "", ""), CMD_OK);
    ASSERT_EQ(deviceController.getDeviceCount(), 1) << "once, though the port lists it too";
    listOfSupportedDevices.push_back(deviceController.getDevice(0));
  } else {
    ASSERT_EQ(scanScsiBus(4), FW_NO_ERROR);
  }
  room.addFault(update.fault);
  tell([&] { record("result", updateFirmware(0, 1, false)); });
  record("drive", drive.level(), drive.loaded(), drive.downloaded().size());
}

INSTANTIATE_TEST_SUITE_P(Drives, UpdateConversation, testing::ValuesIn(updates),
                         [](const auto& update) { return update.param.name; });

}  // namespace
