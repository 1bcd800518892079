#include "kiv/scsi/command.h"

#include <algorithm>
#include <bit>
#include <new>

#include "frame/shortage.h"
#include "kiv/frame/logger.h"
#include "scsi/fields.h"
#include "scsi/store.h"

namespace {

enum Buffer : std::uint8_t { CDB = 1, SENSE_DATA = 2, IO_DATA = 4 };

/// Replaces a buffer by a zeroed one of n bytes, or by none; marks it among the missing ones when it cannot
/// be had.
template <typename Length>
ReturnCode replaceBuffer(std::uint8_t*& buffer, Length& length, Length n, std::uint8_t& missing,
                         Buffer which) {
  delete[] buffer;
  buffer = n == 0 ? nullptr : new (std::nothrow) std::uint8_t[n]();
  length = buffer == nullptr ? Length{0} : n;
  const bool had = length == n;
  if (!had) ++shortages;
  missing = static_cast<std::uint8_t>(had ? missing & ~which : missing | which);
  return had ? CMD_OK : CMD_NO_MEMORY;
}

}  // namespace

ScsiCommand::ScsiCommand() = default;

ScsiCommand::ScsiCommand(CDBLength cdbBytes) {
  replaceBuffer(senseData, senseDataLength, DEFAULT_SENSE_LENGTH, missingBuffers, SENSE_DATA);
  replaceBuffer<std::uint8_t>(cdb, cdbLength, cdbBytes, missingBuffers, CDB);
}

ScsiCommand::~ScsiCommand() {
  delete[] ioData;
  delete[] senseData;
  delete[] cdb;
}

ReturnCode ScsiCommand::setSenseDataLength(std::uint8_t n) {
  return replaceBuffer(senseData, senseDataLength, n, missingBuffers, SENSE_DATA);
}

ReturnCode ScsiCommand::setIoDataLength(ulong32 n) {
  if (n != 0 && n == ioDataLength) return CMD_OK;
  if (n == 0 || n > ioDataLength) return replaceBuffer(ioData, ioDataLength, n, missingBuffers, IO_DATA);
  // Less needs no memory: the last, shorter piece of a firmware image must not fail for the want of it.
  ioDataLength = n;
  std::ranges::fill(ioDataSpan(), std::uint8_t{0});
  return CMD_OK;
}

ReturnCode ScsiCommand::setCdbLength(std::uint8_t n) {
  return replaceBuffer(cdb, cdbLength, n, missingBuffers, CDB);
}

ReturnCode ScsiCommand::setTimeOut(ulong32 seconds) {
  timeOut = seconds;
  logger->logDebug("SCSI", 0, "set CDB timeoutvalue %ld for opcode %02X set", static_cast<long>(seconds),
                   readByte(cdbSpan(), 0));
  return CMD_OK;
}

ReturnCode ScsiCommand::setDataDirection(ScsiDataDirection direction) {
  return store(dataDirection, direction);
}
ReturnCode ScsiCommand::setCallBackFunction(void* function) { return store(callback, function); }
ReturnCode ScsiCommand::setExecutionStatus(ReturnCode status) { return store(executionStatus, status); }
ReturnCode ScsiCommand::setTargetStatus(std::uint8_t status) { return store(targetStatus, status); }
ReturnCode ScsiCommand::setHostStatus(std::uint8_t status) { return store(hostStatus, status); }
ReturnCode ScsiCommand::setTimeoutOccured(bool occurred) { return store(timeoutOccurred, occurred); }
ReturnCode ScsiCommand::setAdditionalFailureCode(ulong32 code) { return store(additionalFailureCode, code); }

std::uint32_t ScsiCommand::getCmdCode() const { return cdbSpan().empty() ? 0xFFFFFFFF : cdb[0]; }

ReturnCode ScsiCommand::setCmdCode(std::uint8_t code) {
  writeBigEndian(cdbSpan(), 0, 1, code);
  return CMD_OK;
}

ReturnCode ScsiCommand::clearSenseData() {
  std::ranges::fill(senseSpan(), std::uint8_t{0});
  return CMD_OK;
}

ReturnCode ScsiCommand::clearStatusData() {
  executionStatus = CMD_ERROR;
  targetStatus = 0xFF;
  hostStatus = 0xFF;
  timeoutOccurred = false;
  additionalFailureCode = 0;
  return CMD_OK;
}

ReturnCode ScsiCommand::takeoverCmdData(ScsiCommand& other) {
  ReturnCode result = CMD_OK;
  // A buffer that both share, as a twin and its command do, already holds what would be copied.
  if (cdb != other.cdb) {
    result = std::max(result, setCdbLength(other.cdbLength));
    std::copy_n(other.cdb, cdbLength, cdb);
  }
  if (senseData != other.senseData) {
    result = std::max(result, setSenseDataLength(other.senseDataLength));
    std::copy_n(other.senseData, senseDataLength, senseData);
  }
  if (ioData != other.ioData) {
    result = std::max(result, setIoDataLength(other.ioDataLength));
    std::copy_n(other.ioData, ioDataLength, ioData);
  }
  missingBuffers |= other.missingBuffers;
  copyOutcome(other);
  return result;
}

void ScsiCommand::copyOutcome(const ScsiCommand& other) {
  executionStatus = other.executionStatus;
  targetStatus = other.targetStatus;
  hostStatus = other.hostStatus;
  timeoutOccurred = other.timeoutOccurred;
  additionalFailureCode = other.additionalFailureCode;
}

bool ScsiCommand::isSenseDataValid() const { return (readByte(senseSpan(), 0) & 0x7F) != 0; }
std::uint8_t ScsiCommand::getSenseKey() const { return readByte(senseSpan(), 2) & 0x0F; }
std::uint8_t ScsiCommand::getASC() const { return readByte(senseSpan(), 12); }
std::uint8_t ScsiCommand::getASCQ() const { return readByte(senseSpan(), 13); }

GenericScsiCommand::GenericScsiCommand(CDBLength cdbBytes, ScsiDataDirection direction, ulong32 ioBytes,
                                       ulong32 timeOutSeconds)
    : ScsiCommand(cdbBytes) {
  ScsiCommand::setIoDataLength(ioBytes);
  dataDirection = direction;
  timeOut = timeOutSeconds;
}

GenericScsiCommand::GenericScsiCommand(std::span<const std::uint8_t> cdbBytes, ScsiDataDirection direction,
                                       ulong32 ioBytes, ulong32 timeOutSeconds)
    : GenericScsiCommand(static_cast<CDBLength>(cdbBytes.size()), direction, ioBytes, timeOutSeconds) {
  std::copy_n(cdbBytes.begin(), cdbLength, cdb);
}

GenericScsiCommand::GenericScsiCommand(std::span<const std::uint8_t> cdbBytes, ScsiDataDirection direction,
                                       std::span<const std::uint8_t> parameterList, ulong32 timeOutSeconds)
    : GenericScsiCommand(cdbBytes, direction, static_cast<ulong32>(parameterList.size()), timeOutSeconds) {
  std::copy_n(parameterList.begin(), ioDataLength, ioData);
}

void GenericScsiCommand::putNumber(std::size_t offset, std::size_t width, std::uint64_t value) {
  writeBigEndian(cdbSpan(), offset, width, value);
}

void GenericScsiCommand::putBits(std::size_t offset, std::uint8_t mask, unsigned int value) {
  writeBits(cdbSpan(), offset, mask, value << std::countr_zero(mask));
}

ReturnCode GenericScsiCommand::putLength(std::size_t offset, std::size_t width, ulong32 length) {
  putNumber(offset, width, length);
  return setIoDataLength(length);
}

QORScsiCommand* GenericScsiCommand::createQORCommand() { return nullptr; }
