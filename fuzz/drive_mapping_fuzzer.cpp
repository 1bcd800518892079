// The drive mapping's walk over a library's report on its drive bays. The first byte says how much of the
// report arrives.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "kiv/device/controller.h"
#include "kiv/library/drive_mapping.h"
#include "simulator/room/room.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 9) return 0;
  static simulator::Room room;
  static DeviceController controller;
  static const bool scanned = [] {
    auto& drive = room.addDrive({.target = 1, .model = "ULTRIUM-PX6", .serial = "0"});
    room.addChanger({.target = 2, .serial = "LIB0000001"}, {.drives = {0x0100, 1}, .bays = {&drive}});
    return controller.rediscoverSCSIBus(false, "", "", "") == CMD_OK && controller.getDeviceCount() == 2;
  }();
  if (!scanned) std::abort();

  const simulator::Bytes report(data + 1, data + size);
  const auto arriving = static_cast<std::uint32_t>(report.size() - report.size() * data[0] / 255);
  room.faults().clear();
  room.addFault({.cdb = "B8", .reply = simulator::Bytes(report.begin(), report.begin() + 8)});
  room.addFault({.cdb = "B8", .nth = 2, .transfer = arriving, .reply = report});
  std::vector<DriveMapping> map;
  ChangerDriveMapping().getMapping(controller, map);
  room.journal().clear();
  // Every pair takes a descriptor with an identifier.
  if (map.size() > report.size() / 16) std::abort();
  return 0;
}
