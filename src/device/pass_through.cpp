// Sending commands as CDBs through the port driver.
#include <algorithm>

#include "device/execution.h"
#include "device/patience.h"
#include "device/port_driver.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "scsi/status.h"

namespace {

/// Seconds that the port driver gets beyond the command's time-out, so that the device's own answer comes
/// first.
constexpr ulong32 TIME_OUT_MARGIN = 3;
constexpr std::uint32_t MEMORY_PAGE = 4096;

/// The sense data follow the request in the same buffer.
struct PassThroughBlock {
  SCSI_PASS_THROUGH_DIRECT request;
  ULONG filler;
  UCHAR sense[132];
};
static_assert(sizeof(PassThroughBlock) == 192);
static_assert(offsetof(PassThroughBlock, sense) == 60);

UCHAR dataInFor(const GenericScsiCommand& cmd, std::uint32_t opcode) {
  switch (cmd.getDataDirection()) {
    case SCSI_DATA_NONE:
      return SCSI_IOCTL_DATA_UNSPECIFIED;
    case SCSI_DATA_IN:
      return SCSI_IOCTL_DATA_IN;
    case SCSI_DATA_OUT:
      return SCSI_IOCTL_DATA_OUT;
  }
  logger->logError("SCSI", 0, "ScsiTarget::scsiExecCDB illegal Data Direction on cmd %2.2Xh", opcode);
  return SCSI_IOCTL_DATA_OUT;
}

}  // namespace

ReturnCode ScsiTarget::scsiExecCDB(GenericScsiCommand& cmd) {
  return sendPatiently(cmd, [&] { return sendByPort(cmd); });
}

ReturnCode ScsiTarget::sendByPort(GenericScsiCommand& cmd) {
  if (const ReturnCode refusal = beginExecution(*this, cmd, "ScsiTarget::scsiExecCDB")) return refusal;
  takeModelTimeOut(*this, cmd);
  const std::uint32_t opcode = cmd.getCmdCode();

  PassThroughBlock block{};
  SCSI_PASS_THROUGH_DIRECT& request = block.request;
  const std::size_t cdbLength = std::min<std::size_t>(cmd.getCdbLength(), sizeof request.Cdb);
  const std::size_t senseLength = std::min<std::size_t>(cmd.getSenseDataLength(), sizeof block.sense);
  request.Length = sizeof request;
  request.PathId = busNumber;
  request.TargetId = static_cast<UCHAR>(targetId);
  request.Lun = static_cast<UCHAR>(lun);
  request.CdbLength = static_cast<UCHAR>(cdbLength);
  std::copy_n(cmd.cdbSpan().begin(), cdbLength, request.Cdb);
  request.SenseInfoLength = static_cast<UCHAR>(senseLength);
  request.SenseInfoOffset = offsetof(PassThroughBlock, sense);
  request.DataIn = dataInFor(cmd, opcode);
  request.DataTransferLength = cmd.getIoDataLength();
  request.DataBuffer = cmd.getIoData();
  request.TimeOutValue = cmd.getTimeOut() + TIME_OUT_MARGIN;

  const __time64_t start = _time64(nullptr);
  // A call that succeeds leaves the last error alone, and an old one must not pass for this command's.
  SetLastError(ERROR_SUCCESS);
  const bool sent = exchangeWithDevice(deviceHandle, IOCTL_SCSI_PASS_THROUGH_DIRECT, block).has_value();
  const DWORD error = GetLastError();
  const __time64_t elapsed = _time64(nullptr) - start;

  transferredDataLength = std::min<ulong32>(request.DataTransferLength, cmd.getIoDataLength());
  std::copy_n(block.sense, senseLength, cmd.senseSpan().begin());

  ReturnCode status = CMD_ERROR;
  if (sent && request.ScsiStatus == STATUS_GOOD) status = CMD_OK;
  if (sent && request.ScsiStatus == STATUS_BUSY) status = CMD_BUSY;
  if (elapsed > static_cast<__time64_t>(cmd.getTimeOut()) || error == ERROR_SEM_TIMEOUT) {
    status = CMD_ERROR;
    markTimedOut(cmd);
    logger->logError("SCSI", 0,
                     "ScsiTarget::scsiExecCDB, TIMEOUT on cmd %2.2Xh, difftime %.2lf (sec), cmd timeout %ld",
                     opcode, static_cast<double>(elapsed), static_cast<long>(cmd.getTimeOut()));
  }
  cmd.setTargetStatus(request.ScsiStatus);
  cmd.setExecutionStatus(status);
  if (status == CMD_OK) return status;

  cmd.setAdditionalFailureCode(error != ERROR_SUCCESS ? error : ERROR_IO_DEVICE);
  logger->logDebug("SCSI", 0,
                   "ScsiTarget::scsiExecCDB failed, last error code: %d, cmd %2.2Xh, TargetStatus: %2.2Xh, "
                   "execStatus %d ScsiStatus %2.2Xh",
                   static_cast<int>(error), opcode, cmd.getTargetStatus(), static_cast<int>(status),
                   request.ScsiStatus);
  return status;
}

ulong32 ScsiTarget::GetMaximumTransferLength() {
  if (!isOpened()) return 0;
  ulong32 length = 0;
  ulong32 pages = 0;
  const auto take = [&](const char* source, const auto& limits) {
    length = limits.MaximumTransferLength;
    pages = limits.MaximumPhysicalPages;
    logger->logDebug("SCSI", 0,
                     "%s: Adapter %s: MaximumTransferLength (%lu) MaximumPhysicalPages (%lu) "
                     "AlignmentMask (%lu)",
                     driverName.c_str(), source, static_cast<unsigned long>(length),
                     static_cast<unsigned long>(pages), static_cast<unsigned long>(limits.AlignmentMask));
  };
  if (const auto descriptor = askAdapterDescriptor(deviceHandle)) {
    take("Descriptor", *descriptor);
  } else if (const auto capabilities = askCapabilities(deviceHandle)) {
    take("Capabilities", *capabilities);
  } else {
    const DWORD error = GetLastError();
    logger->logError("SCSI", 0, "%s: Failed ot get scsi adapter capabilities (%lu)", driverName.c_str(),
                     static_cast<unsigned long>(error));
    return 0;
  }
  // One page is lost to a buffer that does not start at a page boundary.
  if (pages != 0) {
    const std::uint64_t bytes = std::uint64_t{pages - 1} * MEMORY_PAGE;
    length = static_cast<ulong32>(std::min<std::uint64_t>(length, bytes));
  }
  maximumTransferLength = length;
  logger->logDebug("SCSI", 0, "%s: Adapter Capabilities: MaximumTransferLength (%lu)", driverName.c_str(),
                   static_cast<unsigned long>(length));
  return length;
}
