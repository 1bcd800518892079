#include <gmock/gmock.h>

#include <numeric>

#include "kiv/tape/data_transfer.h"
#include "kiv/tape/information.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "tests/support/hex.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A command that has been executed and got these bytes, all of its data buffer.
template <typename Kind>
Kind& answered(Kind& command, const std::string& data, ReturnCode status = CMD_OK) {
  const std::vector<std::uint8_t> answer = bytes(data);
  command.setIoDataLength(static_cast<ulong32>(answer.size()));
  std::copy(answer.begin(), answer.end(), command.getIoData());
  command.setExecutionStatus(status);
  return command;
}

/// The bytes 00 01 02 ..., so that a number tells where it was read.
std::string counting(std::size_t length) {
  std::vector<std::uint8_t> data(length);
  std::iota(data.begin(), data.end(), std::uint8_t{0});
  return hex(data);
}

TEST(TapeDecoding, TakesNumbersWhereTheyStand) {
  TapeCmdReadPosition position;
  TapeCmdReadBlockLimits limits;
  TapeCmdReportDensitySupport density(false, 4);
  TapeCmdReportDynamicRuntimeInformation runtime(0, 0, 0, 4);
  TapeCmdReportTimeStamp time(4);
  using Read = std::function<std::uint64_t(const std::string&)>;
  struct Row {
    const char* what;
    Read read;
    std::size_t least;    // shortest buffer that is looked at
    std::uint64_t there;  // what is read from it; bytes behind it are 0
    std::uint64_t whole;  // what is read from a long one
  };
  const Row rows[] = {
      {"first", [&](auto& d) { return answered(position, d).getFirstBlockPosition(); }, 8, 0x04050607,
       0x04050607},
      {"last", [&](auto& d) { return answered(position, d).getLastBlockWritten(); }, 11, 0x08090A00,
       0x08090A0B},
      {"blocks", [&](auto& d) { return answered(position, d).getNumberOfBlocksInBuffer(); }, 15, 0x0D0E00,
       0x0D0E0F},
      {"bytes", [&](auto& d) { return answered(position, d).getNumberOfBytesInBuffer(); }, 19, 0x10111200,
       0x10111213},
      {"next", [&](auto& d) { return answered(position, d).getNextBlockPosition(); }, 24, 0x14151617,
       0x14151617},
      {"maximum", [&](auto& d) { return answered(limits, d).getMaxBlockLength(); }, 6, 0x010203, 0x010203},
      {"minimum", [&](auto& d) { return answered(limits, d).getMinBlockLength(); }, 6, 0x0405, 0x0405},
      {"density", [&](auto& d) { return answered(density, d).getAvailableDensitySupportLength(); }, 2, 0x0001,
       0x0001},
      {"runtime", [&](auto& d) { return answered(runtime, d).getAvailableData(); }, 4, 0, 0x04050607},
      {"runtime", [&](auto& d) { return answered(runtime, d).getAvailableData(); }, 5, 0x04000000,
       0x04050607},
      {"time", [&](auto& d) { return answered(time, d).getTimeStamp(); }, 6, 0x040500000000, 0x040506070809},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.read(counting(64)), row.whole);
    EXPECT_EQ(row.read(counting(row.least)), row.there);
    if (row.least > 6) {
      EXPECT_EQ(row.read(counting(row.least - 1)), 0u);
    }
    EXPECT_EQ(row.read(""), 0u);
  }
  EXPECT_EQ(answered(limits, counting(5)).getMaxBlockLength(), 0u);
  EXPECT_EQ(answered(limits, counting(5)).getMinBlockLength(), 0u);
  EXPECT_EQ(answered(density, "FF").getAvailableDensitySupportLength(), 0u);

  for (const unsigned flags : {0x00u, 0x40u, 0x80u, 0xC0u}) {
    answered(position, hex(std::array{static_cast<std::uint8_t>(flags | 0x3F)}));
    EXPECT_EQ(position.posBOP(), (flags & 0x80) != 0);
    EXPECT_EQ(position.posEOP(), (flags & 0x40) != 0);
  }
  answered(position, "");
  EXPECT_FALSE(position.posBOP() || position.posEOP());
}

TEST(TapeDecoding, ReadsBlockProtection) {
  TapeCmdQueryLogicalBlockProtection query;
  answered(query, "23 00 10 00 4A F0 00 1C 02 04 A0");
  EXPECT_EQ(query.getLbpCapable(), 0x1C);
  EXPECT_EQ(query.getLbpMethod(), 2);
  EXPECT_EQ(query.getLbpInfoLength(), 4);
  EXPECT_TRUE(query.getLbpWrite());
  EXPECT_FALSE(query.getLbpRead());
  EXPECT_TRUE(query.getLbpRBDP());
  answered(query, "23 00 10 00 4A F0 00 1C 01 06 5F");
  EXPECT_FALSE(query.getLbpWrite());
  EXPECT_TRUE(query.getLbpRead());
  EXPECT_FALSE(query.getLbpRBDP());
  answered(query, "23 00 10 00 4A F0 00 1C");
  EXPECT_EQ(query.getLbpCapable(), 0x1C);
  EXPECT_EQ(query.getLbpMethod() + query.getLbpInfoLength() + query.getLbpWrite(), 0);
}

TEST(TapeDecoding, WalksAttributes) {
  TapeCmdReadAttribute command(0, 0, 0, 0, 4);
  // Three attributes: one of 8 bytes, an empty one, one of 2 bytes; 25 bytes in all.
  const std::string list = "04 01 81 00 08 31 32 33 34 35 36 37 38 00 02 80 00 00 08 06 81 00 02 41 42";
  answered(command, "00 00 00 19 " + list);
  EXPECT_EQ(command.getPageLength(), 25u);
  struct Row {
    std::uint16_t id;
    std::uint32_t offset, length;
  };
  for (const Row& row :
       {Row{0x0401, 4, 13}, Row{0x0002, 17, 5}, Row{0x0806, 22, 7}, Row{0x0400, 0, 0}, Row{0x3132, 0, 0}}) {
    SCOPED_TRACE(row.id);
    EXPECT_EQ(command.getAttributeOffset(row.id), row.offset);
    EXPECT_EQ(command.getAttributeLength(row.id), row.length);
    EXPECT_EQ(command.isAttributeSupported(row.id), row.offset != 0 ? CMD_OK : CMD_NOT_SUPPORTED);
  }

  // The walk ends at the length of the list, which does not count its own four bytes.
  answered(command, "00 00 00 17 " + list);
  EXPECT_EQ(command.getAttributeOffset(0x0806), 22u);
  answered(command, "00 00 00 16 " + list);
  EXPECT_EQ(command.getAttributeOffset(0x0806), 0u);
  EXPECT_EQ(command.isAttributeSupported(0x0806), CMD_NOT_SUPPORTED);

  answered(command, "00 00 00 19 " + list, CMD_ERROR);
  EXPECT_EQ(command.getPageLength(), 0u);
  EXPECT_EQ(command.getAttributeOffset(0x0401), 0u);

  struct Hostile {
    const char* data;
    std::uint16_t id;
    std::uint32_t offset, length;
  };
  for (const Hostile& row : {
           Hostile{"00 00 00 0A 04 01 81 00 08 31", 0x0401, 4, 13},  // the value is cut off
           {"00 00 00 0A 04 01 81 FF FF 31", 0x0002, 0, 0},          // walks out of the list
           {"00 00 00 07 04 01 81", 0x0401, 4, 5},                   // the header is cut off
           {"00 00 00 0A 00 09 81 00 00 04", 0x0400, 9, 5},          // so is the identifier
           {"00 00 00 08 04 01 81", 0x0401, 0, 0},                   // more than there is
           {"FF FF FF FF 04 01 81 00 00", 0x0401, 0, 0},             //
           {"00 00 00 04 04 01 81 00 00", 0x0401, 0, 0},             // too short for an attribute
           {"00 00 00 05", 0x0401, 0, 0},                            //
           {"", 0x0401, 0, 0},                                       //
       }) {
    SCOPED_TRACE(row.data);
    answered(command, row.data);
    EXPECT_EQ(command.getAttributeOffset(row.id), row.offset);
    EXPECT_EQ(command.getAttributeLength(row.id), row.length);
  }
}

TEST(TapeDecoding, ListsReservationKeys) {
  TapeCmdPersistentReserveIn keys(PERSIST_READ_KEYS, 8);
  const std::string one = "01 02 03 04 05 06 07 08", two = "F1 F2 F3 F4 F5 F6 F7 F8";
  const auto listed = [&](const std::string& data) { return answered(keys, data).getReservationsKeys(); };
  EXPECT_THAT(listed("00 00 00 09 00 00 00 10 " + one + " " + two),
              ElementsAre(0x0102030405060708u, 0xF1F2F3F4F5F6F7F8u));
  EXPECT_THAT(listed("00 00 00 09 00 00 00 0F " + one + " " + two), ElementsAre(0x0102030405060708u));
  EXPECT_THAT(listed("00 00 00 09 00 00 00 07 " + one), IsEmpty());
  // More keys than the buffer holds.
  EXPECT_THAT(listed("00 00 00 09 FF FF FF FF " + one + " F1 F2"), ElementsAre(0x0102030405060708u));
  EXPECT_THAT(listed("00 00 00 09 00 00 00"), IsEmpty());
  EXPECT_THAT(listed(""), IsEmpty());

  TapeCmdPersistentReserveIn reservation(PERSIST_READ_RESERVATION, 8);
  EXPECT_THAT(answered(reservation, "00 00 00 09 00 00 00 08 " + one).getReservationsKeys(), IsEmpty());
}

}  // namespace
