// Executing commands through the maker's own driver.
#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>
#include <typeinfo>

#include "device/execution.h"
#include "device/patience.h"
#include "device/system_error.h"
#include "frame/guarded.h"
#include "kiv/device/driver_target.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "platform/win32.h"

namespace {

bool isTapeDevice(std::string_view name) {
  constexpr std::string_view TAPE = "TAPE";
  const auto sameLetter = [](char c, char upper) {
    return std::toupper(static_cast<unsigned char>(c)) == upper;
  };
  return std::search(name.begin(), name.end(), TAPE.begin(), TAPE.end(), sameLetter) != name.end();
}

/// The name of a command's class.
const char* className(const ScsiCommand& cmd) {
  const char* name = typeid(cmd).name();
  // The length stands in front of the name.
  while (std::isdigit(static_cast<unsigned char>(*name))) ++name;
  return name;
}

/// A step of a command on the driver's handle: its result, the system's error and the seconds it took.
struct DriverOutcome {
  ReturnCode result = CMD_NOT_SUPPORTED;
  DWORD error = ERROR_SUCCESS;
  long seconds = 0;

  bool failed() const { return result != CMD_OK && result != CMD_NOT_SUPPORTED; }
};

DriverOutcome runDriverCommand(QORScsiCommand& cmd, HANDLE device) {
  DriverOutcome outcome;
  const __time64_t start = _time64(nullptr);
  // A call that succeeds leaves the last error alone, and an old one must not pass for this command's.
  SetLastError(ERROR_SUCCESS);
  outcome.result = cmd.isComplete() ? cmd.doOperation(device) : CMD_NO_MEMORY;
  outcome.error = GetLastError();
  outcome.seconds = static_cast<long>(_time64(nullptr) - start);
  return outcome;
}

/// Runs an execution; what it lacks memory for counts as the command's outcome too.
template <typename Execution>
ReturnCode executeGuarded(ScsiCommand& cmd, Execution&& execution) {
  const ReturnCode result = guarded(CMD_NO_MEMORY, std::forward<Execution>(execution));
  if (result == CMD_NO_MEMORY) cmd.setExecutionStatus(result);
  return result;
}

bool exceeds(long seconds, ulong32 timeOut) { return seconds > static_cast<std::int64_t>(timeOut); }

std::unique_ptr<QORScsiCommand> createTwin(GenericScsiCommand& cmd) {
  return guarded(std::unique_ptr<QORScsiCommand>(),
                 [&] { return std::unique_ptr<QORScsiCommand>(cmd.createQORCommand()); });
}

/// Copies sense data that were asked for. Data that say nothing do not displace what the device sent by
/// itself: it reports most conditions once.
void takeSense(ScsiCommand& cmd, std::span<const std::uint8_t> data) {
  const bool saysNothing = (readByte(data, 2) & 0x0F) == 0 && readBe16(data, 12) == 0;
  if (saysNothing && cmd.isSenseDataValid()) return;
  const auto sense = cmd.senseSpan();
  std::ranges::copy(data.first(std::min(data.size(), sense.size())), sense.begin());
}

}  // namespace

ReturnCode QORScsiTarget::scsiExecCmd(QORScsiCommand& cmd) {
  return executeGuarded(cmd, [&] {
    if (const ReturnCode refusal = beginExecution(*this, cmd, "QORScsiTarget::scsiExecCmd")) return refusal;
    const DriverOutcome outcome = runDriverCommand(cmd, deviceHandle);
    if (outcome.result == CMD_NO_MEMORY) return CMD_NO_MEMORY;
    if (outcome.failed()) cmd.setAdditionalFailureCode(outcome.error);
    if (exceeds(outcome.seconds, cmd.getTimeOut())) {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCmd, TIMEOUT on cmd %s, difftime %.2lf (sec)",
                       className(cmd), static_cast<double>(outcome.seconds));
      markTimedOut(cmd);
    } else {
      cmd.setExecutionStatus(outcome.result);
      if (outcome.result == CMD_NOT_SUPPORTED)
        logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCmd, cmd %s is not supported", className(cmd));
      if (!outcome.failed()) return outcome.result;
    }
    logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCmd failed for QOR cmd %s, errno %d - %s",
                     className(cmd), static_cast<int>(outcome.error), systemErrorText(outcome.error).c_str());

    QORScsiCmdRequestSense request(ulong32{cmd.getSenseDataLength()});
    const DriverOutcome sense = runDriverCommand(request, deviceHandle);
    if (sense.result == CMD_OK) {
      takeSense(cmd, request.ioDataSpan());
      if (cmd.isSenseDataValid())
        logger->logDebug("SCSI", 0,
                         "QORScsiTarget::scsiExecCmd failed for QOR cmd, SK/ASC/ASCQ %2.2Xh-%2.2Xh-%2.2Xh",
                         cmd.getSenseKey(), cmd.getASC(), cmd.getASCQ());
    } else {
      logger->logDebug("SCSI", 0,
                       "QORScsiTarget::scsiExecCmd, request sense failed for QOR cmd %s, errno %d - %s",
                       className(cmd), static_cast<int>(sense.error), systemErrorText(sense.error).c_str());
    }
    return cmd.getExecutionStatus();
  });
}

ReturnCode QORScsiTarget::scsiExecCDB(GenericScsiCommand& cmd) {
  return sendPatiently(cmd, [&] { return sendByDriver(cmd); });
}

ReturnCode QORScsiTarget::sendByDriver(GenericScsiCommand& cmd) {
  return executeGuarded(cmd, [&] {
    if (const ReturnCode refusal = beginExecution(*this, cmd, "QORScsiTarget::scsiExecCDB")) return refusal;
    takeModelTimeOut(*this, cmd);
    const std::uint32_t opcode = cmd.getCmdCode();
    DriverOutcome outcome;
    if (auto twin = createTwin(cmd)) {
      outcome = runDriverCommand(*twin, deviceHandle);
    } else {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCDB, Could not create QORCommand for cmd %2.2Xh",
                       opcode);
    }
    if (outcome.result == CMD_NO_MEMORY) return CMD_NO_MEMORY;
    // The twin is gone, and with it went its outcome into the command.
    if (outcome.failed()) cmd.setAdditionalFailureCode(outcome.error);
    if (exceeds(outcome.seconds, cmd.getTimeOut()) || cmd.getAdditionalFailureCode() == ERROR_SEM_TIMEOUT) {
      logger->logError("SCSI", 0,
                       "QORScsiTarget::scsiExecCDB, TIMEOUT on cmd %2.2Xh, difftime %d (sec), cmd timeout %d",
                       opcode, static_cast<int>(outcome.seconds), static_cast<int>(cmd.getTimeOut()));
      markTimedOut(cmd);
    } else if (outcome.result == CMD_OK) {
      // The driver does not tell how much it moved: the buffer is filled, with zeros behind the data.
      transferredDataLength = cmd.getIoDataLength();
      cmd.setExecutionStatus(CMD_OK);
      return CMD_OK;
    } else if (outcome.result == CMD_NOT_SUPPORTED) {
      const ReturnCode result = ScsiTarget::scsiExecCDB(cmd);
      logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCDB, Used generic pass-through, cmd %.2Xh", opcode);
      if (result == CMD_OK || result == CMD_NO_MEMORY) return result;
    }
    fetchSense(cmd);
    if (cmd.getAdditionalFailureCode() == ERROR_SUCCESS) {
      logger->logDebug("SCSI", 0, "patched errno to EIO");
      cmd.setAdditionalFailureCode(INPUT_OUTPUT_ERROR);
    }
    if (cmd.getExecutionStatus() == CMD_OK) cmd.setExecutionStatus(CMD_ERROR);
    return cmd.getExecutionStatus();
  });
}

void QORScsiTarget::fetchSense(GenericScsiCommand& cmd) {
  const std::uint32_t opcode = cmd.getCmdCode();
  const std::uint8_t senseLength = cmd.getSenseDataLength();
  logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCDB failed for cmd %2.2Xh, errno: %d (%s)", opcode,
                   static_cast<int>(cmd.getAdditionalFailureCode()),
                   systemErrorText(cmd.getAdditionalFailureCode()).c_str());

  QORScsiCmdRequestSense tapeRequest(ulong32{senseLength});
  QORScsiCmdChangerRequestSense changerRequest(ulong32{senseLength});
  QORScsiCommand* request = isTapeDevice(driverName) ? &tapeRequest : &changerRequest;
  DriverOutcome outcome = runDriverCommand(*request, deviceHandle);
  if (outcome.result == CMD_OK) {
    takeSense(cmd, request->ioDataSpan());
    return;
  }
  if (outcome.result == CMD_NOT_SUPPORTED) {
    const ulong32 transferred = transferredDataLength;
    ScsiCmdRequestSense generic(senseLength);
    const ReturnCode result = ScsiTarget::scsiExecCDB(generic);
    transferredDataLength = transferred;
    if (result == CMD_OK) {
      takeSense(cmd, generic.ioDataSpan());
      logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCDB used generic RequestSense for cmd %2.2Xh",
                       opcode);
      return;
    }
    logger->logError("SCSI", 0,
                     "QORScsiTarget::scsiExecCDB generic RequestSense failed for cmd %2.2Xh, errno: %d (%s)",
                     opcode, static_cast<int>(generic.getAdditionalFailureCode()),
                     systemErrorText(generic.getAdditionalFailureCode()).c_str());
    return;
  }
  logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCDB RequestSense failed for cmd %2.2Xh, errno: %d (%s)",
                   opcode, static_cast<int>(outcome.error), systemErrorText(outcome.error).c_str());
}
