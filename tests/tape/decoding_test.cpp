#include <numeric>

#include "kiv/tape/data_transfer.h"
#include "kiv/tape/information.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "tests/support/record.h"

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

TEST(TapeDecoding, TakesNumbersWhereTheyStand) {
  Record record;
  for (std::size_t length = 0; length <= 26; ++length) {
    // The bytes 00 01 02 ..., so that a number tells where it was read.
    std::vector<std::uint8_t> counting(length);
    std::iota(counting.begin(), counting.end(), std::uint8_t{0});
    const std::string data = hex(counting);
    TapeCmdReadPosition position;
    TapeCmdReadBlockLimits limits;
    TapeCmdReportDensitySupport density(false, 4);
    TapeCmdReportDynamicRuntimeInformation runtime(0, 0, 0, 4);
    TapeCmdReportTimeStamp time(4);
    answered(position, data), answered(limits, data), answered(density, data), answered(runtime, data);
    TELL(length, position.getFirstBlockPosition(), position.getNextBlockPosition());
    TELL(position.getLastBlockWritten(), position.getNumberOfBlocksInBuffer(),
         position.getNumberOfBytesInBuffer());
    TELL(limits.getMaxBlockLength(), limits.getMinBlockLength());
    TELL(density.getAvailableDensitySupportLength(), runtime.getAvailableData());
    TELL(answered(time, data).getTimeStamp());
  }
  for (const char* flags : {"3F", "7F", "BF", "FF", ""}) {
    TapeCmdReadPosition position;
    answered(position, flags);
    TELL(flags, position.posBOP(), position.posEOP());
  }
}

TEST(TapeDecoding, ReadsBlockProtection) {
  Record record;
  for (const char* data : {"23 00 10 00 4A F0 00 1C 02 04 A0", "23 00 10 00 4A F0 00 1C 01 06 5F",
                           "23 00 10 00 4A F0 00 1C", "23 00 10 00 4A F0 00"}) {
    TapeCmdQueryLogicalBlockProtection query;
    answered(query, data);
    TELL(data, query.getLbpCapable(), query.getLbpMethod(), query.getLbpInfoLength());
    TELL(query.getLbpWrite(), query.getLbpRead(), query.getLbpRBDP());
  }
}

TEST(TapeDecoding, WalksAttributes) {
  Record record;
  TapeCmdReadAttribute command(0, 0, 0, 0, 4);
  const auto tell = [&](const std::string& data, std::initializer_list<std::uint16_t> ids,
                        ReturnCode status) {
    answered(command, data, status);
    TELL(data, status, command.getPageLength());
    for (const std::uint16_t id : ids)
      TELL(id, command.getAttributeOffset(id), command.getAttributeLength(id),
           command.isAttributeSupported(id));
  };
  // Three attributes: one of 8 bytes, an empty one, one of 2 bytes; 25 bytes in all. The walk ends at the
  // length of the list, which does not count its own four bytes.
  const std::string list = "04 01 81 00 08 31 32 33 34 35 36 37 38 00 02 80 00 00 08 06 81 00 02 41 42";
  tell("00 00 00 19 " + list, {0x0401, 0x0002, 0x0806, 0x0400, 0x3132}, CMD_OK);
  tell("00 00 00 19 04", {0x0401}, CMD_OK);
  tell("00 00 00 19", {0x0401}, CMD_OK);
  tell("00 00 00 17 " + list, {0x0806}, CMD_OK);
  tell("00 00 00 16 " + list, {0x0806}, CMD_OK);
  tell("00 00 00 19 " + list, {0x0401}, CMD_ERROR);
  for (const char* hostile : {"00 00 00 0A 04 01 81 00 08 31",  // the value is cut off
                              "00 00 00 0A 04 01 81 FF FF 31",  // walks out of the list
                              "00 00 00 07 04 01 81",           // the header is cut off
                              "00 00 00 0A 00 09 81 00 00 04",  // so is the identifier
                              "00 00 00 08 04 01 81",           // more than there is
                              "FF FF FF FF 04 01 81 00 00",
                              "00 00 00 04 04 01 81 00 00",  // too short for an attribute
                              "00 00 00 05", ""})
    tell(hostile, {0x0401, 0x0002, 0x0400}, CMD_OK);
}

TEST(TapeDecoding, ListsReservationKeys) {
  Record record;
  const std::string one = "01 02 03 04 05 06 07 08", two = "F1 F2 F3 F4 F5 F6 F7 F8";
  for (const std::string& data :
       {"00 00 00 09 00 00 00 10 " + one + " " + two, "00 00 00 09 00 00 00 0F " + one + " " + two,
        "00 00 00 09 00 00 00 07 " + one, "00 00 00 09 FF FF FF FF " + one + " F1 F2",
        std::string("00 00 00 09 00 00 00"), std::string()}) {
    for (const auto action : {PERSIST_READ_KEYS, PERSIST_READ_RESERVATION}) {
      TapeCmdPersistentReserveIn command(action, 8);
      std::vector<std::string> keys;
      for (const std::uint64_t key : answered(command, data).getReservationsKeys())
        keys.push_back(std::to_string(key));
      record(data, action, keys);
    }
  }
}

}  // namespace
