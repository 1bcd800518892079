#include "kiv/scsi/standard_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "kiv/scsi/standard_driver_commands.h"
#include "tests/support/hex.h"

namespace {

using Command = std::shared_ptr<GenericScsiCommand>;

Command made(GenericScsiCommand* command) { return Command(command); }

/// A command changed by setters.
template <typename Kind, typename Change>
Command changed(Kind* command, Change change) {
  change(*command);
  return Command(command);
}

template <typename Twin>
bool is(const QORScsiCommand* twin) {
  return dynamic_cast<const Twin*>(twin) != nullptr;
}

/// Lays a device's data into a command that has been executed.
template <typename Kind>
Kind& answered(Kind& command, std::span<const std::uint8_t> data) {
  std::copy_n(data.begin(), std::min<std::size_t>(data.size(), command.getIoDataLength()),
              command.getIoData());
  command.setExecutionStatus(CMD_OK);
  return command;
}

TEST(StandardCommands, BuildTheirCdbs) {
  constexpr auto none = SCSI_DATA_NONE, in = SCSI_DATA_IN, out = SCSI_DATA_OUT;
  using Inquiry = ScsiCmdInquiry;
  using ModeSense = ScsiCmdModeSense6;
  using ModeSelect = ScsiCmdModeSelect6;
  using ReadBuffer = ScsiCmdReadBuffer;
  using WriteBuffer = ScsiCmdWriteBuffer;
  using Diagnostic = ScsiCmdSendDiagnostic;
  using LogSense = ScsiCmdLogSense;
  struct Row {
    Command command;
    const char* cdb;
    ScsiDataDirection direction;
    ulong32 ioLength;
    ulong32 timeOut;
    bool (*hasTwin)(const QORScsiCommand*);
  };
  // clang-format off
  const Row rows[] = {
    {made(new ScsiCmdTestUnitReady), "00 00 00 00 00 00", none, 0, 30, is<QORScsiCmdTestUnitReady>},
    {made(new ScsiCmdRequestSense(18)), "03 00 00 00 12 00", in, 18, 30, is<QORScsiCmdRequestSense>},
    {changed(new ScsiCmdRequestSense(18), [](auto& c) { c.setTransferLength(96); }),
     "03 00 00 00 60 00", in, 96, 30, is<QORScsiCmdRequestSense>},

    {made(new Inquiry(0, false, 36)), "12 00 00 00 24 00", in, 36, 300, is<QORScsiCmdInquiry>},
    {made(new Inquiry(0x80, true, 30)), "12 01 80 00 1E 00", in, 30, 300, is<QORScsiCmdInquiry>},
    {made(new Inquiry(0x83, false, 0x123)), "12 01 83 01 23 00", in, 0x123, 300, is<QORScsiCmdInquiry>},
    {made(new Inquiry(0, true, 255)), "12 01 00 00 FF 00", in, 255, 300, is<QORScsiCmdInquiry>},
    {changed(new Inquiry(0, false, 36), [](auto& c) { c.setPageCode(0xB0); c.setTransferLength(0x0201); }),
     "12 01 B0 02 01 00", in, 0x0201, 300, is<QORScsiCmdInquiry>},
    {changed(new Inquiry(0x83, true, 36), [](auto& c) { c.setPageCode(0); }),
     "12 00 00 00 24 00", in, 36, 300, is<QORScsiCmdInquiry>},
    {changed(new Inquiry(0x83, true, 36), [](auto& c) { c.setEnableVitalProductDataFlag(false); }),
     "12 00 83 00 24 00", in, 36, 300, is<QORScsiCmdInquiry>},

    {made(new ModeSense(false, 0, 0x3F, 0)), "1A 00 3F 00 FF 00", in, 255, 30, is<QORScsiCmdModeSense6>},
    {made(new ModeSense(true, 3, 0x0F, 40)), "1A 08 CF 00 28 00", in, 40, 30, is<QORScsiCmdModeSense6>},
    {changed(new ModeSense(true, 3, 0x0F, 40), [](auto& c) {
       c.setDBDFlag(false); c.setPageControl(1); c.setPageCode(0xD1); c.setSubPageCode(0x5A); c.setTransferLength(0);
     }), "1A 00 51 5A FF 00", in, 255, 30, is<QORScsiCmdModeSense6>},

    {made(new ModeSelect(0)), "15 10 00 00 FF 00", out, 255, 30, is<QORScsiCmdModeSelect6>},
    {made(new ModeSelect(12)), "15 10 00 00 0C 00", out, 12, 30, is<QORScsiCmdModeSelect6>},
    {changed(new ModeSelect(12), [](auto& c) { c.setSavePageFlag(true); c.setTransferLength(0); }),
     "15 11 00 00 FF 00", out, 255, 30, is<QORScsiCmdModeSelect6>},

    {made(new ScsiCmdReadCapacity), "25 00 00 00 00 00 00 00 00 00", in, 128, 30, is<QORScsiCmdReadCapacity>},

    {made(new ReadBuffer(0x1B, 2, 0x123456, 0x010203)),
     "3C 03 02 12 34 56 01 02 03 00", in, 0x010203, 470, is<QORScsiCmdReadBuffer>},
    {changed(new ReadBuffer(2, 0, 0, 64), [](auto& c) {
       c.setMode(0x0B); c.setBufferId(0xE4); c.setOffset(0xFF000102); c.setParameterListLength(4);
     }), "3C 03 E4 00 01 02 00 00 04 00", in, 4, 470, is<QORScsiCmdReadBuffer>},
    {made(new WriteBuffer(0x0E, 0, 0, 0x8000)),
     "3B 06 00 00 00 00 00 80 00 00", out, 0x8000, 530, is<QORScsiCmdWriteBuffer>},
    {changed(new WriteBuffer(7, 0, 0, 1), [](auto& c) {
       c.setMode(0x0D); c.setBufferId(1); c.setOffset(0x8000); c.setParameterListLength(0x100);
     }), "3B 05 01 00 80 00 00 01 00 00", out, 0x100, 530, is<QORScsiCmdWriteBuffer>},

    {made(new Diagnostic(true, true, 0x0102)), "1D 14 00 01 02 00", out, 0x0102, 30, is<QORScsiCmdSendDiagnostic>},
    {made(new Diagnostic(false, false, 0)), "1D 00 00 00 00 00", none, 0, 30, is<QORScsiCmdSendDiagnostic>},
    {changed(new Diagnostic(false, true, 0x0102), [](auto& c) {
       c.setSelfTestFlag(false); c.setPageFlag(true); c.setParameterLength(9);
     }), "1D 10 00 00 09 00", out, 0x0102, 30, is<QORScsiCmdSendDiagnostic>},
    {changed(new Diagnostic(true, false, 5), [](auto& c) {
       c.setSelfTestFlag(true); c.setPageFlag(false); c.setParameterLength(0);
     }), "1D 04 00 00 00 00", none, 5, 30, is<QORScsiCmdSendDiagnostic>},
    {made(new ScsiCmdReceiveDiagnostic(0x0203)),
     "1C 00 00 02 03 00", in, 0x0203, 30, is<QORScsiCmdReceiveDiagnostic>},
    {changed(new ScsiCmdReceiveDiagnostic(0x0203), [](auto& c) { c.setParameterLength(0x0104); }),
     "1C 00 00 01 04 00", in, 0x0104, 30, is<QORScsiCmdReceiveDiagnostic>},

    {made(new ScsiCmdReportLuns(0x010203)),
     "A0 00 00 00 00 00 00 01 02 03 00 00", in, 0x010203, 30, is<QORScsiCmdReportLuns>},
    {changed(new ScsiCmdReportLuns(16), [](auto& c) { c.setAllocationLength(0x0408); }),
     "A0 00 00 00 00 00 00 00 04 08 00 00", in, 0x0408, 30, is<QORScsiCmdReportLuns>},

    {made(new LogSense(1, 0x2E, 0x0102, 0x0304)),
     "4D 00 6E 00 00 01 02 03 04 00", in, 0x0304, 300, is<QORScsiCmdLogSense>},
    {changed(new LogSense(1, 0x2E, 0, 4), [](auto& c) {
       c.setPageControl(2); c.setPageCode(0x17); c.setParameterPointer(0x0506); c.setTransferLength(0x0201);
     }), "4D 00 97 00 00 05 06 02 01 00", in, 0x0201, 300, is<QORScsiCmdLogSense>},
    {changed(new LogSense(1, 0x10, 0, 4), [](auto& c) { c.setSubpageCode(0x21); c.setSubpageCode(0); }),
     "4D 00 50 21 00 00 00 00 04 00", in, 4, 300, is<QORScsiCmdLogSense>},
    {changed(new LogSense(1, 0x10, 0, 4), [](auto& c) { c.setCmdCode(0x0D); c.setSubpageCode(0x21); }),
     "4D 00 50 21 00 00 00 00 04 00", in, 4, 300, is<QORScsiCmdLogSense>},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.cdb);
    EXPECT_EQ(hex(row.command->cdbSpan()), row.cdb);
    EXPECT_EQ(row.command->getDataDirection(), row.direction);
    EXPECT_EQ(row.command->getIoDataLength(), row.ioLength);
    EXPECT_EQ(row.command->getTimeOut(), row.timeOut);
    EXPECT_EQ(row.command->getSenseDataLength(), 32);
    const std::unique_ptr<QORScsiCommand> twin(row.command->createQORCommand());
    EXPECT_TRUE(row.hasTwin(twin.get()));
    EXPECT_EQ(twin->getCdb(), row.command->getCdb());
  }
}

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

TEST(StandardCommands, DecodeInquiryData) {
  // Peripheral qualifier 1, type 8; vendor, product, level; behind them the vendor-specific bytes.
  std::vector<std::uint8_t> data = bytes("28 80 06 02 1F 00 00 02");
  for (char c : std::string("HALDEN  LIB 3584\0ABC    04.1xyz", 31))
    data.push_back(static_cast<std::uint8_t>(c));
  ScsiCmdInquiry inquiry(0, false, 40);
  answered(inquiry, data);
  EXPECT_EQ(inquiry.getVendorId(), "HALDEN  ");
  EXPECT_EQ(inquiry.getProductId(), "LIB 3584");
  EXPECT_EQ(inquiry.getRevisionLevel(), "04.1");
  EXPECT_EQ(inquiry.getPeripheralDeviceType(), 8);
  for (std::uint16_t length = 0; length < 36; ++length) {
    inquiry.setTransferLength(length);
    answered(inquiry, data);
    EXPECT_EQ(inquiry.getRevisionLevel().size(), length > 32 ? length - 32u : 0u);
    EXPECT_EQ(inquiry.getVendorId().size(), std::clamp<int>(length - 8, 0, 8));
  }

  ScsiCmdInquiry page(0x80, true, 40);
  answered(page, data);
  EXPECT_EQ(page.getVendorId() + page.getProductId() + page.getRevisionLevel(), "");
  EXPECT_EQ(page.getPeripheralDeviceType(), 0);
}

TEST(StandardCommands, DecodeModeDataLength) {
  ScsiCmdModeSense6 modeSense(false, 0, 0x3F, 16);
  answered(modeSense, bytes("17 00 10 08"));
  EXPECT_EQ(modeSense.getPageLength(), 0x17);
  modeSense.setExecutionStatus(CMD_ERROR);
  EXPECT_EQ(modeSense.getPageLength(), 0);
  modeSense.setIoDataLength(0);
  modeSense.setExecutionStatus(CMD_OK);
  EXPECT_EQ(modeSense.getPageLength(), 0);
}

TEST(StandardCommands, DecodeReportedLuns) {
  ScsiCmdReportLuns luns(40);
  answered(luns, bytes("00 00 00 20 00 00 00 00 "
                       "00 05 00 00 00 00 00 00 "     // peripheral, LUN 5
                       "40 05 00 00 00 00 00 01 "     // flat space, LUN 5
                       "52 34 00 00 00 00 00 00 "     // flat space, LUN 1234h
                       "81 E3 00 00 00 00 00 00 "));  // logical unit, bus 7, LUN 3
  EXPECT_EQ(luns.getNumberOfAttachedLuns(), 4u);
  EXPECT_EQ(luns.getAttachedLun(0), 0x0005000000000000u);
  EXPECT_EQ(luns.getAttachedLun(1), 0x4005000000000001u);
  const int methods[] = {0, 1, 1, 2}, numbers[] = {5, 5, 0x1234, 3};
  for (ulong32 i = 0; i < 4; ++i) {
    EXPECT_EQ(luns.getAddressMethod(i), methods[i]);
    EXPECT_EQ(luns.getLunViaAddressMethod(i), numbers[i]);
  }
  luns.getIoData()[8] = 0xC1;
  EXPECT_EQ(luns.getAddressMethod(0), 3);
  EXPECT_EQ(luns.getLunViaAddressMethod(0), 0);

  for (ulong32 beyond : {4u, 0x1FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(luns.getAttachedLun(beyond), 0u);
    EXPECT_EQ(luns.getAddressMethod(beyond) + luns.getLunViaAddressMethod(beyond), 0);
  }
  luns.setAllocationLength(3);
  std::ranges::fill(luns.ioDataSpan(), std::uint8_t{0xFF});
  EXPECT_EQ(luns.getNumberOfAttachedLuns(), 0u);
}

// An integer, a text, nine bytes, and a parameter that the walk does not reach.
const std::vector<std::uint8_t> logPage = bytes(
    "0C 00 00 27 "
    "00 01 60 02 12 34 "                                //  4: 1234h
    "00 02 60 0C 0D 0A 4C 31 20 30 09 00 00 00 00 00 "  // 10: text
    "80 00 60 09 01 02 03 04 05 06 07 08 09 "           // 26: nine bytes
    "80 01 60 00");                                     // 39: in the last four bytes of the page

TEST(LogSense, FindsParametersByCode) {
  ScsiCmdLogSense command(1, 0x0C, 0, 64);
  answered(command, logPage);
  ASSERT_EQ(command.getPageLength(), 39);
  struct Row {
    std::uint16_t code, offset;
    std::uint64_t value;
    ReturnCode supported, integer;
    const char* text;
  };
  constexpr Row rows[] = {
      {0x0001, 4, 0x1234, CMD_OK, CMD_OK, "4660"},
      {0x0002, 10, 0x2030090000000000, CMD_OK, CMD_ERROR, "L1 0"},
      {0x8000, 26, 0x0203040506070809, CMD_OK, CMD_ERROR, "\x01\x02\x03\x04\x05\x06\a\b"},
      {0x8001, 0, 0, CMD_NOT_SUPPORTED, CMD_ERROR, ""},
      {0x0C00, 0, 0, CMD_NOT_SUPPORTED, CMD_ERROR, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.code);
    EXPECT_EQ(command.getParameterOffset(row.code), row.offset);
    EXPECT_EQ(command.getAttributeValue(row.code), row.value);
    EXPECT_EQ(command.isAttributeSupported(row.code), row.supported);
    EXPECT_EQ(command.isAttributeTypeInteger(row.code), row.integer);
    EXPECT_EQ(command.getAttributeValueAsString(row.code), row.text);
  }
  command.setExecutionStatus(CMD_ERROR);
  EXPECT_EQ(command.getPageLength(), 0);
  EXPECT_EQ(command.getParameterOffset(1), 0);
  EXPECT_EQ(command.getAttributeValueAsString(1), "");
}

TEST(LogSense, ReadsParametersByOffset) {
  ScsiCmdLogSense command(1, 0x0C, 0, 64);
  answered(command, logPage);
  std::uint16_t code = 9;
  std::uint8_t length = 9;
  std::uint64_t value = 9;
  EXPECT_TRUE(command.getParameter(4, code, length, value));
  EXPECT_EQ(code, 1);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(value, 0x1234u);
  EXPECT_FALSE(command.getParameter(26, code, length, value)) << "nine bytes";
  EXPECT_EQ(code, 0x8000);
  EXPECT_EQ(length, 9);
  EXPECT_EQ(value, 0u);
  EXPECT_FALSE(command.getParameter(39, code, length, value)) << "beyond the page length";
  EXPECT_EQ(code + length + value, 0u);
}

TEST(LogSense, DistrustsLengths) {
  struct Row {
    const char* page;
    std::uint16_t offsetOf0;
  };
  const Row rows[] = {
      {"0C 00 00 04 00 00 00 00", 0},              // one empty parameter: the walk does not begin
      {"0C 00 00 05 00 00 00 00 00", 4},           // one more byte, and it does
      {"0C 00 00 0A 00 01 00 00 00 00 00 00", 0},  // an empty parameter ends the walk
      {"0C 00 00 09 00 01 00 FF 00", 0},           // a parameter longer than the page
      {"0C 00 FF FF 00 01 00 01 00", 0},           // a page longer than the buffer
      {"0C 00 00", 0},
      {"", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.page);
    const auto page = bytes(row.page);
    ScsiCmdLogSense command(1, 0x0C, 0, static_cast<std::uint16_t>(page.size()));
    EXPECT_EQ(answered(command, page).getParameterOffset(0), row.offsetOf0);
    EXPECT_EQ(command.getAttributeValue(0), 0u);
  }

  // The longest page, whose last parameter reaches beyond what 16 bits can count.
  ScsiCmdLogSense longest(1, 0x0C, 0, 0xFFFF);
  std::ranges::fill(longest.ioDataSpan(), std::uint8_t{0xFF});
  longest.setExecutionStatus(CMD_OK);
  EXPECT_EQ(longest.getParameterOffset(0), 0);
  EXPECT_EQ(longest.getParameterOffset(0xFFFF), 4);
}

// Every cut and every byte raised to its largest value: no getter may leave the buffer.
TEST(LogSense, SurvivesBrokenPages) {
  for (std::uint16_t size = 0; size <= logPage.size(); ++size) {
    for (std::size_t broken = 0; broken < logPage.size(); ++broken) {
      auto page = logPage;
      page[broken] = 0xFF;
      ScsiCmdLogSense command(1, 0x0C, 0, size);
      answered(command, page);
      for (std::uint16_t code :
           std::initializer_list<std::uint16_t>{0x0001, 0x0002, 0x8000, 0x8001, 0xFFFF}) {
        const std::uint16_t offset = command.getParameterOffset(code);
        EXPECT_LE(offset, size);
        command.getAttributeValueAsString(code);
        std::uint8_t length;
        std::uint64_t value;
        for (const int at : {int{offset}, size - 1, 0xFFFF}) {
          if (command.getParameter(static_cast<std::uint16_t>(at), code, length, value)) {
            EXPECT_LE(length, 8);
          }
        }
      }
    }
  }
}

}  // namespace
