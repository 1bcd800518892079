// Which of the maker's devices are there.
#include <algorithm>
#include <string>
#include <tuple>

#include "c_interface/call.h"
#include "c_interface/devices.h"
#include "c_interface/structure.h"
#include "kiv/api.h"
#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"
#include "kiv/device/controller.h"
#include "kiv/device/driver_target.h"
#include "kiv/kiv.h"
#include "kiv/update/scan_bus.h"

namespace {

constexpr unsigned TABLE_READ = 0;
constexpr std::uint8_t TYPE_MASK = 0x1F;

/// What the two configuration files say of products.
struct Configuration {
  ConfigFilename firmware;
  ComponentId components;

  Configuration() {
    components.initialize("Devlist.txt");
    firmware.initialize("Config.txt");
  }
  bool supports(const std::string& product) const {
    return firmware.getStatus() == TABLE_READ ? firmware.isValid(product) : components.isValid(product);
  }
};

kiv_info describe(ScsiTarget& target, const std::string& product, Configuration& configuration) {
  kiv_info info = {};
  info.size = sizeof info;
  info.type = target.getDeviceTyp() & TYPE_MASK;
  info.reachable = 1;
  info.through_driver = dynamic_cast<QORScsiTarget*>(&target) != nullptr;
  info.adapter = target.getHostAdapterId();
  info.bus = target.getBusNumber();
  info.target = static_cast<std::uint32_t>(target.getTargetId());
  info.lun = static_cast<std::uint32_t>(target.getLun());
  info.supported_index = -1;
  info.configured = configuration.firmware.isValid(product);
  copyText(info.vendor, deviceText(target.getVendorName()));
  copyText(info.product, deviceText(target.getModelName()));
  copyText(info.level, deviceText(target.getFirmwareVersion()));
  copyText(info.serial, deviceText(target.getSerialNumber()));
  copyText(info.interface_type, target.getInterfaceType());
  copyText(info.product_string, deviceText(product));
  if (configuration.components.isValid(product))
    copyText(info.component, configuration.components.getId4InquiryData(product));
  copyText(info.path, target.getDeviceSpecialFile());
  return info;
}

bool isMakers(const ScsiTarget& target) {
  return std::string_view(target.getVendorName()).find("QOR") != std::string_view::npos;
}

void sortByAddress(std::vector<FoundDevice>& devices) {
  std::ranges::stable_sort(devices, {}, [](const FoundDevice& device) {
    const kiv_info& info = device.info;
    return std::tuple(info.adapter, info.bus, info.target, info.lun);
  });
}

void scan(bool driver) {
  rememberDevices({});
  listOfSupportedDevices.clear();
  deviceController.clearDeviceList();
  Configuration configuration;
  if (deviceController.rediscoverSCSIBus(driver, "", "", "") == CMD_NO_MEMORY)
    throw Failure{KIV_NO_MEMORY, {}};
  std::vector<FoundDevice> found;
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    std::string product;
    target->openDevice();
    const ulong32 maximumTransfer = target->GetMaximumTransferLength();
    getProductString(target, product);
    target->closeDevice();
    const bool supported = configuration.supports(product);
    if (!supported && !isMakers(*target)) continue;
    FoundDevice device{target, describe(*target, product, configuration)};
    device.info.maximum_transfer = maximumTransfer;
    if (supported) {
      device.info.supported_index = static_cast<std::int32_t>(listOfSupportedDevices.size());
      listOfSupportedDevices.push_back(target);
    }
    found.push_back(device);
  }
  sortByAddress(found);
  const bool nothing = found.empty();
  rememberDevices(std::move(found));
  if (nothing) throw Failure{KIV_NO_DRIVE_CONNECTED, {}};
}

}  // namespace

KIV_API std::int32_t kiv_scan(std::uint32_t flags) {
  return runCall([&] {
    if ((flags & ~std::uint32_t{KIV_SCAN_DRIVER | KIV_SCAN_LIBRARIES}) != 0)
      throw Failure{KIV_BAD_ARGUMENT,
                    "The scan knows the flags KIV_SCAN_DRIVER and KIV_SCAN_LIBRARIES only."};
    try {
      scan((flags & KIV_SCAN_DRIVER) != 0);
    } catch (...) {
      deviceController.closeHandleOfAllDevices();
      throw;
    }
    deviceController.closeHandleOfAllDevices();
  });
}
