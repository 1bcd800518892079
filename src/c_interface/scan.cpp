// Which of the maker's devices are there.
#include <algorithm>
#include <iterator>
#include <string>
#include <tuple>

#include "c_interface/call.h"
#include "c_interface/code_page.h"
#include "c_interface/devices.h"
#include "c_interface/elements.h"
#include "c_interface/questions.h"
#include "c_interface/structure.h"
#include "c_interface/unopened.h"
#include "config/configuration_file.h"
#include "device/patience.h"
#include "frame/shortage.h"
#include "kiv/api.h"
#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"
#include "kiv/device/controller.h"
#include "kiv/device/driver_target.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"
#include "kiv/kiv.h"
#include "scsi/device_types.h"
#include "update/product_string.h"

namespace {

/// What the two configuration files say of products.
struct Configuration {
  ConfigFilename firmware;
  ComponentId components;

  Configuration() {
    components.initialize("Devlist.txt");
    firmware.initialize("Config.txt");
  }
  bool supports(const std::string& product) const {
    return firmware.getStatus() == CONFIG_READ ? firmware.isValid(product) : components.isValid(product);
  }
};

/// What a device tells of itself, asked once it has told what happened to it.
FoundDevice identify(ScsiTarget& target) {
  target.openDevice();
  clearAttentions(target);
  FoundDevice device{&target, {}, {}};
  kiv_info& info = device.info;
  info.size = sizeof info;
  info.type = target.getDeviceTyp() & DEVICE_TYPE_MASK;
  info.reachable = 1;
  info.through_driver = dynamic_cast<QORScsiTarget*>(&target) != nullptr;
  info.adapter = target.getHostAdapterId();
  info.bus = target.getBusNumber();
  info.target = static_cast<std::uint32_t>(target.getTargetId());
  info.lun = static_cast<std::uint32_t>(target.getLun());
  info.maximum_transfer = target.GetMaximumTransferLength();
  info.supported_index = -1;
  copyText(info.vendor, deviceText(target.getVendorName()));
  copyText(info.product, deviceText(target.getModelName()));
  copyText(info.level, deviceText(target.getFirmwareVersion()));
  copyText(info.serial, deviceText(target.getSerialNumber()));
  copyText(info.interface_type, target.getInterfaceType());
  copyText(info.path, fromCodePage(target.getDeviceSpecialFile()));
  return device;
}

/// Asks a library which drives stand in it, and tells them so. One that does not answer is left out.
void askLibrary(const FoundDevice& library, std::vector<FoundDevice>& devices) try {
  const OpenDevice target(library);
  readElements(*target, library.info.maximum_transfer, KIV_ELEMENT_DRIVE, [&](const Element& bay) {
    for (FoundDevice& drive : devices) {
      if (drive.info.type != KIV_TYPE_DRIVE || !identifies(bay.identifier, drive.info.serial)) continue;
      drive.info.in_library = 1;
      drive.info.element = bay.element.address;
      copyText(drive.info.library_serial, library.info.serial);
    }
    return true;
  });
} catch (const Failure& failure) {
  logger->logWarning("MAIN", 0, "%s", failure.text.c_str());
}

/// The name of its product in the configuration files, and what they say of it.
void lookUp(FoundDevice& device, Configuration& configuration) {
  device.product = productString(*device.target, [&] { return device.info.in_library != 0; });
  kiv_info& info = device.info;
  info.configured = configuration.firmware.isValid(device.product);
  copyText(info.product_string, deviceText(device.product));
  if (configuration.components.isValid(device.product))
    copyText(info.component, fromCodePage(configuration.components.getId4InquiryData(device.product)));
}

/// A drive that left a question open may be another product than it seems, and is no drive to update.
void doubt(FoundDevice& drive, const Doubt& why, const Configuration& configuration) {
  kiv_info& info = drive.info;
  if (why.reserved) {
    drive.reserved = true;
    std::string other = drive.product;
    const std::string protocol = std::string(":") + info.interface_type;
    const std::size_t at = other.rfind(protocol);
    if (at != other.npos) other.insert(at + protocol.size(), ":AutomationReady");
    info.configured = info.configured || configuration.firmware.isValid(other);
    return;
  }
  drive.target = nullptr;
  drive.product.clear();
  info.reachable = info.configured = 0;
  info.windows_error = why.error;
  copyText(info.interface_type, "N/A");
  copyText(info.product_string, "");
  copyText(info.component, "");
}

/// Those of the maker, and those of others that the configuration names all the same.
std::vector<FoundDevice> keepOurs(std::vector<FoundDevice> devices, const Configuration& configuration) {
  std::vector<FoundDevice> ours;
  for (FoundDevice& device : devices) {
    if (device.target != nullptr && configuration.supports(device.product)) {
      device.info.supported_index = static_cast<std::int32_t>(listOfSupportedDevices.size());
      listOfSupportedDevices.push_back(device.target);
    } else if (!isMakers(device.info.vendor)) {
      continue;
    }
    ours.push_back(std::move(device));
  }
  return ours;
}

void scan(bool driver, bool libraries) {
  rememberDevices({});
  listOfSupportedDevices.clear();
  deviceController.clearDeviceList();
  Configuration configuration;
  const Patience patience;
  const ScanWitness witness;
  if (deviceController.rediscoverSCSIBus(driver, "", "", "") == CMD_NO_MEMORY)
    throw Failure{KIV_NO_MEMORY, {}};

  const ShortageWatch memory;
  std::vector<FoundDevice> devices;
  for (ScsiTarget* target : deviceController.getDeviceList()) devices.push_back(identify(*target));
  if (libraries || libraryMode) {
    for (const FoundDevice& device : std::vector(devices)) {
      if (device.info.type == KIV_TYPE_LIBRARY) askLibrary(device, devices);
    }
  }
  for (FoundDevice& device : devices) {
    lookUp(device, configuration);
    device.target->closeDevice();
    const auto why = witness.doubtAbout(*device.target);
    if (why && device.info.type == KIV_TYPE_DRIVE) doubt(device, *why, configuration);
  }
  // A drive may seem to stand outside of its library for this alone.
  if (memory.ranShort()) throw Failure{KIV_NO_MEMORY, {}};
  devices = keepOurs(std::move(devices), configuration);
  std::ranges::move(unopenedDevices(witness, devices), std::back_inserter(devices));
  std::ranges::stable_sort(devices, {}, [](const FoundDevice& device) {
    const kiv_info& info = device.info;
    return std::tuple(info.adapter, info.bus, info.target, info.lun);
  });
  const bool nothing = devices.empty();
  rememberDevices(std::move(devices));
  if (nothing) throw Failure{KIV_NO_DRIVE_CONNECTED, {}};
}

}  // namespace

KIV_API std::int32_t kiv_scan(std::uint32_t flags) {
  return runCall([&] {
    if ((flags & ~std::uint32_t{KIV_SCAN_DRIVER | KIV_SCAN_LIBRARIES}) != 0)
      throw Failure{KIV_BAD_ARGUMENT,
                    "The scan knows the flags KIV_SCAN_DRIVER and KIV_SCAN_LIBRARIES only."};
    try {
      scan((flags & KIV_SCAN_DRIVER) != 0, (flags & KIV_SCAN_LIBRARIES) != 0);
    } catch (...) {
      deviceController.closeHandleOfAllDevices();
      throw;
    }
  });
}
