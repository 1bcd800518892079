// Opening a device through the maker's own driver.
#include "kiv/device/driver_target.h"

#include <algorithm>
#include <optional>
#include <string>

#include "device/handle.h"
#include "device/port_driver.h"
#include "device/system_error.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "scsi/driver_requests.h"

namespace {

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
  constexpr Request REQUESTS[] = {{driver::IOCTL_TAPE_DRIVER_VERSION, "QOR Tape driver version %s"},
                                  {driver::IOCTL_CHANGER_DRIVER_VERSION, "QOR Changer driver version %s"}};
  for (const Request& request : REQUESTS) {
    driver::VersionBlock version{};
    // Success is what tells the maker's driver, whatever the length it reports: one that leaves the length at
    // 0 has no version text, but has its requests.
    if (!askDevice(device, request.code, version)) continue;
    const std::string text(version.text, std::find(version.text, std::end(version.text), '\0'));
    logger->logDebug("SCSI", 0, request.message, text.c_str());
    return text;
  }
  return std::nullopt;
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
