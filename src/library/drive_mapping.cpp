#include "kiv/library/drive_mapping.h"

#include <optional>

#include "changer/element_status_layout.h"
#include "device/arrived_data.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/changer/commands.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "scsi/device_types.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

/// The identifier that a descriptor carries: its length is computed in eight bits, and ends with the
/// descriptor. None when the descriptor has no room for one.
std::optional<Bytes> identifierIn(Bytes descriptor, bool volumeTag) {
  const std::size_t offset = identificationOffset(volumeTag);
  if (descriptor.size() < offset + IDENTIFICATION_HEADER) return std::nullopt;
  const Bytes rest = descriptor.subspan(offset);
  const auto length = static_cast<std::uint8_t>(rest[3] + IDENTIFICATION_HEADER);
  return rest.first(std::min<std::size_t>(length, rest.size()));
}

DriveMapping pair(ScsiTarget& changer, ScsiTarget& drive) {
  return {changer.getSerialNumber(),  changer.getTargetId(),  changer.getLun(),
          changer.getHostAdapterId(), changer.getBusNumber(), changer.getDriverName(),
          drive.getSerialNumber(),    drive.getTargetId(),    drive.getLun(),
          drive.getHostAdapterId(),   drive.getBusNumber(),   drive.getModelName(),
          drive.getDriverName()};
}

}  // namespace

ChangerDriveMapping::ChangerDriveMapping() : ChangerLibraryBaseCommands(nullptr) {}

void ChangerDriveMapping::getMapping(DeviceController& controller, std::vector<DriveMapping>& map) {
  const auto mapLibrary = [&] {
    changer->openDevice();
    logger->logDebug("CLCO", 0, "ChangerDriveMapping::getMapping for [%s][%s][%s]", changer->getModelName(),
                     changer->getSerialNumber(), changer->getDeviceSpecialFile());
    if (!getElementAddressRanges()) {
      logger->logError("CLCO", 0,
                       "ChangerDriveMapping::getMapping, getElementAddressRanges failed for changer %s",
                       changer->getSerialNumber());
      return;
    }
    ChangerCmdReadElementStatus cmd(ELEMENT_DATA_TRANSFER, firstDataTransferElementAddress,
                                    numberOfDataTransferElements, false, true, REPORT_HEADER);
    unsigned int descriptorLength = 0;
    unsigned int elementCount = 0;
    unsigned char volumeTagPresent = 0;
    const bool readable =
        getDescriptorTableOfReadElement(cmd, descriptorLength, elementCount, volumeTagPresent) != nullptr;
    logger->logDebug("CLCO", 0, "ChangerDriveMapping::getMapping ElementCount: %d",
                     static_cast<int>(elementCount));
    if (!readable) {
      logger->logWarning("CLCO", 0, "ChangerDriveMapping::getMapping - Could not retrieve DescriptorTable");
      return;
    }
    logDump("CLCO", "ChangerDriveMapping::getMapping - Descriptor Data Of ReadElement", cmd.ioDataSpan());
    Bytes descriptors = arrivedData(*changer, cmd).subspan(REPORT_HEADER + PAGE_HEADER);
    for (unsigned int k = 0;
         k < elementCount && descriptorLength != 0 && descriptors.size() >= descriptorLength; ++k) {
      const auto identifier = identifierIn(descriptors.first(descriptorLength), volumeTagPresent != 0);
      descriptors = descriptors.subspan(descriptorLength);
      if (identifier) mapBay(controller, *identifier, map);
    }
    changer->closeDevice();
  };
  for (int i = 0; i < controller.getDeviceCount(); ++i) {
    ScsiTarget* target = controller.getDevice(i);
    if (target == nullptr || target->getDeviceTyp() != MEDIUM_CHANGER) continue;
    setChanger(target);
    const bool mapped = guarded(false, [&] {
      mapLibrary();
      return true;
    });
    if (mapped) continue;
    logger->logError("CLCO", 0, "ChangerDriveMapping::getMapping - out of memory");
    changer->closeDevice();
    if (device != nullptr) device->closeDevice();
  }
}

void ChangerDriveMapping::mapBay(DeviceController& controller, Bytes identifier,
                                 std::vector<DriveMapping>& map) {
  if (identifier.empty()) {
    logger->logError("CLCO", 0, "ChangerDriveMapping::getMapping - identifier of length 0");
  } else {
    logDump("CLCO", "ChangerDriveMapping::getMapping - identifier", identifier);
  }
  for (int j = 0; j < controller.getDeviceCount(); ++j) {
    ScsiTarget* drive = controller.getDevice(j);
    if (drive == nullptr || drive->getDeviceTyp() != SEQUENTIAL_ACCESS_DEVICE) continue;
    setDevice(drive);
    if (!drive->isInquiryDataValid() || *drive->getSerialNumber() == '\0') drive->openDevice();
    if (compareDeviceInquiry(identifier.data(), static_cast<ulong32>(identifier.size()))) {
      map.push_back(pair(*changer, *drive));
      logger->logDebug(
          "CLCO", 0,
          "ChangerDriveMapping::getMapping -  device[%d] map.DriveDriverName: %s map.ChangerDriverName: %s",
          j, drive->getDriverName(), changer->getDriverName());
    } else {
      logger->logDebug("CLCO", 0, "ChangerDriveMapping::getMapping -  compareInquiry no match device[%s]",
                       drive->getSerialNumber());
    }
    drive->closeDevice();
  }
}
