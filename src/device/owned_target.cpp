#include "device/owned_target.h"

#include "kiv/device/driver_target.h"

OwnedTarget openDriverTarget(const char* name) {
  std::unique_ptr<QORScsiTarget, CloseAndDelete> target(new QORScsiTarget);
  if (target->openDevice(name, OPEN_READ_WRITE) != CMD_OK) return nullptr;
  return target;
}

OwnedTarget openPassThroughTarget(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                  std::uint64_t lun, const char* name) {
  OwnedTarget target(new ScsiTarget);
  if (target->openDevice(host, targetId, bus, lun, name, OPEN_READ_WRITE) != CMD_OK) return nullptr;
  return target;
}

ScsiTarget& appendClosed(std::vector<ScsiTarget*>& list, OwnedTarget target) {
  list.push_back(target.get());
  target->closeDevice();
  return *target.release();
}
