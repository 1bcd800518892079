// A firmware update of a drive that is held through the maker's driver.
#include <gmock/gmock.h>

#include "kiv/device/driver_target.h"
#include "kiv/update/update_firmware.h"
#include "tests/update/update_test.h"

namespace {

struct Driver {
  const char* name;
  simulator::DriverOptions options;
};

class DriverUpdate : public UpdateTest, public testing::WithParamInterface<Driver> {};

TEST_P(DriverUpdate, UnloadsDownloadsAndWaits) {
  const auto& drive = room.addDrive(
      {.target = 5, .model = "ULTRIUM-PX6", .level = "B200", .claimed = true, .driver = GetParam().options},
      {.cartridge = true});
  ASSERT_EQ(deviceController.rediscoverSCSIBus(true, "", "", ""), CMD_OK);
  ASSERT_EQ(deviceController.getDeviceCount(), 1) << "once, though the port lists it too";
  auto* target = dynamic_cast<QORScsiTarget*>(deviceController.getDevice(0));
  ASSERT_NE(target, nullptr);
  listOfSupportedDevices.push_back(target);

  writeImage("C300", 70000);
  directory.write("Config.txt", "QOR-ULTRIUM-PX6:Fibre image.bin C300\n");
  directory.write("Devlist.txt", "4711 QOR-ULTRIUM-PX6:Fibre\n");
  room.journal().clear();
  UpdateFirmware update;
  EXPECT_EQ(update.updateFirmware(0, KIV_OUTPUT_FILE, false), FW_NO_ERROR);
  EXPECT_EQ(drive.level(), "C300");
  EXPECT_FALSE(drive.loaded());
  EXPECT_EQ(drive.downloaded().size(), 70000u);
  EXPECT_EQ(room.journal().count("3B"), 3u);
  EXPECT_EQ(room.journal().count("1B"), 1u);
  target->closeDevice();
}

// What TEST UNIT READY says while the drive is empty or restarts must survive whatever the driver tells.
INSTANTIATE_TEST_SUITE_P(Drivers, DriverUpdate,
                         testing::Values(Driver{"ThatTellsSense", {}},
                                         Driver{"WithoutSense", {.refuses = {0x001F6064}}}),
                         [](const auto& driver) { return driver.param.name; });

}  // namespace
