#include "device/execution.h"

#include "kiv/frame/logger.h"

ReturnCode beginExecution(const ScsiTarget& target, ScsiCommand& cmd, const char* operation) {
  cmd.clearSenseData();
  cmd.clearStatusData();
  if (target.isOpened() && cmd.isComplete()) return CMD_OK;
  if (target.isOpened()) {
    logger->logError("SCSI", 0, "%s, no memory for the buffers of cmd %2.2Xh: not sent", operation,
                     cmd.getCmdCode());
    cmd.setExecutionStatus(CMD_NO_MEMORY);
  } else {
    logger->logError("SCSI", 0, "%s, invalid device handle on cmd %2.2Xh", operation, cmd.getCmdCode());
    cmd.setExecutionStatus(CMD_INVALID_HANDLE);
  }
  return cmd.getExecutionStatus();
}

void takeModelTimeOut(ScsiTarget& target, ScsiCommand& cmd) {
  const ulong32 modelTimeOut = target.getTimeoutForOpcode(static_cast<std::uint8_t>(cmd.getCmdCode()));
  if (modelTimeOut != 0) cmd.setTimeOut(modelTimeOut);
}

void markTimedOut(ScsiCommand& cmd) {
  constexpr std::uint8_t HOST_STATUS_TIMED_OUT = 5;
  cmd.setTimeoutOccured(true);
  cmd.setHostStatus(HOST_STATUS_TIMED_OUT);
  cmd.setExecutionStatus(CMD_ERROR);
}
