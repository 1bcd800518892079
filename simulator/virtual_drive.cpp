#include "simulator/virtual_drive.h"

#include "simulator/room.h"

namespace simulator {

VirtualDrive::VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options)
    : VirtualDevice(room, typeTape, std::move(identity)),
      drive_(std::move(options)),
      loaded_(drive_.cartridge),
      stuck_(drive_.stuckCartridge) {
  Bytes loadId(12);
  put32(loadId, 4, drive_.loadId);
  setVpdPage(0x03, std::move(loadId));
  addCommands();
}

void VirtualDrive::checkReady() {
  if (!loaded_) throw CheckCondition{{.key = 2, .asc = 0x3A, .ascq = 0}};
}

void VirtualDrive::loadCartridge() {
  loaded_ = true;
  addUnitAttention(0x28, 0x00);
}

void VirtualDrive::removeCartridge() { loaded_ = false; }

void VirtualDrive::reboot() { goAway(std::int64_t{drive_.rebootSeconds} * 1000); }

void VirtualDrive::addCommands() {}

}  // namespace simulator
