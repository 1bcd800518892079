#include "kiv/tape/driver_information.h"

#include <algorithm>
#include <span>

#include "platform/device_control.h"
#include "tape/driver_call.h"
#include "tape/tape_driver_requests.h"

ReturnCode QORTapeCmdGetDeviceInformation::doOperation(void* deviceHandle) {
  information = {};
  TAPE_GET_MEDIA_PARAMETERS medium{};
  DWORD size = sizeof medium;
  const ReturnCode result =
      tapeResult(GetTapeParameters(deviceHandle, GET_TAPE_MEDIA_INFORMATION, &size, &medium));
  if (result == CMD_OK) {
    information = {.capacity = static_cast<std::uint64_t>(medium.Capacity.QuadPart),
                   .remaining = static_cast<std::uint64_t>(medium.Remaining.QuadPart),
                   .blockSize = medium.BlockSize,
                   .partitionCount = medium.PartitionCount,
                   .writeProtected = medium.WriteProtected != FALSE};
  }
  return result;
}

ReturnCode QORTapeCmdQueryDevicePaths::doOperation(void* deviceHandle) {
  pathCount = 0;
  driver::DevicePathsBlock block{};
  BytesAnswered answered = askDevice(deviceHandle, driver::IOCTL_DRIVER_TAPE_PATHS, block);
  if (!answered) answered = askDevice(deviceHandle, driver::IOCTL_DRIVER_CHANGER_PATHS, block);
  if (!answered) return CMD_ERROR;

  static_assert(std::tuple_size_v<decltype(paths)> == driver::MAX_DEVICE_PATHS);
  constexpr std::size_t HEADER = offsetof(driver::DevicePathsBlock, paths);
  const std::size_t filled = std::clamp<std::size_t>(*answered, HEADER, sizeof block) - HEADER;
  const std::size_t count = std::min<std::size_t>(block.count, filled / sizeof(driver::DevicePathBlock));
  std::ranges::transform(std::span(block.paths).first(count), paths.begin(),
                         [](const driver::DevicePathBlock& path) {
                           return DevicePathData{.hostAdapter = path.hostAdapter,
                                                 .bus = path.bus,
                                                 .target = path.target,
                                                 .lun = path.lun,
                                                 .primary = path.primary != 0,
                                                 .enabled = path.enabled != 0,
                                                 .failed = path.failed != 0};
                         });
  pathCount = static_cast<int>(count);
  return CMD_OK;
}

const DevicePathData* QORTapeCmdQueryDevicePaths::getDevicePathData(int index) const {
  return index >= 0 && index < pathCount ? &paths[static_cast<std::size_t>(index)] : nullptr;
}
