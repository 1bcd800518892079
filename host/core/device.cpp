#include "host/core/device.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/core/text.h"

namespace host {

std::string addressText(const Address& address) { return fmt::format("{}", fmt::join(address, ",")); }

std::optional<Address> parseAddress(const std::string& text) {
  Address address{};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t i = 0; i < address.size(); ++i) {
    if (i > 0 && (at == end || *at++ != ',')) return std::nullopt;
    const auto [next, error] = std::from_chars(at, end, address[i]);
    if (error != std::errc()) return std::nullopt;
    at = next;
  }
  return at == end ? std::optional(address) : std::nullopt;
}

std::string Device::name() const { return serial.empty() ? "The device at " + addressText(address) : serial; }

bool isSameDrive(const Device& a, const Device& b) {
  return a.handle == b.handle || (!a.serial.empty() && a.type == b.type && a.serial == b.serial);
}

static Device toDevice(kiv_device handle, std::size_t index, const kiv_info& info) {
  Device device;
  device.handle = handle;
  device.index = index;
  device.type = info.type;
  device.address = {info.adapter, info.bus, info.target, info.lun};
  device.configured = info.configured != 0;
  device.serial = text(info.serial);
  device.vendor = text(info.vendor);
  device.product = text(info.product);
  device.productString = text(info.product_string);
  device.interface = text(info.interface_type);
  device.level = text(info.level);
  device.component = text(info.component);
  if (info.in_library) {
    device.librarySerial = text(info.library_serial);
    device.element = info.element;
  }
  return device;
}

Inventory scanDevices() {
  const int result = kiv_scan(KIV_SCAN_DRIVER | KIV_SCAN_LIBRARIES);
  if (result != KIV_OK && result != KIV_NO_DRIVE_CONNECTED)
    throw HostError(exitStatus(result), lastErrorText(result));
  Inventory inventory;
  for (std::uint32_t i = 0; i < kiv_device_count(); ++i) {
    kiv_info info{};
    info.size = sizeof info;
    const kiv_device handle = kiv_device_at(i);
    if (const int failure = kiv_device_info(handle, &info); failure != KIV_OK)
      throw HostError(exitStatus(failure), lastErrorText(failure));
    if (info.reachable) {
      inventory.devices.push_back(toDevice(handle, inventory.devices.size(), info));
    } else {
      inventory.unreachable.push_back(
          {text(info.path), info.windows_error, reasonForNoAccess(info.windows_error)});
    }
  }
  return inventory;
}

}  // namespace host
