#include "c_interface/unopened.h"

#include <algorithm>
#include <tuple>

#include "c_interface/code_page.h"
#include "c_interface/structure.h"
#include "device/dos_devices.h"
#include "device/port_driver.h"
#include "scsi/device_types.h"

namespace {

constexpr std::uint32_t UNKNOWN = UINT32_MAX;

std::string textAt(const InquiryRecord& record, std::size_t offset, std::size_t length) {
  return deviceText({reinterpret_cast<const char*>(record.inquiry.data()) + offset, length});
}

auto addressOf(const kiv_info& info) { return std::tuple(info.adapter, info.bus, info.target, info.lun); }

/// What the port driver tells of a device that it lists.
void describe(const InquiryRecord& record, std::uint8_t hostAdapter, kiv_info& info) {
  info.type = record.deviceType & DEVICE_TYPE_MASK;
  info.adapter = hostAdapter;
  info.bus = record.pathId;
  info.target = record.targetId;
  info.lun = record.lun;
  copyText(info.vendor, textAt(record, 8, 8));
  copyText(info.product, textAt(record, 16, 16));
  copyText(info.level, textAt(record, 32, 4));
}

FoundDevice describe(const UnopenedDevice& device) {
  FoundDevice found{nullptr, {}, {}};
  kiv_info& info = found.info;
  info.size = sizeof info;
  info.adapter = info.bus = info.target = info.lun = UNKNOWN;
  info.supported_index = -1;
  copyText(info.interface_type, "N/A");
  if (device.record) describe(*device.record, device.hostAdapter, info);
  // A claimed device is behind one of the paths that Windows refused. Which one is certain only when it is
  // one.
  const auto& refusals = device.refusals;
  info.windows_error = refusals.empty() ? ERROR_FILE_NOT_FOUND : refusals.front().error;
  copyText(info.path,
           refusals.size() == 1 ? fromCodePage(refusals.front().path) : portPath(device.hostAdapter));
  return found;
}

bool isBehind(const UnopenedDevice& device, const std::string& path) {
  const auto isIt = [&](const Refusal& refusal) { return equalsIgnoringCase(refusal.path, path); };
  return device.record && std::ranges::any_of(device.refusals, isIt);
}

}  // namespace

std::vector<FoundDevice> unopenedDevices(const ScanWitness& witness, const std::vector<FoundDevice>& opened) {
  std::vector<FoundDevice> found;
  for (const UnopenedDevice& device : witness.unopened()) {
    // A path that was refused before the port driver named the device behind it.
    const bool named =
        !device.record && std::ranges::any_of(witness.unopened(), [&](const UnopenedDevice& other) {
          return isBehind(other, device.refusals.front().path);
        });
    if (named) continue;
    FoundDevice described = describe(device);
    if (device.record && !isMakers(described.info.vendor)) continue;
    const auto isSame = [&](const FoundDevice& other) {
      return device.record ? addressOf(other.info) == addressOf(described.info)
                           : equalsIgnoringCase(other.info.path, described.info.path);
    };
    const bool known =
        std::ranges::any_of(opened, isSame) || (!device.record && std::ranges::any_of(found, isSame));
    if (!known) found.push_back(std::move(described));
  }
  return found;
}
