#include "simulator/devices/virtual_drive.h"

#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {

constexpr std::uint32_t featureBit = 0x10000000;  // set: not for use in a library
constexpr std::uint8_t featureByteBit = 0x08;

VirtualDrive::VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options)
    : MediumDevice(room, typeTape, std::move(identity), ModePages()),
      drive_(options),
      model_(driveModel(VirtualDevice::options().model)),
      timestampSince_(room.clock().milliseconds()) {
  onVpdPage(0x03, [this] {
    Bytes page(12);
    put32(page, 4, drive_.loadId);
    return page;
  });
  // Sequential-access device capabilities: WORM from the third generation on; the maker's serial number.
  onVpdPage(0xB0, [this] { return Bytes{flag(model_.generation >= 3, 0), 0}; });
  onVpdPage(0xB1, [this] { return Bytes(this->options().serial.begin(), this->options().serial.end()); });
  if (model_.featureOffset == 0) {
    setBuffer(model_.featureBuffer, namedEntryBuffer("lib_feature", drive_.automationReady ? 0 : featureBit));
  } else {
    Bytes features(model_.featureOffset + 64u);
    features[model_.featureOffset] = drive_.automationReady ? 0 : featureByteBit;
    setBuffer(model_.featureBuffer, std::move(features));
  }
  addCartridgeCommands();
  addFirmwareCommands();
  addDataCommands();
  addPositionCommands();
  addModeCommands();
  addLogCommands();
  addAttributeCommands();
  addReportCommands();
  addEncryptionCommands();
  if (drive_.cartridge) {
    insertBlank();
    clearUnitAttentions();
  }
}

void VirtualDrive::checkReady() {
  if (room().clock().milliseconds() < readyAt_) refuse(2, 0x04, 0x01);
  if (jammed_) refuse(4, 0x53, 0x00);
  if (!loaded()) refuse(2, 0x3A, 0x00);
  if (medium_->options().cleaning) refuse(2, 0x30, 0x03);
  const std::uint8_t generation = generationOf(medium_->options().densityCode);
  if (generation < model_.oldest || generation > model_.generation) refuse(2, 0x30, 0x00);
}

void VirtualDrive::beforeCommand(const ScsiRequest& request) {
  // What a reservation of another initiator leaves free (SPC-2 5.5.1): LOG SENSE, REQUEST SENSE, INQUIRY,
  // RELEASE, REPORT LUNS, and allowing the removal.
  constexpr std::uint8_t free[] = {0x03, 0x12, 0x17, 0x4D, 0x57, 0xA0};
  const bool allows = request.operation() == 0x1E && request.cdb[4] == 0;
  if (drive_.reserved && !allows && std::ranges::find(free, request.operation()) == std::end(free)) {
    throw StatusOnly{statusReservationConflict};
  }
}

void VirtualDrive::reboot() {
  const std::int64_t away = std::int64_t{drive_.rebootSeconds} * 1000;
  switch (drive_.afterDownload) {
    case AfterDownload::Returns:
      goAway(away);
      break;
    case AfterDownload::LostUntilRescan:
      goAwayUntilRescan(away);
      break;
    case AfterDownload::NeverReturns:
      goAwayForEver();
      break;
  }
  readyAt_ = room().clock().milliseconds() + away + std::int64_t{drive_.becomingReadySeconds} * 1000;
  resetState();
  encryption_ = {};
  timestampSet_.reset();
  timestampSince_ = room().clock().milliseconds();
  ++lifetime_.powerCycles;
  blockLength_ = 0;
  bufferedMode_ = 1;
  if (medium_) mounted();
  clearUnitAttentions();
  addUnitAttention(0x29, 0x00);  // power on, reset, or bus device reset occurred
}

}  // namespace simulator
