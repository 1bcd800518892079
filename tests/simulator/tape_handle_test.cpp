#include "simulator/windows/tape_handle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/room/room.h"
#include "simulator/windows/driver_protocol.h"
#include "tests/simulator/device_client.h"

namespace simulator {
namespace {

struct TapeHandleTest : testing::Test {
  Room room;
  VirtualDrive& drive = room.addDrive(
      {.target = 1, .model = "ULTRIUM-PX6", .claimed = true, .driver = DriverOptions{}}, {.cartridge = true});
  DeviceClient client{"\\\\.\\Tape0"};

  DWORD position(DWORD method, std::int64_t offset = 0, DWORD partition = 0) {
    const auto bits = static_cast<std::uint64_t>(offset);
    return calls::setTapePosition(client.handle, method, partition, static_cast<DWORD>(bits),
                                  static_cast<DWORD>(bits >> 32), FALSE);
  }
  DWORD write(const std::string& block) {
    DWORD moved = 0;
    const BOOL done =
        calls::writeFile(client.handle, block.data(), static_cast<DWORD>(block.size()), &moved, nullptr);
    return done ? NO_ERROR : GetLastError();
  }
  std::string read(DWORD size, DWORD expected = NO_ERROR) {
    std::string block(size, '\0');
    DWORD moved = 0;
    const BOOL done = calls::readFile(client.handle, block.data(), size, &moved, nullptr);
    EXPECT_EQ(done ? NO_ERROR : GetLastError(), expected);
    return block.substr(0, moved);
  }
};

TEST_F(TapeHandleTest, IsATape) {
  for (const char* block : {"first block", "second"}) EXPECT_EQ(write(block), NO_ERROR);
  EXPECT_EQ(calls::writeTapemark(client.handle, TAPE_FILEMARKS, 1, FALSE), NO_ERROR);
  EXPECT_EQ(write("third"), NO_ERROR);
  EXPECT_EQ(position(TAPE_REWIND), NO_ERROR);
  EXPECT_EQ(read(64), "first block");
  EXPECT_EQ(read(3, ERROR_MORE_DATA), "sec");
  EXPECT_EQ(read(64, ERROR_FILEMARK_DETECTED), "");
  EXPECT_EQ(read(64), "third");
  EXPECT_EQ(read(64, ERROR_NO_DATA_DETECTED), "");
  const struct {
    DWORD method;
    std::int64_t offset;
    DWORD error;
    std::size_t at;
  } moves[] = {
      {TAPE_ABSOLUTE_BLOCK, 1, NO_ERROR, 1},
      {TAPE_SPACE_RELATIVE_BLOCKS, -1, NO_ERROR, 0},
      {TAPE_SPACE_RELATIVE_BLOCKS, 3, ERROR_FILEMARK_DETECTED, 3},
      {TAPE_SPACE_FILEMARKS, -2, ERROR_BEGINNING_OF_MEDIA, 0},
      {TAPE_SPACE_FILEMARKS, 1, NO_ERROR, 3},
      {TAPE_SPACE_END_OF_DATA, 0, NO_ERROR, 4},
      {TAPE_SPACE_RELATIVE_BLOCKS, 1, ERROR_NO_DATA_DETECTED, 4},
      {9, 0, ERROR_NOT_SUPPORTED, 4},
      {TAPE_ABSOLUTE_BLOCK, 2, NO_ERROR, 2},
  };
  for (const auto& move : moves) {
    EXPECT_EQ(position(move.method, move.offset), move.error) << move.method;
    EXPECT_EQ(drive.objectNumber(), move.at) << move.method;
  }
  EXPECT_EQ(calls::eraseTape(client.handle, TAPE_ERASE_LONG, FALSE), NO_ERROR);
  EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), 2u);
  drive.medium()->options().writeProtected = true;
  EXPECT_EQ(write("fourth"), DWORD{ERROR_WRITE_PROTECT});
  EXPECT_EQ(calls::prepareTape(client.handle, TAPE_UNLOAD, FALSE), NO_ERROR);
  EXPECT_EQ(position(TAPE_REWIND), DWORD{ERROR_NO_MEDIA_IN_DRIVE});
  EXPECT_THAT(room.journal().cdbs(), testing::IsEmpty());
}

TEST_F(TapeHandleTest, WritesBlocksOfTheLengthThatWasSet) {
  TAPE_SET_MEDIA_PARAMETERS fixed{4};
  EXPECT_EQ(calls::setTapeParameters(client.handle, SET_TAPE_MEDIA_INFORMATION, &fixed), NO_ERROR);
  EXPECT_EQ(write("12345678"), NO_ERROR);
  EXPECT_EQ(write("12345"), DWORD{ERROR_INVALID_BLOCK_LENGTH});
  EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), 2u);
  TAPE_GET_MEDIA_PARAMETERS media{};
  DWORD size = 4;
  EXPECT_EQ(calls::getTapeParameters(client.handle, GET_TAPE_MEDIA_INFORMATION, &size, &media),
            DWORD{ERROR_MORE_DATA});
}

TEST_F(TapeHandleTest, RefusesRequestsThatMakeNoSense) {
  EXPECT_EQ(client.send(protocol::setPartition, protocol::SetPartitionBlock{2, 0, 0}),
            DWORD{ERROR_INVALID_PARAMETER});
  protocol::SenseBlock sense{};
  EXPECT_EQ(client.receive(protocol::tapeRequestSense, sense), NO_ERROR);
  EXPECT_EQ(toHex(std::array{sense.sense[2], sense.sense[12], sense.sense[13]}), "05 24 00");
  EXPECT_EQ(client.send(protocol::setParameter, protocol::ParameterBlock{2, 1}),
            DWORD{ERROR_INVALID_PARAMETER});
  protocol::PathsBlock paths{};
  EXPECT_EQ(client.receive(protocol::changerPaths, paths), DWORD{ERROR_INVALID_FUNCTION});
}

TEST_F(TapeHandleTest, TellsPagesInEitherForm) {
  protocol::LogSenseBlock log{.page = 0x00, .pageControl = 1};
  EXPECT_EQ(client.exchange(protocol::logSense, log), NO_ERROR);
  EXPECT_EQ(log.length, 4u + readNumber(log.data, 2, 2));

  protocol::ModeSenseBlock mode{.page = 0x0F};
  EXPECT_EQ(client.exchange(protocol::modeSense, mode), NO_ERROR);
  EXPECT_EQ(mode.page, 0x1A);
  EXPECT_EQ(toHex(std::span(mode.rest).first(5)), "68 10 08 5A 00");
  EXPECT_EQ(mode.rest[3 + 8], 0x8F);  // the page can be saved
  drive.options().driver->eightByteModeHeader = true;
  mode = {.page = 0x0F};
  EXPECT_EQ(client.exchange(protocol::modeSense, mode), NO_ERROR);
  EXPECT_EQ(mode.page, 0x5A);
  EXPECT_EQ(toHex(std::span(mode.rest).first(7)), "1E 68 10 00 00 00 08");
  EXPECT_EQ(mode.rest[7 + 8], 0x8F);

  // A driver that does not know a request, and faults of the driver and of the drive behind it.
  drive.options().driver->refuses = {protocol::modeSense};
  EXPECT_EQ(client.exchange(protocol::modeSense, mode), DWORD{ERROR_INVALID_FUNCTION});
  room.addFault({.call = "0x001F60CC", .error = ERROR_SEM_TIMEOUT, .delay = 40});
  EXPECT_EQ(client.exchange(protocol::logSense, log), DWORD{ERROR_SEM_TIMEOUT});
  EXPECT_EQ(room.clock().elapsed(), 40'000);
  room.addFault({.cdb = "01", .sense = Sense{.key = 3, .asc = 0x11}});
  EXPECT_EQ(position(TAPE_REWIND), DWORD{ERROR_CRC});
  protocol::SenseBlock sense{};
  EXPECT_EQ(client.receive(protocol::tapeRequestSense, sense), NO_ERROR);
  EXPECT_EQ(sense.sense[12], 0x11);
}

}  // namespace
}  // namespace simulator
