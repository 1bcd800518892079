#include "device/execution.h"

#include "kiv/frame/logger.h"

bool beginExecution(const ScsiTarget& target, ScsiCommand& cmd, const char* operation) {
  cmd.clearSenseData();
  cmd.clearStatusData();
  if (target.isOpened()) return true;
  logger->logError("SCSI", 0, "%s, invalid device handle on cmd %2.2Xh", operation, cmd.getCmdCode());
  cmd.setExecutionStatus(CMD_INVALID_HANDLE);
  return false;
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
