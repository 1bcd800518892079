// The device controller's list of targets.
#include "kiv/device/controller.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <typeinfo>

#include "device/dos_devices.h"
#include "device/host_adapter.h"
#include "device/owned_target.h"
#include "frame/guarded.h"
#include "kiv/device/driver_target.h"
#include "kiv/frame/logger.h"

namespace {

bool isPassThroughTarget(const ScsiTarget& target) { return typeid(target) == typeid(ScsiTarget); }

bool hasAddress(const ScsiTarget& target, std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                std::uint64_t lun) {
  return target.getHostAdapterId() == host && target.getBusNumber() == bus &&
         target.getTargetId() == targetId && target.getLun() == lun;
}

void destroyAll(std::vector<ScsiTarget*>& devices) {
  for (ScsiTarget* device : devices) {
    if (device != nullptr) CloseAndDelete()(device);
  }
  devices.clear();
}

}  // namespace

DeviceController::DeviceController() = default;

// Nothing is logged: a controller of the host's own may outlive the logger.
DeviceController::~DeviceController() { destroyAll(deviceList); }

ScsiTarget* DeviceController::getDevice(int index) const {
  return index >= 0 && index < getDeviceCount() ? deviceList[static_cast<std::size_t>(index)] : nullptr;
}

ReturnCode DeviceController::clearDeviceList() {
  logger->logDebug("SCSI", 0, "clearDeviceList() %d", getDeviceCount());
  destroyAll(deviceList);
  hostAdapterCount = 0;
  return CMD_OK;
}

void DeviceController::closeHandleOfAllDevices() {
  for (ScsiTarget* device : deviceList) {
    if (device != nullptr) device->closeDevice();
  }
}

bool DeviceController::isListed(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                std::uint64_t lun, std::string_view name) const {
  return std::any_of(deviceList.begin(), deviceList.end(), [&](const ScsiTarget* device) {
    return device != nullptr && (hasAddress(*device, host, bus, targetId, lun) ||
                                 (!name.empty() && equalsIgnoringCase(device->getDriverName(), name)));
  });
}

void DeviceController::addDevice(ScsiTarget* device) {
  if (device == nullptr || std::find(deviceList.begin(), deviceList.end(), device) != deviceList.end())
    return;
  guarded([&] {
    deviceList.push_back(device);
    logger->logDebug("SCSI", 0, "addDevice() %d", getDeviceCount());
  });
}

void DeviceController::addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                 std::uint64_t lun, const char* name) {
  guarded([&] {
    const std::string wanted = name != nullptr ? name : "";
    if (isListed(host, targetId, bus, lun, wanted)) return;
    OwnedTarget target;
    if (!wanted.empty()) target = openDriverTarget(wanted.c_str());
    if (!target) target = openPassThroughTarget(host, targetId, bus, lun, wanted.c_str());
    if (!target) return;
    appendClosed(deviceList, std::move(target));
    logger->logDebug("SCSI", 0, "addDevice() %d", getDeviceCount());
  });
}

void DeviceController::addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                 std::uint64_t lun, const char* name, unsigned int count,
                                 std::vector<int> instances) {
  guarded([&] {
    const std::string prefix = name != nullptr ? name : "";
    instances.resize(std::min<std::size_t>(count, instances.size()));
    for (const int instance : instances) {
      const std::string device = prefix + std::to_string(instance);
      if (isListed(host, targetId, bus, lun, device)) return;
      OwnedTarget target = openDriverTarget(device.c_str());
      if (!target) continue;
      static_cast<QORScsiTarget&>(*target).setInstanceNumber(instance);
      appendClosed(deviceList, std::move(target));
      logger->logDebug("SCSI", 0, "addDevice() %d", getDeviceCount());
      return;
    }
    addDevice(host, targetId, bus, lun, "");
  });
}

ReturnCode DeviceController::removeDevice(ScsiTarget* device2Remove) {
  logger->logDebug("SCSI", 0, "removeDevice(ScsiTarget* device2Remove) %d", getDeviceCount());
  const auto found = std::find(deviceList.begin(), deviceList.end(), device2Remove);
  if (device2Remove == nullptr || found == deviceList.end()) return CMD_ERROR;
  CloseAndDelete()(device2Remove);
  deviceList.erase(found);
  return CMD_OK;
}

ReturnCode DeviceController::removeDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                          std::uint64_t lun, const char* name) {
  logger->logDebug("SCSI", 0, "removeDevice() %d", getDeviceCount());
  const std::string_view wanted = name != nullptr ? name : "";
  const auto found = std::find_if(deviceList.begin(), deviceList.end(), [&](const ScsiTarget* device) {
    if (device == nullptr) return false;
    const std::string_view driver = device->getDriverName();
    return hasAddress(*device, host, bus, targetId, lun) ||
           (!driver.empty() && wanted.find(driver) != std::string_view::npos);
  });
  if (found == deviceList.end()) return CMD_ERROR;
  CloseAndDelete()(*found);
  deviceList.erase(found);
  return CMD_OK;
}

bool DeviceController::isMatchingGenericDevice(ScsiTarget* device, ScsiTarget* candidate) {
  return device != nullptr && candidate != nullptr && isPassThroughTarget(*candidate) &&
         std::string_view(device->getSerialNumber()) == candidate->getSerialNumber() &&
         device->getTargetId() == candidate->getTargetId() && device->getLun() == candidate->getLun();
}

void DeviceController::removeMatchingGenericDevices() {
  using Identity = std::tuple<std::string_view, std::uint64_t, std::uint64_t>;
  const auto identityOf = [](const ScsiTarget& device) {
    return Identity(device.getSerialNumber(), device.getTargetId(), device.getLun());
  };
  guarded([&] {
    // Where in the list each device that the driver presents comes first: pass-through targets behind go.
    std::map<Identity, std::size_t> places;
    for (std::size_t i = 0; i < deviceList.size(); ++i) {
      if (deviceList[i] != nullptr && !isPassThroughTarget(*deviceList[i]))
        places.try_emplace(identityOf(*deviceList[i]), i);
    }
    std::size_t next = 0;
    std::erase_if(deviceList, [&](ScsiTarget* device) {
      const std::size_t place = next++;
      if (device == nullptr || !isPassThroughTarget(*device)) return false;
      const auto presented = places.find(identityOf(*device));
      if (presented == places.end() || presented->second > place) return false;
      CloseAndDelete()(device);
      return true;
    });
  });
}

ScsiTarget* DeviceController::isDeviceInList(std::string name) {
  const auto names = [&](const char* text) {
    return std::string_view(text).find(name) != std::string_view::npos;
  };
  for (ScsiTarget* device : deviceList) {
    if (device != nullptr && (names(device->getDriverName()) || names(device->getDeviceSpecialFile())))
      return device;
  }
  return nullptr;
}

bool DeviceController::isGenericDevicePartOfDeviceList(std::uint8_t host, std::uint8_t bus,
                                                       std::uint64_t targetId, std::uint64_t lun) {
  return std::any_of(deviceList.begin(), deviceList.end(), [&](const ScsiTarget* device) {
    return device != nullptr && isPassThroughTarget(*device) && hasAddress(*device, host, bus, targetId, lun);
  });
}

void DeviceController::convertToList(std::list<ScsiTarget*>& devices) {
  guarded([&] { devices.assign(deviceList.begin(), deviceList.end()); });
}

void DeviceController::printDeviceListIntoLog() {
  guarded([&] {
    logger->logInfo("SCSI", 0, "printDeviceListIntoLog() %d", getDeviceCount());
    for (int i = 0; i < getDeviceCount(); ++i) {
      ScsiTarget* device = getDevice(i);
      if (device == nullptr) continue;
      device->queryHostAdapterInformation();
      std::string adapter;
      for (const char* name : HOST_ADAPTER_PROPERTIES) {
        const char* value = device->getProperty(name);
        adapter += std::string(name) + ": " + (value != nullptr ? value : "") + "\n";
      }
      logger->logInfo(
          "SCSI", 0,
          "Device #%2d [%s]-[%s]-[%s] Type:%d SN: %s, Interface %s, Driver %s Version %s, %d-%d-%s-%s, "
          "rtti %s\n%s",
          i, device->getVendorName(), device->getModelName(), device->getFirmwareVersion(),
          device->getDeviceTyp(), device->getSerialNumber(), device->getInterfaceType(),
          device->getDriverName(), device->getTapeDrvVersion(), device->getHostAdapterId(),
          device->getBusNumber(), std::to_string(device->getTargetId()).c_str(),
          std::to_string(device->getLun()).c_str(), typeid(*device).name(), adapter.c_str());
    }
  });
}

bool DeviceController::operator==(const DeviceController& other) const {
  const auto settings = [](const DeviceController& controller) {
    return std::tie(controller.hostAdapterCount, controller.scanMode, controller.forceRescan,
                    controller.firstHostAdapter2Scan, controller.lastHostAdapter2Scan,
                    controller.firstTargetId2Scan, controller.lastTargetId2Scan, controller.firstLun2Scan,
                    controller.lastLun2Scan, controller.firstBusNumber2Scan, controller.lastBusNumber2Scan,
                    controller.firstQORDevice2Scan, controller.lastQORDevice2Scan, controller.scanStart,
                    controller.scanEnd, controller.excludeList);
  };
  const auto same = [](const ScsiTarget* a, const ScsiTarget* b) {
    return a == b || (a != nullptr && b != nullptr && *a == *b);
  };
  return settings(*this) == settings(other) &&
         std::equal(deviceList.begin(), deviceList.end(), other.deviceList.begin(), other.deviceList.end(),
                    same);
}
