#include "device/patience.h"

#include "platform/win32.h"
#include "scsi/sense.h"
#include "scsi/status.h"

bool isWorthAnotherTry(const ScsiCommand& command) {
  constexpr DWORD BUSY_PAUSE = 1000;  // milliseconds
  if (command.isSenseDataValid() && command.getSenseKey() == UNIT_ATTENTION) return true;
  const bool busy = command.getExecutionStatus() == CMD_BUSY ||
                    command.getTargetStatus() == STATUS_TASK_SET_FULL ||
                    command.getAdditionalFailureCode() == ERROR_BUSY;
  if (busy) Sleep(BUSY_PAUSE);
  return busy;
}
