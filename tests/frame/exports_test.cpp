#include <cstring>

#include "platform/win32.h"
#include "tests/support/room_test.h"

namespace {

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
  constexpr GUID STORAGE_PORTS = {
      0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
  EXPECT_EQ(std::memcmp(&testHost, &STORAGE_PORTS, sizeof testHost), 0);
}

}  // namespace
