#include <gmock/gmock.h>

#include <cstring>

#include "kiv/update/scan_bus.h"
#include "platform/win32.h"
#include "tests/update/update_test.h"

namespace {

class Exports : public UpdateTest {};

TEST(KivVersion, IsTheSameTextInTheSamePlace) {
  char* version = getKivVersion();
  EXPECT_STREQ(version, "1.95 Sep 18 2019");
  std::memset(version, 'x', 4);
  EXPECT_EQ(getKivVersion(), version);
  EXPECT_STREQ(version, "1.95 Sep 18 2019");
}

TEST(Globals, HaveTheirDefaults) {
  EXPECT_TRUE(automationReadyMode);
  EXPECT_FALSE(libraryMode);
  EXPECT_EQ(logger, &Logger::getLogger());
  constexpr GUID storagePorts = {
      0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
  EXPECT_EQ(std::memcmp(&testHost, &storagePorts, sizeof testHost), 0);
}

TEST_F(Exports, EveryScanStartsFromEmptyLists) {
  room.addDrive({.target = 5, .model = "ULTRIUM-TD6", .level = "B200"});
  room.addDrive({.target = 6, .vendor = "OTHER", .model = "ULTRIUM-TD6", .level = "B200"});
  kivInit();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(scanScsiBus(4), FW_NO_ERROR);
    EXPECT_EQ(listOfSupportedDevices.size(), 1u);
    EXPECT_EQ(deviceController.getDeviceCount(), 2);
    EXPECT_EQ(room.openHandles(), 0u) << "every device is closed, supported or not";
  }
  for (int i = 0; i < 2; ++i) {
    kivFini();
    EXPECT_TRUE(listOfSupportedDevices.empty());
    EXPECT_EQ(deviceController.getDeviceCount(), 0);
  }
}

TEST_F(Exports, AnUpdateNeedsAScan) {
  EXPECT_EQ(updateFirmware(0, 0, false), FW_NO_DRIVE_CONNECTED);
  EXPECT_EQ(updateFirmwareAllDevices(0, true), FW_NO_ERROR);
  EXPECT_EQ(room.journal().lines(), std::vector<std::string>{"Sleep 1000"});
}

}  // namespace
