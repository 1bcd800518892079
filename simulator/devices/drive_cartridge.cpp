// Loading, unloading and holding cartridges.
#include "simulator/room/room.h"

namespace simulator {

void VirtualDrive::insert(std::unique_ptr<Medium> medium) {
  medium_ = std::move(medium);
  loaded_ = true;
  mounted();
  addUnitAttention(0x28, 0x00);  // not ready to ready change, medium may have changed
}

/// A cartridge is threaded: the tape stands at its beginning, and the mode pages tell of it.
void VirtualDrive::mounted() {
  enterPartition(0);
  object_ = 0;
  overwrite_ = Overwrite::Nothing;
  ++counters_.loads;
  ++lifetime_.loads;
  Bytes name = padded(8, options().vendor);
  append(name, padded(32, options().serial));
  medium_->noteLoad(std::move(name));
  showPartitions();
}

void VirtualDrive::insertBlank() {
  insert(std::make_unique<Medium>(MediumOptions{.barcode = "QOR001L" + std::to_string(model_.generation),
                                                .densityCode = model_.densityCode,
                                                .capacity = std::uint64_t{model_.capacity} * 1'000'000}));
}

/// Its keys may be meant for this cartridge only.
void VirtualDrive::demounted() {
  loaded_ = false;
  if (encryption_.clearOnDemount) encryption_ = {};
}

std::unique_ptr<Medium> VirtualDrive::remove() {
  demounted();
  jammed_ = false;
  return std::move(medium_);
}

void VirtualDrive::addCartridgeCommands() {
  onCommand(0x1B, {0xFF, 0x01, 0, 0, 0x07, 0}, &VirtualDrive::loadUnload);
}

// LOAD UNLOAD (SSC-4 7.2): an unloaded cartridge stays at hand, LOAD takes it in again.
void VirtualDrive::loadUnload(ScsiRequest& request) {
  const bool load = request.cdb[4] & 0x01;
  if (load && (request.cdb[4] & 0x04)) invalidField(4);  // to end of tape: for unloading only
  if (jammed_) refuse(4, 0x53, 0x00);
  if (!medium_) {
    if (load) refuse(2, 0x3A, 0x00);
    return;
  }
  if (!load && (removalPrevented() || drive_.removalPrevented)) refuse(5, 0x53, 0x02);
  const std::int64_t takes = std::int64_t{drive_.loadSeconds} * 1000;
  const bool immediate = request.cdb[1] & 0x01;
  if (!immediate) request.duration += takes;
  if (!load && drive_.stuckCartridge) {
    jammed_ = true;
    refuse(4, 0x53, 0x00);
  }
  if (immediate) readyAt_ = room().clock().milliseconds() + takes;
  if (!load) return demounted();
  if (!loaded_) mounted();
  loaded_ = true;
}

}  // namespace simulator
