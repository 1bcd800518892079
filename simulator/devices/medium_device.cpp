#include "simulator/devices/medium_device.h"

namespace simulator {

MediumDevice::MediumDevice(Room& room, PeripheralType type, DeviceOptions options, ModePages modes)
    : VirtualDevice(room, type, std::move(options)), modes_(std::move(modes)) {
  addReservationCommands();
  onCommand(0x4D, {0xFF, 0x03, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0}, &MediumDevice::logSense);
  onLogPage(0x2E, [this] {
    LogParameters flags;
    for (std::uint16_t i = 1; i <= 64; ++i) flags.push_back(list(i, {flag(tapeAlerts() >> (64 - i) & 1, 0)}));
    return flags;
  });
  onCommand(0x1E, {0xFF, 0, 0, 0, 0x03, 0}, [this](ScsiRequest& request) {
    if (request.cdb[4] > 1) invalidField(4);
    removalPrevented_ = request.cdb[4] == 1;
  });
}

void MediumDevice::resetState() {
  modes_.reset();
  reserved_ = false;
  removalPrevented_ = false;
  persistent_ = {};
}

}  // namespace simulator
