#include "bench/allocation_count.h"
#include "bench/hollow_windows.h"
#include "bench/measure.h"
#include "bench/rows.h"
#include "kiv/device/controller.h"

namespace {

constexpr unsigned ADAPTERS = 2;
constexpr unsigned DEVICES_PER_ADAPTER = 128;
constexpr unsigned DEVICES = ADAPTERS * DEVICES_PER_ADAPTER;

/// Drives of the maker's driver, found again by each scan after the first.
class KnownDrives {
 public:
  explicit KnownDrives(unsigned count) : drives(count) { scan(); }
  void scan() {
    hollow::become({.hostAdapters = 1, .devicesPerAdapter = 0, .driverDevices = drives});
    controller.rescanSCSIBus(true, "", "", "");
  }

 private:
  unsigned drives;
  DeviceController controller;
};

}  // namespace

void scanRows() {
  hollow::become({.hostAdapters = ADAPTERS, .devicesPerAdapter = DEVICES_PER_ADAPTER});
  DeviceController controller;
  const auto scan = [&] { controller.rediscoverSCSIBus(false, "", "", ""); };
  print({"scan of unclaimed devices, each", "", "<= 10", shortestOf(scan, 9) / DEVICES * 1e6, " us"});
  const std::size_t before = allocationCount();
  scan();
  print({"    its allocations", "", "<= 60", static_cast<double>(allocationCount() - before) / DEVICES});

  KnownDrives few(128);
  KnownDrives many(1024);
  print({"maker's driver, 1,024 devices", "128 devices: 8.0", "<= 8.5",
         ratioOf([&] { many.scan(); }, [&] { few.scan(); }, 25)});
}
