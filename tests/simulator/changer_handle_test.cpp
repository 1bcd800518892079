#include "simulator/windows/changer_handle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/room/room.h"
#include "simulator/windows/driver_protocol.h"
#include "tests/simulator/device_client.h"

namespace simulator {
namespace {

struct ChangerHandleTest : testing::Test {
  Room room;
  VirtualDrive& drive = room.addDrive(
      {.target = 1, .model = "ULTRIUM-PX6", .serial = "S123456789", .interface = Interface::ParallelScsi});
  VirtualChanger& library = room.addChanger(
      {.target = 2, .claimed = true},
      {.bays = {&drive}, .cartridges = {{0x1000, "QOR001L6"}, {0x1001, "QOR002L6"}, {0x10, ""}}});
  DeviceClient client{"\\\\.\\Changer0"};

  template <class Record>
  std::vector<Record> status(ELEMENT_TYPE type, DWORD first, DWORD count) {
    std::vector<Record> records(count);
    const CHANGER_READ_ELEMENT_STATUS request{{{type, first}, count}, TRUE};
    EXPECT_EQ(client.control(IOCTL_CHANGER_GET_ELEMENT_STATUS, &request, sizeof request, records.data(),
                             static_cast<DWORD>(count * sizeof(Record))),
              NO_ERROR);
    return records;
  }
};

TEST_F(ChangerHandleTest, TellsElementsInEitherRecord) {
  library.element(0x1000).exception = {0x30, 0x00};
  const auto slots = status<CHANGER_ELEMENT_STATUS>(ChangerSlot, 0, 3);
  EXPECT_EQ(slots[0].Flags, DWORD{ELEMENT_STATUS_FULL | ELEMENT_STATUS_EXCEPT | ELEMENT_STATUS_ACCESS |
                                  ELEMENT_STATUS_PVOLTAG});
  EXPECT_EQ(slots[0].ExceptionCode, DWORD{ERROR_LABEL_UNREADABLE});
  EXPECT_EQ(std::string(slots[0].PrimaryVolumeID, slots[0].PrimaryVolumeID + 9), "QOR001L6 ");
  const auto drives = status<CHANGER_ELEMENT_STATUS_EX>(ChangerDrive, 0, 2);
  EXPECT_EQ(drives[0].Flags, DWORD{ELEMENT_STATUS_ACCESS | ELEMENT_STATUS_PRODUCT_DATA |
                                   ELEMENT_STATUS_ID_VALID | ELEMENT_STATUS_LUN_VALID});
  EXPECT_EQ(drives[1].Flags, DWORD{ELEMENT_STATUS_EXCEPT}) << "no drive in this bay";
  EXPECT_EQ(drives[1].ExceptionCode, DWORD{ERROR_DRIVE_NOT_INSTALLED});
  const auto all =
      status<CHANGER_ELEMENT_STATUS>(AllElements, 24, 7);  // the last slot, the station, the bays
  EXPECT_EQ(all.front().Element.ElementType, ChangerSlot);
  EXPECT_EQ(all.back().Element.ElementType, ChangerDrive);
}

TEST_F(ChangerHandleTest, MovesAndFailsAsDocumented) {
  const auto move = [&](ELEMENT_TYPE from, DWORD source, ELEMENT_TYPE to, DWORD destination) {
    return client.send(IOCTL_CHANGER_MOVE_MEDIUM,
                       CHANGER_MOVE_MEDIUM{{ChangerTransport, 0}, {from, source}, {to, destination}, FALSE});
  };
  EXPECT_EQ(move(ChangerSlot, 0, ChangerDrive, 0), NO_ERROR);
  EXPECT_TRUE(drive.loaded());
  EXPECT_EQ(move(ChangerSlot, 0, ChangerSlot, 5), DWORD{ERROR_SOURCE_ELEMENT_EMPTY});
  EXPECT_EQ(move(ChangerSlot, 1, ChangerIEPort, 0), DWORD{ERROR_DESTINATION_ELEMENT_FULL});
  EXPECT_EQ(move(ChangerSlot, 24, ChangerIEPort, 1), DWORD{ERROR_ILLEGAL_ELEMENT_ADDRESS});
  EXPECT_EQ(
      client.send(IOCTL_CHANGER_EXCHANGE_MEDIUM,
                  CHANGER_EXCHANGE_MEDIUM{
                      {ChangerTransport, 0}, {ChangerSlot, 1}, {ChangerDrive, 0}, {ChangerSlot, 1}, 0, 0}),
      NO_ERROR);
  EXPECT_EQ(drive.medium()->options().barcode, "QOR002L6");
  EXPECT_EQ(client.send(IOCTL_CHANGER_SET_ACCESS, CHANGER_SET_ACCESS{{ChangerIEPort, 0}, LOCK_ELEMENT}),
            NO_ERROR);
  EXPECT_TRUE(library.removalPrevented());
  EXPECT_EQ(client.send(IOCTL_CHANGER_SET_ACCESS, CHANGER_SET_ACCESS{{ChangerKeypad, 0}, UNLOCK_ELEMENT}),
            DWORD{ERROR_INVALID_FUNCTION});
  EXPECT_THAT(room.journal().cdbs(), testing::IsEmpty()) << "the host sent no command itself";

  library.restart(5);
  EXPECT_EQ(move(ChangerDrive, 0, ChangerSlot, 7), DWORD{ERROR_BUS_RESET});
  EXPECT_EQ(move(ChangerDrive, 0, ChangerSlot, 7), DWORD{ERROR_NOT_READY});
  CHANGER_ELEMENT_STATUS one{};
  const CHANGER_READ_ELEMENT_STATUS tooMany{{{ChangerSlot, 20}, 5}, FALSE};
  EXPECT_EQ(client.control(IOCTL_CHANGER_GET_ELEMENT_STATUS, &tooMany, sizeof tooMany, &one, sizeof one),
            DWORD{ERROR_ILLEGAL_ELEMENT_ADDRESS});
  const CHANGER_READ_ELEMENT_STATUS two{{{ChangerSlot, 0}, 2}, FALSE};
  EXPECT_EQ(client.control(IOCTL_CHANGER_GET_ELEMENT_STATUS, &two, sizeof two, &one, sizeof one),
            DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST(DriverChangerHandle, AnswersTheMakersRequests) {
  Room room;
  room.addChanger({.target = 2, .driver = DriverOptions{.version = "1.4"}});
  DeviceClient client("\\\\.\\Changer0");
  char version[12];
  EXPECT_EQ(client.receive(protocol::changerVersion, version), NO_ERROR);
  EXPECT_STREQ(version, "1.4");
  EXPECT_EQ(client.receive(protocol::tapeVersion, version), DWORD{ERROR_INVALID_FUNCTION});
  EXPECT_EQ(
      client.send(IOCTL_CHANGER_MOVE_MEDIUM,
                  CHANGER_MOVE_MEDIUM{{ChangerTransport, 0}, {ChangerSlot, 0}, {ChangerSlot, 5}, FALSE}),
      DWORD{ERROR_SOURCE_ELEMENT_EMPTY});
  protocol::SenseBlock sense{};
  EXPECT_EQ(client.receive(protocol::changerRequestSense, sense), NO_ERROR);
  EXPECT_EQ(toHex(std::array{sense.sense[0], sense.sense[2], sense.sense[12], sense.sense[13]}),
            "70 05 3B 0E");
}

}  // namespace
}  // namespace simulator
