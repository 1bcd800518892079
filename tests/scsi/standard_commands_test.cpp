#include "kiv/scsi/standard_commands.h"

#include <gmock/gmock.h>

#include "kiv/scsi/standard_driver_commands.h"
#include "tests/support/record.h"

namespace {

using Numbers = std::initializer_list<std::uint16_t>;

/// A command that has been executed and got these bytes, as far as there is room.
template <typename Kind>
Kind& answered(Kind& command, std::span<const std::uint8_t> data) {
  std::copy_n(data.begin(), std::min<std::size_t>(data.size(), command.getIoDataLength()),
              command.getIoData());
  command.setExecutionStatus(CMD_OK);
  return command;
}

// clang-format off
TEST(StandardCommands, BuildTheirCdbs) {
  Record record;
  COMMAND(ScsiCmdTestUnitReady());
  COMMAND(ScsiCmdRequestSense(18));
  COMMAND(ScsiCmdRequestSense(18), c.setTransferLength(96));
  COMMAND(ScsiCmdInquiry(0, false, 36));
  COMMAND(ScsiCmdInquiry(0x80, true, 30));
  COMMAND(ScsiCmdInquiry(0x83, false, 0x123));
  COMMAND(ScsiCmdInquiry(0, true, 255));
  COMMAND(ScsiCmdInquiry(0, false, 36), c.setPageCode(0xB0), c.setTransferLength(0x0201));
  COMMAND(ScsiCmdInquiry(0x83, true, 36), c.setPageCode(0));
  COMMAND(ScsiCmdInquiry(0x83, true, 36), c.setEnableVitalProductDataFlag(false));
  COMMAND(ScsiCmdModeSense6(false, 0, 0x3F, 0));
  COMMAND(ScsiCmdModeSense6(true, 3, 0x0F, 40));
  COMMAND(ScsiCmdModeSense6(true, 3, 0x0F, 40), c.setDBDFlag(false), c.setPageControl(1), c.setPageCode(0xD1), c.setSubPageCode(0x5A), c.setTransferLength(0));
  COMMAND(ScsiCmdModeSense6(false, 3, 0x0F, 40), c.setDBDFlag(true));
  COMMAND(ScsiCmdModeSelect6(0));
  COMMAND(ScsiCmdModeSelect6(12));
  COMMAND(ScsiCmdModeSelect6(12), c.setSavePageFlag(true), c.setTransferLength(0));
  COMMAND(ScsiCmdReadCapacity());
  COMMAND(ScsiCmdReadBuffer(0x1B, 2, 0x123456, 0x010203));
  COMMAND(ScsiCmdReadBuffer(2, 0, 0, 64), c.setMode(0x0B), c.setBufferId(0xE4), c.setOffset(0xFF000102), c.setParameterListLength(4));
  COMMAND(ScsiCmdWriteBuffer(0x0F, 0, 0, 0x8000));
  COMMAND(ScsiCmdWriteBuffer(7, 0, 0, 1), c.setMode(0x0D), c.setBufferId(1), c.setOffset(0x8000), c.setParameterListLength(0x100));
  COMMAND(ScsiCmdSendDiagnostic(true, true, 0x0102));
  COMMAND(ScsiCmdSendDiagnostic(false, false, 0));
  COMMAND(ScsiCmdSendDiagnostic(false, true, 0x0102), c.setSelfTestFlag(false), c.setPageFlag(true), c.setParameterLength(9));
  COMMAND(ScsiCmdSendDiagnostic(true, false, 5), c.setSelfTestFlag(true), c.setPageFlag(false), c.setParameterLength(0));
  COMMAND(ScsiCmdReceiveDiagnostic(0x0203));
  COMMAND(ScsiCmdReceiveDiagnostic(0x0203), c.setParameterLength(0x0104));
  COMMAND(ScsiCmdReportLuns(0x010203));
  COMMAND(ScsiCmdReportLuns(16), c.setAllocationLength(0x0408));
  COMMAND(ScsiCmdLogSense(1, 0x2E, 0x0102, 0x0304));
  COMMAND(ScsiCmdLogSense(1, 0x2E, 0, 4), c.setPageControl(2), c.setPageCode(0x17), c.setParameterPointer(0x0506), c.setTransferLength(0x0201));
  COMMAND(ScsiCmdLogSense(1, 0x10, 0, 4), c.setSubpageCode(0x21), c.setSubpageCode(0));
  COMMAND(ScsiCmdLogSense(1, 0x10, 0, 4), c.setCmdCode(0x0D), c.setSubpageCode(0x21));
}
// clang-format on

// A CDB that could not be had leaves nothing for setters to write to and for getters to read.
TEST(StandardCommands, StandWithoutBuffers) {
  ScsiCmdLogSense logSense(0, 0, 0, 16);
  ScsiCmdInquiry inquiry(0x80, true, 36);
  logSense.setCdbLength(0);
  inquiry.setCdbLength(2);
  logSense.setPageControl(3);
  logSense.setSubpageCode(3);
  logSense.setTransferLength(0);
  inquiry.setPageCode(0x83);
  EXPECT_EQ(hex(inquiry.cdbSpan()), "00 01");
  EXPECT_EQ(inquiry.getVendorId(), "");
  EXPECT_EQ(logSense.getAttributeValue(0), 0u);
}

TEST(StandardCommands, DecodeInquiryAndModeData) {
  Record record;
  // Peripheral qualifier 1, type 8; vendor, product, level; behind them the vendor-specific bytes.
  std::vector<std::uint8_t> data = bytes("28 80 06 02 1F 00 00 02");
  for (char c : std::string("HALDEN  LIB 3584\0ABC    04.1xyz", 31))
    data.push_back(static_cast<std::uint8_t>(c));
  for (const bool page : {false, true}) {
    ScsiCmdInquiry inquiry(page ? 0x80 : 0, page, 40);
    for (const std::uint16_t length : Numbers{40, 36, 35, 33, 32, 31, 17, 16, 15, 9, 8, 7, 1, 0}) {
      inquiry.setTransferLength(length);
      answered(inquiry, data);
      record(std::to_string(length) + (page ? " bytes of a page" : " bytes"),
             inquiry.getPeripheralDeviceType(), inquiry.getVendorId(), inquiry.getProductId(),
             inquiry.getRevisionLevel());
    }
  }
  ScsiCmdInquiry listOfPages(0, true, 40);
  EXPECT_EQ(answered(listOfPages, data).getVendorId(), "");
  ScsiCmdModeSense6 modeSense(false, 0, 0x3F, 16);
  TELL(answered(modeSense, bytes("17 00 10 08")).getPageLength());
  TELL(modeSense.setExecutionStatus(CMD_ERROR), modeSense.getPageLength());
  TELL(modeSense.setIoDataLength(0), modeSense.setExecutionStatus(CMD_OK), modeSense.getPageLength());
}

TEST(StandardCommands, DecodeReportedLuns) {
  Record record;
  ScsiCmdReportLuns luns(40);
  answered(luns, bytes("00 00 00 20 00 00 00 00 "
                       "00 05 00 00 00 00 00 00 "     // peripheral, LUN 5
                       "40 05 00 00 00 00 00 01 "     // flat space, LUN 5
                       "52 34 00 00 00 00 00 00 "     // flat space, LUN 1234h
                       "81 E3 00 00 00 00 00 00 "));  // logical unit, bus 7, LUN 3
  TELL(luns.getNumberOfAttachedLuns());
  const auto tell = [&](ulong32 i) {
    record(std::to_string(i), luns.getAttachedLun(i), luns.getAddressMethod(i),
           luns.getLunViaAddressMethod(i));
  };
  for (const ulong32 i : {0u, 1u, 2u, 3u, 4u, 0x1FFFFFFFu, 0xFFFFFFFFu}) tell(i);
  luns.getIoData()[8] = 0xC1;
  tell(0);
  luns.setAllocationLength(15);  // an entry that is not wholly there
  std::ranges::fill(luns.ioDataSpan(), std::uint8_t{0x40});
  EXPECT_EQ(luns.getAttachedLun(0) + luns.getLunViaAddressMethod(0), 0u);
  luns.setAllocationLength(3);
  std::ranges::fill(luns.ioDataSpan(), std::uint8_t{0xFF});
  TELL(luns.getNumberOfAttachedLuns());
}

// An integer of eight bytes, a text, nine bytes, and a parameter that the walk does not reach.
const std::vector<std::uint8_t> logPage = bytes(
    "0C 00 00 2D "
    "00 01 60 08 12 34 56 78 9A BC DE F0 "              //  4: 123456789ABCDEF0h
    "00 02 60 0C 0D 0A 4C 31 20 30 09 00 00 00 00 00 "  // 16: text
    "80 00 60 09 01 02 03 04 05 06 07 08 09 "           // 32: nine bytes
    "80 01 60 00");                                     // 45: in the last four bytes of the page

TEST(LogSense, FindsParameters) {
  Record record;
  ScsiCmdLogSense command(1, 0x0C, 0, 64);
  answered(command, logPage);
  for (const ReturnCode status : {CMD_OK, CMD_ERROR}) {
    TELL(command.setExecutionStatus(status), command.getPageLength());
    for (const std::uint16_t code : Numbers{0x0001, 0x0002, 0x8000, 0x8001, 0x0C00})
      record("code " + std::to_string(code), command.getParameterOffset(code),
             command.getAttributeValue(code), command.isAttributeSupported(code),
             command.isAttributeTypeInteger(code), command.getAttributeValueAsString(code));
    for (const std::uint16_t offset : Numbers{4, 16, 32, 45}) {
      std::uint16_t code = 9;
      std::uint8_t length = 9;
      std::uint64_t value = 9;
      const bool found = command.getParameter(offset, code, length, value);
      record("offset " + std::to_string(offset), found, code, length, value);
    }
  }
}

TEST(LogSense, DistrustsLengths) {
  Record record;
  for (const std::string page : {"0C 00 00 04 00 00 00 00",  // one empty parameter: the walk does not begin
                                 "0C 00 00 05 00 00 00 00 00",           // one more byte, and it does
                                 "0C 00 00 0A 00 01 00 00 00 00 00 00",  // an empty parameter ends the walk
                                 "0C 00 00 09 00 01 00 FF 00",           // a parameter longer than the page
                                 "0C 00 FF FF 00 01 00 01 00",           // a page longer than the buffer
                                 "0C 00 00", ""}) {
    const auto data = bytes(page);
    ScsiCmdLogSense command(1, 0x0C, 0, static_cast<std::uint16_t>(data.size()));
    answered(command, data);
    record(page, command.getParameterOffset(0), command.getAttributeValue(0),
           command.isAttributeTypeInteger(9));
  }
  ScsiCmdLogSense cut(1, 0x0C, 0, 10);
  answered(cut, bytes("0C 00 00 09 00 01 00 04 12 34"));
  EXPECT_EQ(cut.getAttributeValue(1), 0u);
  EXPECT_EQ(cut.getAttributeValueAsString(1), "");
  std::uint16_t code = 0;
  std::uint8_t length = 0;
  std::uint64_t value = 9;
  EXPECT_FALSE(cut.getParameter(4, code, length, value));
  // The longest page, whose last parameter reaches beyond what 16 bits can count.
  ScsiCmdLogSense longest(1, 0x0C, 0, 0xFFFF);
  std::ranges::fill(longest.ioDataSpan(), std::uint8_t{0xFF});
  longest.setExecutionStatus(CMD_OK);
  TELL(longest.getParameterOffset(0), longest.getParameterOffset(0xFFFF));
}

}  // namespace
