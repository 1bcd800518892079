#include "c_interface/outcome.h"

#include "c_interface/code_page.h"
#include "device/system_error.h"
#include "kiv/device/driver_target.h"
#include "platform/win32.h"
#include "scsi/sense.h"
#include "scsi/status.h"

Outcome outcomeOf(const ScsiTarget& target, const ScsiCommand& command) {
  if (command.getExecutionStatus() == CMD_OK) return {STATUS_GOOD};
  Outcome outcome;
  // A request that Windows did not carry out leaves the status at GOOD.
  if (command.getTargetStatus() != STATUS_GOOD) outcome.status = command.getTargetStatus();
  outcome.timedOut = command.getTimeoutOccured();
  if (const auto data = command.senseSpan(); senseResponseCode(data) != 0) {
    const SenseTriple sense = senseIn(data);
    outcome.sense = {1, sense.key, sense.asc, sense.ascq};
  }
  if (outcome.sense.valid || outcome.status != 0xFF) return outcome;
  outcome.windowsError = static_cast<std::uint32_t>(command.getAdditionalFailureCode());
  // The number is Windows' "access denied".
  const bool byDriver = dynamic_cast<const QORScsiTarget*>(&target) != nullptr;
  if (byDriver && outcome.windowsError == INPUT_OUTPUT_ERROR) outcome.windowsError = ERROR_IO_DEVICE;
  return outcome;
}

std::string outcomeText(const Outcome& outcome) {
  if (outcome.status == STATUS_RESERVATION_CONFLICT) return "reserved by another host";
  if (outcome.status == STATUS_BUSY) return "busy";
  if (outcome.sense.valid) return senseText(outcome.sense);
  if (outcome.timedOut) return "no answer in time";
  return outcome.windowsError != 0 ? windowsErrorText(outcome.windowsError) : "no answer";
}
