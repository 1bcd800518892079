#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/room/room.h"
#include "simulator/windows/windows_calls.h"

namespace simulator {
namespace {

constexpr GUID storagePort{0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};

TEST(SetupApi, LeadsFromTheInterfaceToTheDriverKey) {
  Room room;
  room.addAdapter({.manufacturer = "First"});
  room.addAdapter({.manufacturer = "Second", .driverVersion = "9.8"});
  const HDEVINFO set =
      calls::getClassDevs(&storagePort, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  SP_DEVICE_INTERFACE_DATA interface {};
  interface.cbSize = sizeof interface;
  ASSERT_TRUE(calls::enumDeviceInterfaces(set, nullptr, &storagePort, 1, &interface));
  EXPECT_FALSE(calls::enumDeviceInterfaces(set, nullptr, &storagePort, 2, &interface));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});

  union {
    SP_DEVICE_INTERFACE_DETAIL_DATA_A detail;
    char room[256];
  } path{};
  path.detail.cbSize = sizeof path.detail;
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  ASSERT_TRUE(calls::getDeviceInterfaceDetail(set, &interface, &path.detail, sizeof path, nullptr, &device));
  const HANDLE adapter =
      calls::createFile(path.detail.DevicePath, GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(adapter, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(calls::closeHandle(adapter));

  BYTE text[16];
  DWORD needed = 0;
  EXPECT_FALSE(calls::getDeviceRegistryProperty(set, &device, SPDRP_FRIENDLYNAME, nullptr, text, sizeof text,
                                                &needed));
  EXPECT_TRUE(calls::getDeviceRegistryProperty(set, &device, SPDRP_MFG, nullptr, text, sizeof text, &needed));
  EXPECT_STREQ(reinterpret_cast<char*>(text), "Second");
  EXPECT_FALSE(calls::getDeviceRegistryProperty(set, &device, SPDRP_MFG, nullptr, text, 6, &needed));
  EXPECT_EQ(needed, 7u);

  const HKEY key = calls::openDevRegKey(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
  DWORD size = 3;
  EXPECT_EQ(calls::regQueryValue(key, "DriverVersion", nullptr, nullptr, text, &size), LONG{ERROR_MORE_DATA});
  EXPECT_EQ(calls::regQueryValue(key, "DriverVersion", nullptr, nullptr, text, &size), NO_ERROR);
  EXPECT_STREQ(reinterpret_cast<char*>(text), "9.8");
  // A registry value need not end with a zero byte.
  room.addFault({.call = "RegQueryValueExA", .reply = Bytes{'A', 'B'}});
  size = sizeof text;
  EXPECT_EQ(calls::regQueryValue(key, "DriverDate", nullptr, nullptr, text, &size), NO_ERROR);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(calls::regQueryValue(key, "NoSuchValue", nullptr, nullptr, nullptr, &size),
            LONG{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(calls::regCloseKey(key), NO_ERROR);
  EXPECT_TRUE(calls::destroyDeviceInfoList(set));
  EXPECT_EQ(room.openHandles(), 0u);
}

}  // namespace
}  // namespace simulator
