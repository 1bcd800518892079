// Devices that are opened through the maker's own driver.
#include "kiv/device/driver_target.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <optional>
#include <string_view>
#include <typeinfo>

#include "device/handle.h"
#include "device/port_driver.h"
#include "device/system_error.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "platform/device_control.h"
#include "scsi/driver_requests.h"

namespace {

constexpr std::uint8_t hostStatusTimedOut = 5;
/// The C runtime's EIO, for failures that no Windows error tells apart.
constexpr ulong32 inputOutputError = 5;

struct Access {
  DWORD rights;
  const char* message;
};

Access accessFor(std::uint32_t mode) {
  switch (mode) {
    case OPEN_READONLY:
      return {GENERIC_READ, "QORScsiTarget::openDevice - device will be opened in READONLY mode"};
    case OPEN_WRITEONLY:
      return {GENERIC_WRITE, "QORScsiTarget::openDevice - device will be opened in WRITEONLY mode"};
    case OPEN_READ_WRITE:
      return {GENERIC_READ | GENERIC_WRITE,
              "QORScsiTarget::openDevice - device will be opened in READ_WRITE mode"};
    default:
      return {
          GENERIC_READ,
          "QORScsiTarget::openDevice - no valid mode was selected-device will be opened in READONLY mode"};
  }
}

/// The version that the maker's tape or changer driver tells; nothing for another driver.
std::optional<std::string> askDriverVersion(HANDLE device) {
  struct Request {
    DWORD code;
    const char* message;
  };
  constexpr Request requests[] = {{driver::IOCTL_TAPE_DRIVER_VERSION, "QOR Tape driver version %s"},
                                  {driver::IOCTL_CHANGER_DRIVER_VERSION, "QOR Changer driver version %s"}};
  for (const Request& request : requests) {
    driver::VersionBlock version{};
    if (!askDevice(device, request.code, version)) continue;
    const std::string text(version.text, std::find(version.text, std::end(version.text), '\0'));
    logger->logDebug("SCSI", 0, request.message, text.c_str());
    return text;
  }
  return std::nullopt;
}

bool isTapeDevice(std::string_view name) {
  constexpr std::string_view tape = "TAPE";
  const auto sameLetter = [](char c, char upper) {
    return std::toupper(static_cast<unsigned char>(c)) == upper;
  };
  return std::search(name.begin(), name.end(), tape.begin(), tape.end(), sameLetter) != name.end();
}

/// The name of a command's class.
const char* className(const ScsiCommand& cmd) {
  const char* name = typeid(cmd).name();
  // The length stands in front of the name.
  while (std::isdigit(static_cast<unsigned char>(*name))) ++name;
  return name;
}

/// A step of a command on the driver's handle: its result, the system's error and the seconds it took.
struct Outcome {
  ReturnCode result = CMD_NOT_SUPPORTED;
  DWORD error = ERROR_SUCCESS;
  long seconds = 0;

  bool failed() const { return result != CMD_OK && result != CMD_NOT_SUPPORTED; }
};

Outcome runDriverCommand(QORScsiCommand& cmd, HANDLE device) {
  Outcome outcome;
  const __time64_t start = _time64(nullptr);
  // A call that succeeds leaves the last error alone, and an old one must not pass for this command's.
  SetLastError(ERROR_SUCCESS);
  outcome.result = cmd.doOperation(device);
  outcome.error = GetLastError();
  outcome.seconds = static_cast<long>(_time64(nullptr) - start);
  return outcome;
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

ReturnCode QORScsiTarget::openDevice(const char* name, std::uint32_t mode) {
  return guarded(CMD_NO_MEMORY, [&] {
    // A copy: the name may well be this target's own driver name, which changes below.
    const std::string path = name != nullptr ? name : "";
    ReturnCode result = openDeviceNoInq(path.c_str(), mode);
    if (result != CMD_OK) return result;
    deviceSpecialFile = path;
    logger->logDebug("SCSI", 0, "Set QOR Driver name special: %s", path.c_str());
    result = retrieveInitialInquiryData();
    logger->logInfo("SCSI", 0, "Set timeout for model: %s", modelName.c_str());
    setTimeoutValuesForModel();
    // A target that could not be identified counts as not opened, and nobody closes it later.
    if (result != CMD_OK) closeDevice();
    return result;
  });
}

ReturnCode QORScsiTarget::openDevice() {
  return guarded(CMD_NO_MEMORY, [&] {
    if (isOpened()) return CMD_OK;
    if (driverName.empty()) return CMD_NO_ADDRESS;
    const std::string path = driverName;
    logger->logInfo("SCSI", 0, "Before QORScsiTarget::openDevice %s", path.c_str());
    const ReturnCode result = openDevice(path.c_str(), deviceOpenMode);
    logger->logInfo("SCSI", 0, "After QORScsiTarget::openDevice %s", path.c_str());
    return result;
  });
}

ReturnCode QORScsiTarget::openDeviceNoInq(const char* name, std::uint32_t mode) {
  return guarded(CMD_NO_MEMORY, [&] {
    std::string path = name != nullptr ? name : "";
    closeDevice();
    driverName.swap(path);
    deviceOpenMode = mode;

    const Access access = accessFor(mode);
    logger->logDebug("SCSI", 0, "%s", access.message);
    Handle device = openShared(driverName, access.rights);
    if (!device) return CMD_ERROR;
    logger->logDebug("SCSI", 0, "QORScsiTarget::openDevice Class Driver opened %s", driverName.c_str());

    auto version = askDriverVersion(device.get());
    if (!version) {
      const DWORD error = GetLastError();
      logger->logDebug("SCSI", 0, "Obtain version failed, errno %d (%s)", static_cast<int>(error),
                       systemErrorText(error).c_str());
      logger->logDebug("SCSI", 0, "Driver for Tape/Changer is not an QOR one");
      tapeDrvVersion = "NA";
      return CMD_ERROR;
    }
    tapeDrvVersion.swap(*version);
    deviceHandle = device.release();
    if (getDevicePath() == CMD_OK) GetMaximumTransferLength();
    queryHostAdapterInformation();
    return CMD_OK;
  });
}

ReturnCode QORScsiTarget::openDeviceNoInq(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                          std::uint64_t unit, char* name, std::uint32_t mode) {
  // The driver knows its devices by name; without one there is the port driver.
  if (name != nullptr && *name != '\0') return openDeviceNoInq(name, mode);
  return ScsiTarget::openDeviceNoInq(hostAdapter, target, bus, unit, name, mode);
}

ReturnCode QORScsiTarget::getDevicePath() {
  return guarded(CMD_NO_MEMORY, [&] {
    const auto address = askScsiAddress(deviceHandle);
    if (!address) {
      const DWORD error = GetLastError();
      logger->logDebug("SCSI", 0, "QORScsiTarget::getDevicePath failed, errno %d (%s)",
                       static_cast<int>(error), systemErrorText(error).c_str());
      return CMD_ERROR;
    }
    hostAdapterId = address->PortNumber;
    busNumber = address->PathId;
    targetId = address->TargetId;
    lun = address->Lun;
    logger->logDebug("SCSI", 0, "QORScsiTarget::getDevicePath OK!!");
    return CMD_OK;
  });
}

ReturnCode QORScsiTarget::scsiExecCmd(QORScsiCommand& cmd) {
  return guarded(CMD_NO_MEMORY, [&] {
    cmd.clearSenseData();
    cmd.clearStatusData();
    if (!isOpened()) {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCmd, invalid device handle on cmd %2.2Xh",
                       cmd.getCmdCode());
      cmd.setExecutionStatus(CMD_INVALID_HANDLE);
      return CMD_INVALID_HANDLE;
    }
    const Outcome outcome = runDriverCommand(cmd, deviceHandle);
    if (outcome.failed()) cmd.setAdditionalFailureCode(outcome.error);
    if (exceeds(outcome.seconds, cmd.getTimeOut())) {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCmd, TIMEOUT on cmd %s, difftime %.2lf (sec)",
                       className(cmd), static_cast<double>(outcome.seconds));
      cmd.setTimeoutOccured(true);
      cmd.setHostStatus(hostStatusTimedOut);
      cmd.setExecutionStatus(CMD_ERROR);
    } else {
      cmd.setExecutionStatus(outcome.result);
      if (outcome.result == CMD_NOT_SUPPORTED)
        logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCmd, cmd %s is not supported", className(cmd));
      if (!outcome.failed()) return outcome.result;
    }
    logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCmd failed for QOR cmd %s, errno %d - %s",
                     className(cmd), static_cast<int>(outcome.error), systemErrorText(outcome.error).c_str());

    QORScsiCmdRequestSense request(ulong32{cmd.getSenseDataLength()});
    const Outcome sense = runDriverCommand(request, deviceHandle);
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
  return guarded(CMD_NO_MEMORY, [&] {
    cmd.clearSenseData();
    cmd.clearStatusData();
    const std::uint32_t opcode = cmd.getCmdCode();
    if (!isOpened()) {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCDB, invalid device handle on cmd %2.2Xh", opcode);
      cmd.setExecutionStatus(CMD_INVALID_HANDLE);
      return CMD_INVALID_HANDLE;
    }
    const ulong32 modelTimeOut = getTimeoutForOpcode(static_cast<std::uint8_t>(opcode));
    if (modelTimeOut != 0) cmd.setTimeOut(modelTimeOut);

    Outcome outcome;
    if (auto twin = createTwin(cmd)) {
      outcome = runDriverCommand(*twin, deviceHandle);
    } else {
      logger->logError("SCSI", 0, "QORScsiTarget::scsiExecCDB, Could not create QORCommand for cmd %2.2Xh",
                       opcode);
    }
    // The twin is gone, and with it went its outcome into the command.
    if (outcome.failed()) cmd.setAdditionalFailureCode(outcome.error);
    if (exceeds(outcome.seconds, cmd.getTimeOut()) || cmd.getAdditionalFailureCode() == ERROR_SEM_TIMEOUT) {
      logger->logError("SCSI", 0,
                       "QORScsiTarget::scsiExecCDB, TIMEOUT on cmd %2.2Xh, difftime %d (sec), cmd timeout %d",
                       opcode, static_cast<int>(outcome.seconds), static_cast<int>(cmd.getTimeOut()));
      cmd.setTimeoutOccured(true);
      cmd.setHostStatus(hostStatusTimedOut);
      cmd.setExecutionStatus(CMD_ERROR);
    } else if (outcome.result == CMD_OK) {
      // The driver does not tell how much it moved: the buffer is filled, with zeros behind the data.
      transferredDataLength = cmd.getIoDataLength();
      cmd.setExecutionStatus(CMD_OK);
      return CMD_OK;
    } else if (outcome.result == CMD_NOT_SUPPORTED) {
      const ReturnCode result = ScsiTarget::scsiExecCDB(cmd);
      logger->logDebug("SCSI", 0, "QORScsiTarget::scsiExecCDB, Used generic pass-through, cmd %.2Xh", opcode);
      if (result == CMD_OK) return CMD_OK;
    }
    fetchSense(cmd);
    if (cmd.getAdditionalFailureCode() == ERROR_SUCCESS) {
      logger->logDebug("SCSI", 0, "patched errno to EIO");
      cmd.setAdditionalFailureCode(inputOutputError);
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
  QORScsiCommand& request = isTapeDevice(driverName) ? tapeRequest : changerRequest;
  Outcome outcome = runDriverCommand(request, deviceHandle);
  if (outcome.result == CMD_OK) {
    takeSense(cmd, request.ioDataSpan());
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
