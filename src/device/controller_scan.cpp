// The three sources of a scan: the maker's driver, the port drivers of the host adapters, generic tape
// devices.
#include <algorithm>
#include <set>

#include "device/dos_devices.h"
#include "device/handle.h"
#include "device/inquiry_list.h"
#include "device/owned_target.h"
#include "device/port_driver.h"
#include "device/scan_options.h"
#include "device/scan_witness.h"
#include "device/system_error.h"
#include "device/unknown_address.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "scsi/device_types.h"

namespace {

/// Addresses have room for so many.
constexpr unsigned MOST_HOST_ADAPTERS = 256;
constexpr ulong32 INQUIRY_DUMP_LENGTH = 256;
/// Generic tape devices may be announced before they can be opened.
constexpr DWORD SETTLE_MILLISECONDS = 1000;

void logOpened(const char* what, const std::string& name, const ScsiTarget& target) {
  logger->logDebug("SCSI", 0, "%s %s [%s]-[%s][%s]", what, name.c_str(), target.getVendorName(),
                   target.getModelName(), target.getSerialNumber());
}

/// Tries one device, or one host adapter. Want of memory costs this one, and not all behind it.
template <typename Attempt, typename... Where>
void tryDevice(Attempt&& attempt, const Where&... where) {
  const bool tried = guarded(false, [&] {
    attempt();
    return true;
  });
  if (!tried) ScanWitness::failed(where...);
}

}  // namespace

ReturnCode DeviceController::scanSCSIBus() {
  const auto scan = [&] {
    logger->logInfo("SCSI", 0, "ScanSCSIBus launched forcerescan:%d start:<%s> end:<%s>", forceRescan,
                    scanStart.c_str(), scanEnd.c_str());
    clearDeviceList();
    if (scanMode == MODE_FULL || scanMode == MODE_PARTIAL_DRIVER) {
      scanKreltDevices();
      closeHandleOfAllDevices();
    } else {
      logger->logDebug("SCSI", 0, "Do not scan krelt devices");
    }
    if (scanMode == MODE_PARTIAL_DRIVER) {
      logger->logDebug("SCSI", 0, "ScanSCSIBus skip generic devices");
      return CMD_OK;
    }
    logger->logDebug("SCSI", 0, "Scan SCSIBus launched");
    const unsigned first = scanMode == MODE_PARTIAL_GENERIC ? firstHostAdapter2Scan : 0;
    countHostAdapters(first);
    for (unsigned number = first; number < static_cast<unsigned>(hostAdapterCount); ++number)
      tryDevice([&] { scanHostAdapter(number); });
    scanGenericTapeDevices();
    closeHandleOfAllDevices();
    removeMatchingGenericDevices();
    return CMD_OK;
  };
  // Once more after a shortage. A list that lacks a library makes its drives look as if they stood alone, so
  // one that may lack a device is told from a whole one.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const ShortageWatch memory;
    const ReturnCode result = guarded(CMD_NO_MEMORY, scan);
    if (!memory.ranShort()) return result;
  }
  return CMD_NO_MEMORY;
}

void DeviceController::countHostAdapters(unsigned first) {
  const unsigned end = scanMode == MODE_PARTIAL_GENERIC ? lastHostAdapter2Scan + 1u : MOST_HOST_ADAPTERS;
  for (unsigned number = first; number < end; ++number) {
    ScanWitness::begin();
    const Handle port = openShared(portPath(number));
    if (!port) {
      ScanWitness::failed();
      break;
    }
    hostAdapterCount = static_cast<int>(number + 1);
    if (!forceRescan) continue;
    if (commandDevice(port.get(), IOCTL_SCSI_RESCAN_BUS)) {
      logger->logInfo("SCSI", 0, "\\scsi%u: IOCTL_SCSI_RESCAN_BUS passed", number);
    } else {
      const DWORD error = GetLastError();
      logger->logInfo("SCSI", 0, "\\scsi%u: IOCTL_SCSI_RESCAN_BUS failed, errno=%d (%s)", number,
                      static_cast<int>(error), systemErrorText(error).c_str());
    }
  }
  logger->logInfo("SCSI", 0, "scanSCSIBus detected %d Hostadapters", hostAdapterCount);
}

void DeviceController::scanHostAdapter(unsigned number) {
  const std::string name = portPath(number);
  ScanWitness::begin();
  const Handle port = openShared(name);
  if (!port) return ScanWitness::failed();
  if (const auto capabilities = askCapabilities(port.get())) {
    logger->logDebug(
        "SCSI", 0,
        "\\scsi%d: Capabilities: MaximumTransferLength (%lu) MaximumPhysicalPages (%lu) AlignmentMask "
        "(%lu)",
        number, static_cast<unsigned long>(capabilities->MaximumTransferLength),
        static_cast<unsigned long>(capabilities->MaximumPhysicalPages),
        static_cast<unsigned long>(capabilities->AlignmentMask));
  }
  DWORD error = ERROR_SUCCESS;
  auto list = readInquiryList(port.get(), error);
  if (!list) {
    std::string text = systemErrorText(error);
    text.erase(std::min(text.find_first_of("\r\n"), text.size()));
    logger->logError("SCSI", 0, "IOCTL_SCSI_GET_INQUIRY_DATA failed, errno=%d (%s) BufferSize:%d",
                     static_cast<int>(error), text.c_str(), static_cast<int>(INQUIRY_BUFFER_LIMIT));
    ScanWitness::refused(name, error);
    return ScanWitness::failed();
  }
  logger->logDebug("SCSI", 0, "DeviceController IOCTL_SCSI_GET_INQUIRY_DATA passed. bufferSize %d",
                   static_cast<int>(list->buffer().size()));
  logDump("SCSI", "host SCSI_GET_INQUIRY_DATA", list->buffer().first(INQUIRY_DUMP_LENGTH));
  logger->logDebug("SCSI", 0, "\\scsi%d: adapterInfo->NumberOfBuses : %d", number, list->busCount());
  for (unsigned busNumber = 0; busNumber < list->busCount(); ++busNumber) {
    const auto bus = list->bus(busNumber);
    if (!bus) break;
    logger->logDebug("SCSI", 0, "\\scsi%d: adapterInfo->busdata[%d].NumberOfLogicalUnits : %d", number,
                     busNumber, bus->NumberOfLogicalUnits);
    for (auto record = list->first(*bus); record; record = list->next(*record))
      tryDevice([&] { addListedDevice(number, *record); }, static_cast<std::uint8_t>(number), *record);
  }
}

void DeviceController::addListedDevice(unsigned hostAdapter, const InquiryRecord& record) {
  logger->logDebug("SCSI", 0, "Device at PathId %d TargetId %d Lun%d", record.pathId, record.targetId,
                   record.lun);
  logger->logDebug("SCSI", 0, record.claimed ? "Device is Claimed" : "Device is NOT Claimed");
  logger->logDebug("SCSI", 0, "Device Type is %d", record.deviceType);
  if (record.deviceType != SEQUENTIAL_ACCESS_DEVICE && record.deviceType != MEDIUM_CHANGER) {
    logger->logInfo("SCSI", 0, "skipped Device type %d Target: H%d-B%d-T%d-l%d", record.deviceType,
                    hostAdapter, record.pathId, record.targetId, record.lun);
    return;
  }
  const auto host = static_cast<std::uint8_t>(hostAdapter);
  if (!isGenericDevicePartOfScan(host, record.pathId, record.targetId, record.lun)) {
    logger->logInfo("SCSI", 0, "Partial SCAN skipped Target: H%d-B%d-T%d-l%d", hostAdapter, record.pathId,
                    record.targetId, record.lun);
    return;
  }
  const std::string name = portPath(hostAdapter);
  ScanWitness::begin();
  OwnedTarget target = openPassThroughTarget(host, record.targetId, record.pathId, record.lun, name.c_str());
  if (!target) return ScanWitness::failed(host, record);
  logOpened("Opened", name, appendClosed(deviceList, std::move(target)));
}

ReturnCode DeviceController::scanKreltDevices() {
  return guarded(CMD_NO_MEMORY, [&] {
    logger->logDebug("SCSI", 0, "DeviceController::scanKreltDevices Check DosDevices");
    const DosDevices devices;
    if (devices.list() == nullptr) {
      logger->logInfo("SCSI", 0, "DeviceController::getDosDevices Memory allocation failed");
      return CMD_ERROR;
    }
    if (devices.size() == 0) {
      logger->logInfo("SCSI", 0, "DeviceController::openDevice getDosDevices failed");
      return CMD_ERROR;
    }
    const bool partial = scanMode == MODE_PARTIAL_DRIVER;
    if (partial) {
      logger->logDebug("SCSI", 0, R"(\\.\tape QOR dd based partial scan from: \\.\tape%d ==> \\.\tape%d)",
                       firstQORDevice2Scan, lastQORDevice2Scan);
    }
    logger->logDebug("SCSI", 0, "DeviceController::scanKreltDevices QueryDosDevice size is:%d",
                     static_cast<int>(devices.size()));
    for (const std::string& name : devices.names()) {
      if (!startsWithIgnoringCase(name, "Changer") && !startsWithIgnoringCase(name, "Tape")) continue;
      tryDevice([&] {
        const std::string path = R"(\\.\)" + name;
        logger->logDebug("SCSI", 0, "DeviceController::scanKreltDevices QueryDosDevice Checking %s",
                         path.c_str());
        const auto number = firstNumberIn(name);
        if (partial && (!number || *number < firstQORDevice2Scan || *number > lastQORDevice2Scan)) {
          logger->logDebug("SCSI", 0, R"(\\.\tape generic dd skip device: %s)", path.c_str());
          return;
        }
        if (!isDeviceNotInExcludeList(path)) return;
        ScanWitness::begin();
        OwnedTarget target = openDriverTarget(path.c_str());
        if (!target) return ScanWitness::failed();
        logOpened("Opened QORScsiTarget", path, appendClosed(deviceList, std::move(target)));
      });
    }
    return CMD_OK;
  });
}

ReturnCode DeviceController::scanGenericTapeDevices() {
  if (scanMode == MODE_PARTIAL_DRIVER || scanMode == MODE_PARTIAL_GENERIC) return CMD_OK;
  return guarded(CMD_NO_MEMORY, [&] {
    logger->logDebug("SCSI", 0, "DeviceController::scanGenericDevices Check DosDevices");
    const DosDevices devices;
    if (devices.size() == 0) {
      logger->logDebug("SCSI", 0, "DeviceController::scanGenericDevices getDosDevices()");
      logger->logInfo("SCSI", 0, "DeviceController::scanGenericDevices QueryDosDevice failed ##");
      return CMD_ERROR;
    }
    logger->logDebug("SCSI", 0, "DeviceController::scanGenericDevices QueryDosDevice size is:%d",
                     static_cast<int>(devices.size()));
    logDump("SCSI", "QueryDosDevice",
            {reinterpret_cast<const std::uint8_t*>(devices.list()), devices.size()});
    Sleep(SETTLE_MILLISECONDS);
    // Most names are those of devices that the maker's driver presents: they are found without a look at all.
    std::set<std::string_view> driverNames;
    for (const ScsiTarget* device : deviceList) {
      if (device != nullptr) driverNames.insert(device->getDriverName());
    }
    for (const std::string& name : devices.names()) {
      if (!startsWithIgnoringCase(name, "Tape")) continue;
      tryDevice([&] {
        const std::string path = R"(\\.\)" + name;
        if (driverNames.contains(path) || isDeviceInList(path) != nullptr || !isDeviceNotInExcludeList(path))
          return;
        logger->logDebug("SCSI", 0, "DeviceController::scanGenericDevices QueryDosDevice Checking %s",
                         path.c_str());
        // Without an address a target is opened by its name.
        OwnedTarget target =
            openPassThroughTarget(UNKNOWN_NUMBER, UNKNOWN_ID, UNKNOWN_NUMBER, UNKNOWN_ID, path.c_str());
        if (target) logOpened("Opened USB ScsiTarget", path, appendClosed(deviceList, std::move(target)));
      });
    }
    return CMD_OK;
  });
}
