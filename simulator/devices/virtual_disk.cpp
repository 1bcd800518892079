#include "simulator/devices/virtual_disk.h"

namespace simulator {

VirtualDisk::VirtualDisk(Room& room, DeviceOptions identity)
    : VirtualDevice(room, typeDisk, std::move(identity)) {}

}  // namespace simulator
