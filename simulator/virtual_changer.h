// A tape library's medium changer.
#pragma once

#include "simulator/virtual_device.h"

namespace simulator {

class VirtualChanger : public VirtualDevice {
 public:
  VirtualChanger(Room& room, DeviceOptions identity);
};

}  // namespace simulator
