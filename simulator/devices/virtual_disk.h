// A disk: something that a scan for tape devices must leave alone.
#pragma once

#include "simulator/devices/virtual_device.h"

namespace simulator {

class VirtualDisk : public VirtualDevice {
 public:
  VirtualDisk(Room& room, DeviceOptions identity);
};

}  // namespace simulator
