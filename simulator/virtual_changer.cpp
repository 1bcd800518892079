#include "simulator/virtual_changer.h"

namespace simulator {

VirtualChanger::VirtualChanger(Room& room, DeviceOptions identity)
    : VirtualDevice(room, typeChanger, std::move(identity)) {}

}  // namespace simulator
