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

TEST_F(ChangerHandleTest, TellsItsParameters) {
  GET_CHANGER_PARAMETERS parameters{};
  EXPECT_EQ(client.receive(IOCTL_CHANGER_GET_PARAMETERS, parameters), NO_ERROR);
  EXPECT_EQ(parameters.Size, 60u);
  EXPECT_EQ(parameters.FirstSlotNumber, 0x1000);
  EXPECT_EQ(parameters.NumberStorageElements, 24);
  EXPECT_EQ(parameters.FirstDriveNumber, 0x100);
  EXPECT_EQ(parameters.NumberDataTransferElements, 2);
  EXPECT_EQ(parameters.FirstTransportNumber, 1);
  EXPECT_EQ(parameters.FirstIEPortNumber, 0x10);
  EXPECT_EQ(parameters.NumberIEElements, 4);
  EXPECT_TRUE(parameters.Features0 & CHANGER_EXCHANGE_MEDIA);
}

TEST_F(ChangerHandleTest, TellsElementsInEitherRecord) {
  library.element(0x1001).source = 0x1003;
  library.element(0x1000).exception = {0x30, 0x00};
  const auto slots = status<CHANGER_ELEMENT_STATUS>(ChangerSlot, 0, 3);
  EXPECT_EQ(slots[0].Flags, DWORD{ELEMENT_STATUS_FULL | ELEMENT_STATUS_EXCEPT | ELEMENT_STATUS_ACCESS |
                                  ELEMENT_STATUS_PVOLTAG});
  EXPECT_EQ(slots[0].ExceptionCode, DWORD{ERROR_LABEL_UNREADABLE});
  EXPECT_EQ(std::string(slots[0].PrimaryVolumeID, slots[0].PrimaryVolumeID + 9), "QOR001L6 ");
  EXPECT_EQ(slots[1].Element.ElementAddress, 1u);
  EXPECT_EQ(slots[1].SrcElementAddress.ElementType, ChangerSlot);
  EXPECT_EQ(slots[1].SrcElementAddress.ElementAddress, 3u);
  EXPECT_EQ(slots[2].Flags, DWORD{ELEMENT_STATUS_ACCESS});
  EXPECT_EQ(
      status<CHANGER_ELEMENT_STATUS>(ChangerIEPort, 0, 1)[0].Flags,
      DWORD{ELEMENT_STATUS_FULL | ELEMENT_STATUS_ACCESS | ELEMENT_STATUS_INENAB | ELEMENT_STATUS_EXENAB});

  const auto drives = status<CHANGER_ELEMENT_STATUS_EX>(ChangerDrive, 0, 2);
  EXPECT_EQ(drives[0].Flags, DWORD{ELEMENT_STATUS_ACCESS | ELEMENT_STATUS_PRODUCT_DATA |
                                   ELEMENT_STATUS_ID_VALID | ELEMENT_STATUS_LUN_VALID});
  EXPECT_EQ(drives[0].TargetId, 1);
  EXPECT_EQ(std::string(drives[0].SerialNumber, drives[0].SerialNumber + 11),
            std::string("S123456789\0", 11));
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
  EXPECT_EQ(client.send(IOCTL_CHANGER_SET_POSITION,
                        CHANGER_SET_POSITION{{ChangerTransport, 0}, {ChangerSlot, 9}, FALSE}),
            NO_ERROR);
  EXPECT_EQ(client.send(IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS,
                        CHANGER_INITIALIZE_ELEMENT_STATUS{{{ChangerSlot, 2}, 4}, TRUE}),
            NO_ERROR);
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
  VirtualChanger& library = room.addChanger({.target = 2, .driver = DriverOptions{.version = "1.4"}},
                                            {.cartridges = {{0x1001, "QOR001L6"}}});
  DeviceClient client("\\\\.\\Changer0");
  char version[12];
  EXPECT_EQ(client.receive(protocol::changerVersion, version), NO_ERROR);
  EXPECT_STREQ(version, "1.4");
  EXPECT_EQ(client.receive(protocol::tapeVersion, version), DWORD{ERROR_INVALID_FUNCTION});

  struct {
    std::uint32_t count;
    protocol::LocationRecord records[2];
  } locations{};
  const protocol::LocationsRequest request{0x1001, 2};
  EXPECT_EQ(
      client.control(protocol::cartridgeLocations, &request, sizeof request, &locations, sizeof locations),
      NO_ERROR);
  EXPECT_EQ(locations.count, 2u);
  EXPECT_EQ(locations.records[0].address, 0x1001);
  EXPECT_EQ(locations.records[0].state, 0x09);
  EXPECT_EQ(locations.records[0].volumeTag[7], '6');
  EXPECT_EQ(locations.records[1].state, 0x08);

  EXPECT_EQ(
      client.send(IOCTL_CHANGER_MOVE_MEDIUM,
                  CHANGER_MOVE_MEDIUM{{ChangerTransport, 0}, {ChangerSlot, 0}, {ChangerSlot, 5}, FALSE}),
      DWORD{ERROR_SOURCE_ELEMENT_EMPTY});
  protocol::SenseBlock sense{};
  EXPECT_EQ(client.receive(protocol::changerRequestSense, sense), NO_ERROR);
  EXPECT_EQ(sense.length, 18u);
  EXPECT_EQ(toHex(std::array{sense.sense[0], sense.sense[2], sense.sense[12], sense.sense[13]}),
            "70 05 3B 0E");
  EXPECT_EQ(library.elements().size(), 31u);
}

}  // namespace
}  // namespace simulator
