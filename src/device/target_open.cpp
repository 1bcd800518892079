// Opening a device through the port driver: which handle leads to an address.
#include "device/dos_devices.h"
#include "device/handle.h"
#include "device/inquiry_list.h"
#include "device/port_driver.h"
#include "device/system_error.h"
#include "device/unknown_address.h"
#include "frame/guarded.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "scsi/device_types.h"

namespace {

constexpr std::uint8_t OPEN_BY_NAME = 0xFE;
constexpr int CLASS_DEVICE_COUNT = 256;

/// The search for the handle that leads to one address, and the trace of its steps for the log.
class Association {
 public:
  Association(std::uint8_t hostAdapter, std::uint8_t busNumber, std::uint64_t target, std::uint64_t unit)
      : host(hostAdapter), bus(busNumber), targetId(target), lun(unit) {
    note("ScsiTarget::openDevice Host:", host, " Bus :", bus, " Target:", targetId, " Lun:", lun);
  }

  /// Adds a step, given in parts. What the log would leave out is not written down.
  template <typename... Parts>
  void note(const Parts&... parts) {
    if (!logger->writes(LOG_ERROR)) return;
    (append(parts), ...);
    trace += '\n';
  }

  /// Looks the address up in the port driver's list.
  std::optional<InquiryRecord> findRecord(HANDLE port);
  /// Looks for the class device of a claimed device; sets `path` to its name.
  Handle findClassDevice(std::uint8_t deviceType, std::string& path);
  void logFailure(const std::string& name, bool byName) const;

 private:
  void append(std::string_view part) { trace += part; }
  void append(std::uint64_t number) { trace += std::to_string(number); }
  std::optional<InquiryRecord> notListed();
  Handle openIfSame(const std::string& path);

  std::uint8_t host;
  std::uint8_t bus;
  std::uint64_t targetId;
  std::uint64_t lun;
  std::string trace;
};

std::optional<InquiryRecord> Association::notListed() {
  logger->logError("SCSI", 0, "ScsiTarget::openDevice IOCTL_SCSI_GET_INQUIRY_DATA Device not part of list");
  note("ScsiTarget::openDevice Device not part of list");
  return std::nullopt;
}

std::optional<InquiryRecord> Association::findRecord(HANDLE port) {
  DWORD error = ERROR_SUCCESS;
  auto list = readInquiryList(port, error);
  if (!list) {
    const std::string text = systemErrorText(error);
    logger->logError("SCSI", 0,
                     "ScsiTarget::openDevice IOCTL_SCSI_GET_INQUIRY_DATA failed, errno=%d (%s) buffersize:%d",
                     static_cast<int>(error), text.c_str(), static_cast<int>(INQUIRY_BUFFER_LIMIT));
    note("ScsiTarget::openDevice IOCTL_SCSI_GET_INQUIRY_DATA failed, errno=", error);
    return std::nullopt;
  }
  if (list->busCount() <= bus) {
    logger->logError("SCSI", 0, "ScsiTarget::openDevice number of buses invalid %d<-> %d",
                     static_cast<int>(list->busCount()), bus);
    note("ScsiTarget::openDevice number of buses invalid");
    return std::nullopt;
  }
  const auto busData = list->bus(bus);
  if (!busData) return notListed();
  for (auto record = list->first(*busData); record; record = list->next(*record)) {
    logger->logDebug("SCSI", 0, "Compare %d-%d-%d", record->pathId, record->targetId, record->lun);
    if (record->pathId == bus && record->targetId == targetId && record->lun == lun)
      return record->deviceType != NO_DEVICE_TYPE ? record : notListed();
  }
  return notListed();
}

/// The class driver's name for its devices of one type, "\\.\tape"; null for a type without one.
const char* classDevicePrefix(std::uint8_t deviceType) {
  switch (deviceType) {
    case DIRECT_ACCESS_DEVICE:
      return R"(\\.\PhysicalDrive)";
    case SEQUENTIAL_ACCESS_DEVICE:
      return R"(\\.\tape)";
    case WRITE_ONCE_DEVICE:
    case CD_DVD_DEVICE:
      return R"(\\.\cdrom)";
    case MEDIUM_CHANGER:
      return R"(\\.\changer)";
    default:
      return nullptr;
  }
}

Handle Association::openIfSame(const std::string& path) {
  Handle device = openShared(path);
  if (!device) return {};
  logger->logDebug("SCSI", 0, "Class Driver opened %s", path.c_str());
  note("Class Driver opened ", path);

  const auto address = askScsiAddress(device.get());
  if (!address) {
    const DWORD error = GetLastError();
    const std::string text = systemErrorText(error);
    logger->logError("SCSI", 0, "ScsiTarget::IOCTL_SCSI_GET_ADDRESS for %s failed, errno=%d (%s)",
                     path.c_str(), static_cast<int>(error), text.c_str());
    note("IOCTL_SCSI_GET_ADDRESS failed, errno=", error);
    return {};
  }
  if (address->PortNumber == host && address->PathId == bus && address->TargetId == targetId &&
      address->Lun == lun)
    return device;
  logger->logDebug("SCSI", 0,
                   "ScsiTarget::openDevice Compare Scsi Address failed: Host:%d Bus:%d Target:%d Lun:%d %s",
                   address->PortNumber, address->PathId, address->TargetId, address->Lun, path.c_str());
  return {};
}

Handle Association::findClassDevice(std::uint8_t deviceType, std::string& path) {
  const char* prefix = classDevicePrefix(deviceType);
  if (prefix == nullptr) {
    logger->logError("SCSI", 0, "ScsiTarget::open try to open unsupporteddevice typ:%d", deviceType);
    note("unsupported device type ", deviceType);
    return {};
  }
  for (int index = 0; index < CLASS_DEVICE_COUNT; ++index) {
    path = prefix + std::to_string(index);
    if (Handle device = openIfSame(path)) return device;
  }

  // Class devices may also be numbered higher, or bear a name that somebody chose.
  logger->logDebug("SCSI", 0, "ScsiTarget::openDevice Check DosDevices");
  note("ScsiTarget::openDevice Check DosDevices");
  for (const std::string& name : DosDevices().names()) {
    bool isClassDevice = false;
    for (const char* start : {"PhysicalDrive", "Changer", "CdRom", "Tape"})
      isClassDevice = isClassDevice || startsWithIgnoringCase(name, start);
    if (!isClassDevice) continue;
    logger->logDebug("SCSI", 0, "ScsiTarget::openDevice QueryDosDevice Checking %s", name.c_str());
    path = R"(\\.\)" + name;
    if (Handle device = openIfSame(path)) return device;
  }
  return {};
}

void Association::logFailure(const std::string& name, bool byName) const {
  const int numbers[] = {host, bus, static_cast<int>(targetId), static_cast<int>(lun)};
  if (name.empty()) {
    logger->logError(
        "SCSI", 0, "ScsiTarget::Drive association failed Host (%d) Bus (%d) Target (%d) Lun (%d) generic:%d",
        numbers[0], numbers[1], numbers[2], numbers[3], byName);
  } else {
    logger->logError(
        "SCSI", 0,
        "ScsiTarget::Drive association failed Host (%d) Bus (%d) Target (%d) Lun (%d) generic:%d [%s]",
        numbers[0], numbers[1], numbers[2], numbers[3], byName, name.c_str());
  }
  logger->logError(
      "SCSI", 0,
      "ScsiTarget::Drive association failed detailed information: \n========>%s<========", trace.c_str());
}

}  // namespace

ReturnCode ScsiTarget::openDevice(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                  std::uint64_t unit, const char* name, std::uint32_t mode) {
  return guarded(CMD_NO_MEMORY, [&] {
    std::string label = "H" + std::to_string(hostAdapter) + "-B" + std::to_string(bus) + "-T" +
                        std::to_string(target) + "-L" + std::to_string(unit);
    if (name != nullptr && *name != '\0') label += std::string(" ") + name;

    logger->logInfo("SCSI", 0, "Before ScsiTarget::openDevice %s", label.c_str());
    ReturnCode result = openDeviceNoInq(hostAdapter, target, bus, unit, name, mode);
    if (result == CMD_OK) {
      result = retrieveInitialInquiryData();
      if (result == CMD_OK) {
        logger->logInfo("SCSI", 0, "Set timeout for model: %s", modelName.c_str());
        setTimeoutValuesForModel();
      } else {
        // A target that could not be identified counts as not opened, and nobody closes it later.
        closeDevice();
      }
    }
    logger->logInfo("SCSI", 0, "After ScsiTarget::openDevice %s rc:%d", label.c_str(),
                    static_cast<int>(result));
    return result;
  });
}

ReturnCode ScsiTarget::openDeviceNoInq(std::uint8_t hostAdapter, std::uint64_t target, std::uint8_t bus,
                                       std::uint64_t unit, const char* name, std::uint32_t /*mode*/) {
  return guarded(CMD_NO_MEMORY, [&]() -> ReturnCode {
    // A copy: the name may well be this target's own driver name, which changes below.
    const std::string wantedName = name != nullptr ? name : "";
    logger->logDebug("SCSI", 0, "ScsiTarget::openDevice Host (%d) Bus (%d) Target (%d) Lun (%d)", hostAdapter,
                     bus, static_cast<int>(target), static_cast<int>(unit));
    closeDevice();
    hostAdapterId = hostAdapter;
    targetId = target;
    busNumber = bus;
    lun = unit;
    tapeDrvVersion = "WinDefault";
    Association association(hostAdapter, bus, target, unit);

    const bool addressUnknown =
        target == UNKNOWN_ID && unit == UNKNOWN_ID && hostAdapter == UNKNOWN_NUMBER && bus == UNKNOWN_NUMBER;
    // A host adapter may have the number that asks for opening by name: the scan names its port, and what was
    // identified there once is there.
    const bool foundByPort = inquiryDataValid || wantedName == portPath(hostAdapter);
    const bool byName = (addressUnknown && !wantedName.empty()) ||
                        (hostAdapter == OPEN_BY_NAME && target != UNKNOWN_ID && !foundByPort);
    const auto fail = [&] {
      association.logFailure(wantedName, byName);
      return CMD_ERROR;
    };
    if (byName) {
      logger->logDebug("SCSI", 0, "Generic TapeDriver will be used");
      return fail();
    }
    logger->logDebug("SCSI", 0, "Generic Port Driver will be used");
    if (!wantedName.empty()) {
      logger->logDebug("SCSI", 0, "Driver Name: %s", wantedName.c_str());
      association.note("Driver Name:", wantedName);
    }

    // The port stays the driver name of a target that cannot be opened: a bus rescan through it can bring the
    // device back.
    driverName = portPath(hostAdapter);
    association.note("ScsiTarget::openDevice standard windows driver: ", driverName,
                     " WinDrvVer:", tapeDrvVersion);
    Handle device = openShared(driverName);
    if (!device) return fail();
    association.note("Open passes :", driverName);
    const auto record = association.findRecord(device.get());
    if (!record) return fail();
    deviceTyp = record->deviceType;

    std::string path = driverName;
    if (record->claimed) {
      logger->logDebug("SCSI", 0, "ScsiTarget::openDevice Device is claimed!");
      association.note("ScsiTarget::openDevice Device is claimed!");
      device.close();
      device = association.findClassDevice(record->deviceType, path);
      if (!device) return fail();
      logger->logDebug("SCSI", 0, "drivername for claimed device is %s", path.c_str());
      association.note("drivername for claimed device is ", path);
    }
    driverName.swap(path);
    deviceHandle = device.release();
    if (GetMaximumTransferLength() == 0) {
      closeDevice();
      driverName = portPath(hostAdapter);
      return fail();
    }
    deviceSpecialFile = driverName;
    return CMD_OK;
  });
}
