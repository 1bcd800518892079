#include "c_interface/outcome.h"

#include <span>

#include "c_interface/code_page.h"
#include "kiv/device/driver_target.h"
#include "kiv/scsi/big_endian.h"
#include "platform/win32.h"
#include "scsi/status.h"

namespace {

/// In fixed format, or in descriptor format, which the library's commands do not read.
kiv_sense senseIn(std::span<const std::uint8_t> data) {
  constexpr std::uint8_t DESCRIPTOR_FORMAT = 0x72;
  const std::uint8_t responseCode = readByte(data, 0) & 0x7F;
  if (responseCode == 0) return {};
  const bool fixed = responseCode < DESCRIPTOR_FORMAT;
  const std::size_t key = fixed ? 2 : 1;
  const std::size_t code = fixed ? 12 : 2;
  return {1, static_cast<std::uint8_t>(readByte(data, key) & 0x0F), readByte(data, code),
          readByte(data, code + 1)};
}

}  // namespace

Outcome outcomeOf(const ScsiTarget& target, const ScsiCommand& command) {
  if (command.getExecutionStatus() == CMD_OK) return {STATUS_GOOD};
  Outcome outcome;
  // A request that Windows did not carry out leaves the status at GOOD.
  if (command.getTargetStatus() != STATUS_GOOD) outcome.status = command.getTargetStatus();
  outcome.timedOut = command.getTimeoutOccured();
  outcome.sense = senseIn(command.senseSpan());
  if (outcome.sense.valid || outcome.status != 0xFF) return outcome;
  outcome.windowsError = static_cast<std::uint32_t>(command.getAdditionalFailureCode());
  // Of the driver's devices, the C runtime's number for an input or output error, which is Windows' "access
  // denied".
  constexpr std::uint32_t INPUT_OUTPUT_ERROR = 5;
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
