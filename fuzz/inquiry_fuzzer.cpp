// INQUIRY data, VPD pages 0x80, 0x83 and 0x03, and the feature buffer: what a drive says that it is.
#include <cstdlib>

#include "fuzz/input.h"
#include "kiv/device/target.h"
#include "kiv/update/scan_bus.h"
#include "simulator/room/room.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static simulator::Room room;
  static auto& drive = room.addDrive({.target = 5});
  Input input(data, size);
  room.faults().clear();
  for (const char* cdb : {"12 00", "12 01 80", "12 01 83", "12 01 03", "3C 03", "3C 02"})
    room.addFault({.cdb = cdb, .device = drive.address(), .times = 0, .reply = input.piece()});
  ScsiTarget target;
  if (target.openDevice(0, 5, 0, 0, nullptr, 1) == CMD_OK) {
    std::string product;
    getProductString(&target, product);
    // Vendor, model and up to four suffixes.
    if (product.size() > 100) std::abort();
    target.closeDevice();
  }
  room.journal().clear();
  if (room.openHandles() != 0) std::abort();
  return 0;
}
