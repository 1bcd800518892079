#include "simulator/room.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/windows_calls.h"

namespace simulator {
namespace {

using testing::ElementsAre;

TEST(Room, JournalsCallsAndCountsHandles) {
  Room room;
  room.addDrive({.target = 5, .claimed = true});
  const HANDLE device =
      calls::createFile("\\\\.\\TAPE0", GENERIC_READ | GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(room.openHandles(), 1u);
  SCSI_ADDRESS address{};
  DWORD returned = 0;
  EXPECT_TRUE(calls::deviceIoControl(device, IOCTL_SCSI_GET_ADDRESS, nullptr, 0, &address, sizeof address,
                                     &returned, nullptr));
  EXPECT_EQ(returned, sizeof address);
  EXPECT_EQ(address.TargetId, 5);
  EXPECT_TRUE(calls::closeHandle(device));
  EXPECT_FALSE(calls::closeHandle(device));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(room.openHandles(), 0u);
  EXPECT_THAT(room.journal().lines(),
              ElementsAre("CreateFileA \\\\.\\TAPE0 rw", "DeviceIoControl \\\\.\\TAPE0 SCSI_GET_ADDRESS",
                          "CloseHandle \\\\.\\TAPE0", "CloseHandle ? -> error 6"));
}

}  // namespace
}  // namespace simulator
