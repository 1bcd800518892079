#include "bench/allocation_count.h"
#include "bench/hollow_windows.h"
#include "bench/measure.h"
#include "bench/rows.h"
#include "kiv/device/controller.h"

namespace {

constexpr unsigned ADAPTERS = 2;
constexpr unsigned DEVICES_PER_ADAPTER = 128;
constexpr unsigned DEVICES = ADAPTERS * DEVICES_PER_ADAPTER;

double scanOf(unsigned driverDevices) {
  hollow::become({.hostAdapters = 1, .devicesPerAdapter = 0, .driverDevices = driverDevices});
  DeviceController controller;
  return shortestOf([&] { controller.rescanSCSIBus(true, "", "", ""); }, 9);
}

}  // namespace

void scanRows() {
  hollow::become({.hostAdapters = ADAPTERS, .devicesPerAdapter = DEVICES_PER_ADAPTER});
  DeviceController controller;
  const auto scan = [&] { controller.rediscoverSCSIBus(false, "", "", ""); };
  print({"scan of unclaimed devices, each", "", "<= 10", shortestOf(scan, 9) / DEVICES * 1e6, " us"});
  const std::size_t before = allocationCount();
  scan();
  print({"    its allocations", "", "<= 60", static_cast<double>(allocationCount() - before) / DEVICES});

  const double few = scanOf(128);
  print({"maker's driver, 1,024 devices", "128 devices: 8.0", "<= 8.5", scanOf(1024) / few});
}
