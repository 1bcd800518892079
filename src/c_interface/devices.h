// The devices of the last scan, and the numbers by which a host names them.
#pragma once

#include <cstdint>
#include <vector>

#include "c_interface/failure.h"
#include "kiv/device/target.h"

struct FoundDevice {
  ScsiTarget* target;  ///< the device controller's; null when it could not be opened
  kiv_info info;
  std::string product;  ///< the name in the configuration files, as it is written there
  /// By another host, so that it does not tell whether that name has one suffix more.
  bool reserved = false;
};

/// Replaces the devices of an earlier scan, whose numbers are stale from here on.
void rememberDevices(std::vector<FoundDevice> devices);

/// Each throws a failure when there is no such device any more.
FoundDevice& foundDevice(kiv_device device);
/// Nor may it be one that could not be opened.
FoundDevice& reachableDevice(kiv_device device);

/// Keeps a device open.
class OpenDevice {
 public:
  /// Throws a failure when it does not open.
  explicit OpenDevice(const FoundDevice& device);
  ~OpenDevice() { target->closeDevice(); }
  OpenDevice(const OpenDevice&) = delete;
  OpenDevice& operator=(const OpenDevice&) = delete;
  ScsiTarget* operator->() const { return target; }
  ScsiTarget& operator*() const { return *target; }

 private:
  ScsiTarget* target;
};

/// "The drive 1068000451", "The library 00QR78M1340".
std::string nameOf(const FoundDevice& device);
