// Windows without a device behind it: every call answers at once with bytes that were prepared before.
#pragma once

#include <cstdint>

namespace hollow {

struct System {
  unsigned hostAdapters = 1;
  /// Unclaimed tape drives, as each host adapter's port driver lists them. At most 255.
  unsigned devicesPerAdapter = 16;
  /// Drives of the maker's driver: "Tape0" and so on.
  unsigned driverDevices = 0;
  /// TEST UNIT READY ends well; otherwise there is no cartridge.
  bool ready = false;
};

void become(const System& system);

}  // namespace hollow
