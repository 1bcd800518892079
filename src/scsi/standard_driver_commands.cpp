#include "kiv/scsi/standard_driver_commands.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "scsi/driver_requests.h"
#include "scsi/fields.h"
#include "scsi/operation_codes.h"

namespace {

/// A log page that the driver does not pass on as the device gives it.
constexpr std::uint8_t PAGE_NEVER_FROM_DRIVER = 0x37;

constexpr std::uint8_t PAGE_CODE_MASK = 0x3F;

// Lengths of the mode parameter headers (SPC-4).
constexpr std::size_t MODE_HEADER_6 = 4;
constexpr std::size_t MODE_HEADER_10 = 8;
/// Mode data that MODE SENSE(6) can carry.
constexpr ulong32 MODE_DATA_6 = 255;

template <typename Byte>
std::span<Byte> from(std::span<Byte> data, std::size_t offset) {
  return data.subspan(std::min(offset, data.size()));
}

/// CMD_OK when the driver has handed out sense data, with their length cut to the block that carries them.
ReturnCode checkSense(driver::SenseBlock& sense) {
  if (sense.length == 0) {
    logger->logDebug("SCSI", 0, "QORScsiCmdRequestSense, sense data length 0");
    return CMD_NOT_SUPPORTED;
  }
  if ((sense.data[0] & 0x7F) == 0) {
    logger->logDebug("SCSI", 0, "QORScsiCmdRequestSense, sense data invalid");
    return CMD_NOT_SUPPORTED;
  }
  sense.length = std::min<std::uint32_t>(sense.length, sizeof sense.data);
  return CMD_OK;
}

}  // namespace

QORScsiCmdLogSense::QORScsiCmdLogSense(GenericScsiCommand* generic, bool force)
    : QORScsiCommand(generic), forcePassthrough(force) {}

ReturnCode QORScsiCmdLogSense::doOperation(void* deviceHandle) {
  const std::uint8_t pageCode = readByte(cdbSpan(), 2) & PAGE_CODE_MASK;
  if (forcePassthrough || pageCode == PAGE_NEVER_FROM_DRIVER) return CMD_NOT_SUPPORTED;

  driver::LogSenseBlock block{};
  block.pageCode = pageCode;
  block.subpageCode = getCDBSubpageCode();
  block.pageControl = getCDBPageControl();
  if (!exchangeWithDevice(deviceHandle, driver::IOCTL_TAPE_LOG_SENSE, block)) return CMD_NOT_SUPPORTED;
  copyIoData(block.page, std::min<ulong32>(block.dataLength, sizeof block.page));
  return CMD_OK;
}

QORScsiCmdRequestSense::QORScsiCmdRequestSense(ulong32 allocation) : QORScsiCommand(CDB_6) {
  setCmdCode(REQUEST_SENSE);
  QORScsiCommand::setIoDataLength(allocation == 0 ? DEFAULT_SENSE_LENGTH : allocation);
}

ReturnCode QORScsiCmdRequestSense::doOperation(void* deviceHandle) {
  driver::SenseBlock sense{};
  if (!askDevice(deviceHandle, driver::IOCTL_TAPE_REQUEST_SENSE, sense)) return CMD_NOT_SUPPORTED;
  const ReturnCode result = checkSense(sense);
  if (result == CMD_OK) copyIoData(sense.data, sense.length);
  return result;
}

ReturnCode QORScsiCmdChangerRequestSense::doOperation(void* deviceHandle) {
  driver::SenseBlock sense{};
  const BytesAnswered answered = askDevice(deviceHandle, driver::IOCTL_CHANGER_REQUEST_SENSE, sense);
  if (!answered) return CMD_ERROR;
  logger->logDebug("SCSI", 0, "QORScsiCmdRequestSense  changer path passed bytes returned %ld",
                   static_cast<long>(*answered));
  const ReturnCode result = checkSense(sense);
  if (result == CMD_OK) {
    logDump("SCSI", "QORScsiCmdRequestSense", std::span(sense.data, sense.length));
    copyIoData(sense.data, sense.length);
  }
  return result;
}

ReturnCode QORScsiCmdModeSense6::doOperation(void* deviceHandle) {
  driver::ModeSenseBlock block{};
  block.pageOrForm = readByte(cdbSpan(), 2) & PAGE_CODE_MASK;
  block.subpageOrData[0] = getCDBSubpageCode();
  if (!exchangeWithDevice(deviceHandle, driver::IOCTL_DRIVER_MODE_SENSE, block)) {
    logger->logDebug("SCSI", 0, "QORScsiCmdModeSense6, failed ");
    return CMD_NOT_SUPPORTED;
  }
  const std::span<const std::uint8_t> modeData = block.subpageOrData;
  switch (block.pageOrForm) {
    case MODE_SENSE_6:
      takeModeSense6(modeData);
      return CMD_OK;
    case MODE_SENSE_10:
      takeModeSense10(modeData);
      return CMD_OK;
    default:
      return CMD_NOT_SUPPORTED;
  }
}

void QORScsiCmdModeSense6::takeModeSense6(std::span<const std::uint8_t> modeData) {
  const auto answer = modeData.first(MODE_DATA_6);
  if (!getDisableBlockDescriptor()) {
    copyIoData(answer.data(), MODE_DATA_6);
    return;
  }
  // The driver leaves the block descriptors in.
  const std::size_t descriptors = answer[3];
  const auto pages = from(answer, MODE_HEADER_6 + descriptors);
  copyModeData(answer.first<MODE_HEADER_6>(), pages);
  logger->logDebug("SCSI", 0,
                   "QORScsiCmdModeSense6, header length %d, blkdesclen %d, iolength %d, copyLength %d",
                   answer[0], static_cast<int>(descriptors), static_cast<int>(ioDataLength),
                   static_cast<int>(std::min(from(ioDataSpan(), MODE_HEADER_6).size(), pages.size())));
  logDump("SCSI", "QORScsiCmdModeSense6(0x1A), io data", ioDataSpan());
}

void QORScsiCmdModeSense6::takeModeSense10(std::span<const std::uint8_t> modeData) {
  logDump("SCSI", "QORScsiCmdModeSense10 data", modeData.first(MODE_DATA_6));
  const std::size_t dataLength = readBe16(modeData, 0);
  const std::size_t descriptors = readBe16(modeData, 6);
  if (descriptors == 0) writeBits(cdbSpan(), 1, 0x04, 0x04);

  const auto answer = modeData.first(std::min(dataLength + 2, modeData.size()));
  const auto pages = from(answer, MODE_HEADER_10 + descriptors);
  const std::size_t dataLength6 = std::min<std::size_t>(MODE_HEADER_6 - 1 + pages.size(), 255);
  const std::array<std::uint8_t, MODE_HEADER_6> header{static_cast<std::uint8_t>(dataLength6), modeData[2],
                                                       modeData[3], 0};
  copyModeData(header, pages);
  logger->logDebug(
      "SCSI", 0,
      "QORScsiCmdModeSense6, header length %d, blkdesclen %d, mode6blkLength %d, dataLen %d, DBD %02X",
      static_cast<int>(dataLength), static_cast<int>(descriptors), static_cast<int>(dataLength6),
      static_cast<int>(pages.size()), readByte(cdbSpan(), 1));
  logDump("SCSI", "QORScsiCmdModeSense6(0x5A), io data", ioDataSpan());
}

void QORScsiCmdModeSense6::copyModeData(std::span<const std::uint8_t, 4> header,
                                        std::span<const std::uint8_t> pages) {
  std::array<std::uint8_t, sizeof(driver::ModeSenseBlock)> modeData{};
  std::ranges::copy(header, modeData.begin());
  std::ranges::copy(pages, modeData.begin() + header.size());
  copyIoData(modeData.data(), static_cast<ulong32>(header.size() + pages.size()));
}
