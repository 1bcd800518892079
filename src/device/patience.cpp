#include "device/patience.h"

#include "platform/win32.h"

bool isWorthAnotherTry(const ScsiCommand& command) {
  constexpr std::uint8_t UNIT_ATTENTION = 6;
  constexpr std::uint8_t TASK_SET_FULL = 0x28;
  constexpr DWORD BUSY_PAUSE = 1000;  // milliseconds
  if (command.isSenseDataValid() && command.getSenseKey() == UNIT_ATTENTION) return true;
  const bool busy = command.getExecutionStatus() == CMD_BUSY || command.getTargetStatus() == TASK_SET_FULL ||
                    command.getAdditionalFailureCode() == ERROR_BUSY;
  if (busy) Sleep(BUSY_PAUSE);
  return busy;
}
