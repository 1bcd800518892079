#include "c_interface/devices.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "c_interface/call.h"
#include "c_interface/structure.h"
#include "kiv/api.h"
#include "kiv/device/controller.h"
#include "kiv/kiv.h"
#include "platform/win32.h"

namespace {

std::vector<FoundDevice> devices;
/// Counts scans; the high half of a device's number.
std::uint32_t generation = 0;

kiv_device numberOf(std::size_t index) { return std::uint64_t{generation} << 32 | (index + 1); }

/// Whether a target is still the controller's: a host may scan through the classes meanwhile.
bool isListed(const FoundDevice& device) {
  const auto& list = deviceController.getDeviceList();
  return std::ranges::find(list, device.target) != list.end() &&
         deviceText(device.target->getSerialNumber()) == device.info.serial;
}

}  // namespace

void rememberDevices(std::vector<FoundDevice> found) {
  devices = std::move(found);
  ++generation;
}

FoundDevice& foundDevice(kiv_device device) {
  const std::uint64_t index = (device & UINT32_MAX) - 1;
  if (device >> 32 != generation || index >= devices.size()) throw Failure{KIV_STALE_DEVICE, {}};
  FoundDevice& found = devices[index];
  if (found.target != nullptr && !isListed(found)) throw Failure{KIV_STALE_DEVICE, {}};
  return found;
}

FoundDevice& reachableDevice(kiv_device device) {
  FoundDevice& found = foundDevice(device);
  if (found.target == nullptr) throw Failure{KIV_NO_ACCESS, {}, found.info.windows_error};
  return found;
}

std::string nameOf(const FoundDevice& device) {
  const char* type = device.info.type == KIV_TYPE_LIBRARY ? "The library " : "The drive ";
  return std::string(type) + (*device.info.serial ? device.info.serial : device.info.path);
}

OpenDevice::OpenDevice(const FoundDevice& device) : target(device.target) {
  SetLastError(ERROR_SUCCESS);
  if (target->openDevice() == CMD_OK) return;
  const DWORD error = GetLastError();
  target->closeDevice();
  throw Failure{KIV_NO_ACCESS,
                nameOf(device) +
                    " cannot be opened: end other programs that use it, check power and "
                    "cabling, and scan again.",
                error};
}

KIV_API std::uint32_t kiv_device_count() {
  return answerCall(std::uint32_t{0}, [] { return static_cast<std::uint32_t>(devices.size()); });
}

KIV_API kiv_device kiv_device_at(std::uint32_t index) {
  return answerCall(kiv_device{0}, [&] { return index < devices.size() ? numberOf(index) : 0; });
}

KIV_API kiv_device kiv_device_find(const char* serial) {
  return answerCall(kiv_device{0}, [&]() -> kiv_device {
    requirePointer(serial, "The serial number");
    const std::string_view wanted = serial;
    if (wanted.empty()) return 0;
    const auto found = std::ranges::find(
        devices, wanted, [](const FoundDevice& device) { return std::string_view(device.info.serial); });
    return found != devices.end() ? numberOf(static_cast<std::size_t>(found - devices.begin())) : 0;
  });
}

KIV_API std::int32_t kiv_device_info(kiv_device device, kiv_info* info) {
  return runCall([&] {
    requireStructure(info, "The information");
    *info = foundDevice(device).info;
  });
}
