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
  EXPECT_EQ(write("first block"), NO_ERROR);
  EXPECT_EQ(write("second"), NO_ERROR);
  EXPECT_EQ(calls::writeTapemark(client.handle, TAPE_FILEMARKS, 1, FALSE), NO_ERROR);
  EXPECT_EQ(write("third"), NO_ERROR);
  EXPECT_EQ(position(TAPE_REWIND), NO_ERROR);
  EXPECT_EQ(read(64), "first block");
  EXPECT_EQ(read(3, ERROR_MORE_DATA), "sec");
  EXPECT_EQ(read(64, ERROR_FILEMARK_DETECTED), "");
  EXPECT_EQ(read(64), "third");
  EXPECT_EQ(read(64, ERROR_NO_DATA_DETECTED), "");

  EXPECT_EQ(position(TAPE_ABSOLUTE_BLOCK, 1), NO_ERROR);
  EXPECT_EQ(read(64), "second");
  EXPECT_EQ(position(TAPE_SPACE_RELATIVE_BLOCKS, -1), NO_ERROR);
  EXPECT_EQ(read(64), "second");
  EXPECT_EQ(position(TAPE_SPACE_RELATIVE_BLOCKS, 1), DWORD{ERROR_FILEMARK_DETECTED});
  EXPECT_EQ(position(TAPE_SPACE_FILEMARKS, -2), DWORD{ERROR_BEGINNING_OF_MEDIA});
  EXPECT_EQ(position(TAPE_SPACE_FILEMARKS, 1), NO_ERROR);
  EXPECT_EQ(read(64), "third");
  EXPECT_EQ(position(TAPE_SPACE_END_OF_DATA), NO_ERROR);
  EXPECT_EQ(position(TAPE_SPACE_RELATIVE_BLOCKS, 1), DWORD{ERROR_NO_DATA_DETECTED});
  EXPECT_EQ(position(9), DWORD{ERROR_NOT_SUPPORTED});
  EXPECT_EQ(position(TAPE_ABSOLUTE_BLOCK, 2), NO_ERROR);
  EXPECT_EQ(calls::eraseTape(client.handle, TAPE_ERASE_LONG, FALSE), NO_ERROR);
  EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), 2u);

  drive.medium()->options().writeProtected = true;
  EXPECT_EQ(write("fourth"), DWORD{ERROR_WRITE_PROTECT});
  EXPECT_EQ(calls::prepareTape(client.handle, TAPE_UNLOAD, FALSE), NO_ERROR);
  EXPECT_EQ(position(TAPE_REWIND), DWORD{ERROR_NO_MEDIA_IN_DRIVE});
  EXPECT_EQ(calls::prepareTape(client.handle, TAPE_LOAD, FALSE), NO_ERROR);
  EXPECT_THAT(room.journal().cdbs(), testing::IsEmpty());
}

TEST_F(TapeHandleTest, KeepsItsParameters) {
  TAPE_SET_DRIVE_PARAMETERS off{};
  EXPECT_EQ(calls::setTapeParameters(client.handle, SET_TAPE_DRIVE_INFORMATION, &off), NO_ERROR);
  TAPE_GET_DRIVE_PARAMETERS parameters{};
  DWORD size = sizeof parameters;
  EXPECT_EQ(calls::getTapeParameters(client.handle, GET_TAPE_DRIVE_INFORMATION, &size, &parameters),
            NO_ERROR);
  EXPECT_FALSE(parameters.Compression);
  EXPECT_EQ(parameters.MaximumPartitionCount, 4u);

  TAPE_SET_MEDIA_PARAMETERS fixed{4};
  EXPECT_EQ(calls::setTapeParameters(client.handle, SET_TAPE_MEDIA_INFORMATION, &fixed), NO_ERROR);
  EXPECT_EQ(write("12345678"), NO_ERROR);
  EXPECT_EQ(write("12345"), DWORD{ERROR_INVALID_BLOCK_LENGTH});
  EXPECT_EQ(drive.medium()->partitions()[0].objects.size(), 2u);
  TAPE_GET_MEDIA_PARAMETERS media{};
  size = sizeof media;
  EXPECT_EQ(calls::getTapeParameters(client.handle, GET_TAPE_MEDIA_INFORMATION, &size, &media), NO_ERROR);
  EXPECT_EQ(media.BlockSize, 4u);
  EXPECT_EQ(media.PartitionCount, 1u);
  EXPECT_EQ(media.Capacity.QuadPart, 2'384'185ll << 20);
  size = 4;
  EXPECT_EQ(calls::getTapeParameters(client.handle, GET_TAPE_MEDIA_INFORMATION, &size, &media),
            DWORD{ERROR_MORE_DATA});
}

TEST_F(TapeHandleTest, AnswersTheMakersRequests) {
  protocol::PartitionBlock partitions{
      .method = 1, .partitions = 2, .formatType = 1, .units = 9, .sizes = {1000, 0xFFFF}};
  EXPECT_EQ(client.send(protocol::createPartition, partitions), NO_ERROR);
  ASSERT_EQ(drive.medium()->partitions().size(), 2u);
  EXPECT_EQ(drive.medium()->partitions()[0].capacity, 1'000'000'000'000u);
  EXPECT_EQ(client.send(protocol::setPartition, protocol::SetPartitionBlock{1, 0, 0}), NO_ERROR);
  EXPECT_EQ(client.receive(protocol::queryPartition, partitions), NO_ERROR);
  EXPECT_EQ(partitions.partitions, 2u);
  EXPECT_EQ(partitions.method, 1u);
  EXPECT_EQ(partitions.active, 1);
  EXPECT_EQ(partitions.sizes[1], 1500);
  EXPECT_EQ(client.send(protocol::setPartition, protocol::SetPartitionBlock{2, 0, 0}),
            DWORD{ERROR_INVALID_PARAMETER});
  protocol::SenseBlock sense{};
  EXPECT_EQ(client.receive(protocol::tapeRequestSense, sense), NO_ERROR);
  EXPECT_EQ(toHex(std::array{sense.sense[2], sense.sense[12], sense.sense[13]}), "05 24 00");

  for (const auto& [type, value] : std::initializer_list<std::pair<std::uint32_t, std::uint32_t>>{
           {36, 1}, {37, 1}, {38, 900}, {39, 1}, {38, 0}}) {
    EXPECT_EQ(client.send(protocol::setParameter, protocol::ParameterBlock{type, value}), NO_ERROR) << type;
    protocol::ParameterBlock block{type, 77};
    EXPECT_EQ(client.exchange(protocol::queryParameter, block), NO_ERROR) << type;
    EXPECT_EQ(block.value, value) << type;
  }
  EXPECT_EQ(client.send(protocol::setParameter, protocol::ParameterBlock{2, 1}),
            DWORD{ERROR_INVALID_PARAMETER});

  const protocol::BlockProtectionBlock protection{.method = 2, .length = 4, .write = 1, .recoverBuffered = 1};
  EXPECT_EQ(client.send(protocol::setBlockProtection, protection), NO_ERROR);
  protocol::BlockProtectionBlock set{};
  EXPECT_EQ(client.receive(protocol::queryBlockProtection, set), NO_ERROR);
  EXPECT_EQ(set.capable, 1);
  EXPECT_EQ(toHex(std::array{set.method, set.length, set.write, set.read, set.recoverBuffered}),
            "02 04 01 00 01");

  protocol::EncryptionStatusBlock encryption{};
  EXPECT_EQ(client.receive(protocol::encryptionStatus, encryption), NO_ERROR);
  EXPECT_EQ(encryption.capable, 1u);
  protocol::EncryptionDiagnosticBlock diagnostic{.type = 15, .completionCode = 9, .errorNumber = 9};
  EXPECT_EQ(client.exchange(protocol::encryptionDiagnostic, diagnostic), NO_ERROR);
  EXPECT_EQ(diagnostic.completionCode, 0u);
  protocol::PathsBlock paths{};
  EXPECT_EQ(client.receive(protocol::tapePaths, paths), NO_ERROR);
  EXPECT_EQ(paths.count, 1u);
  EXPECT_EQ(paths.paths[0].target, 1);
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
