#include "simulator/devices/virtual_drive.h"

#include "simulator/room/room.h"

namespace simulator {

constexpr std::uint32_t featureBit = 0x10000000;  // set: not for use in a library
constexpr std::uint8_t featureByteBit = 0x08;

VirtualDrive::VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options)
    : VirtualDevice(room, typeTape, std::move(identity)),
      drive_(std::move(options)),
      model_(driveModel(VirtualDevice::options().model)) {
  onVpdPage(0x03, [this] {
    Bytes page(12);
    put32(page, 4, drive_.loadId);
    return page;
  });
  if (model_.featureOffset == 0) {
    setBuffer(model_.featureBuffer, namedEntryBuffer("lib_feature", drive_.automationReady ? 0 : featureBit));
  } else {
    Bytes features(model_.featureOffset + 64u);
    features[model_.featureOffset] = drive_.automationReady ? 0 : featureByteBit;
    setBuffer(model_.featureBuffer, std::move(features));
  }
  addCartridgeCommands();
  addReservationCommands();
  addFirmwareCommands();
  addDataCommands();
  addPositionCommands();
  addModeCommands();
  addLogCommands();
  addAttributeCommands();
  addReportCommands();
  if (drive_.cartridge) {
    insertBlank();
    clearUnitAttentions();
  }
}

void VirtualDrive::checkReady() {
  if (room().clock().milliseconds() < readyAt_) refuse(2, 0x04, 0x01);
  if (jammed_) refuse(4, 0x53, 0x00);
  if (!loaded()) refuse(2, 0x3A, 0x00);
}

void VirtualDrive::beforeCommand(const ScsiRequest& request) {
  // INQUIRY, REQUEST SENSE, REPORT LUNS and RELEASE are not subject to a reservation.
  const std::uint8_t operation = request.operation();
  const bool exempt = operation == 0x12 || operation == 0x03 || operation == 0xA0 || operation == 0x17;
  if (reservedByOther_ && !exempt) throw StatusOnly{statusReservationConflict};
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
  reserved_ = false;
  removalPrevented_ = false;
  persistent_ = {};
  modes_.reset();
  blockLength_ = 0;
  bufferedMode_ = 1;
  if (medium_) mounted();
  clearUnitAttentions();
  addUnitAttention(0x29, 0x00);  // power on, reset, or bus device reset occurred
}

}  // namespace simulator
