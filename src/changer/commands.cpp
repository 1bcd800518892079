#include "kiv/changer/commands.h"

#include "changer/element_status_layout.h"
#include "frame/guarded.h"
#include "kiv/changer/element_status.h"
#include "kiv/frame/logger.h"
#include "scsi/cdb.h"

namespace {

constexpr std::uint8_t RANGE = 0x01;
constexpr std::uint8_t ELEMENT_ADDRESS_ASSIGNMENT = 0x1D;
// The mode parameter header and the page.
constexpr std::uint8_t ELEMENT_ADDRESS_ASSIGNMENT_LENGTH = 4 + 20;

// A storage element with volume tag and a 24-byte identifier.
constexpr ulong32 CARTRIDGE_LOCATION = DESCRIPTOR_HEADER + VOLUME_TAG + IDENTIFICATION_HEADER + 24;

}  // namespace

// clang-format off
ChangerMoveMedium::ChangerMoveMedium(std::uint16_t transport, std::uint16_t source, std::uint16_t destination)
    : GenericScsiCommand(
          cdbOf(MOVE_MEDIUM, 0, Be16(transport), Be16(source), Be16(destination), Be16(0), 0, 0),
          SCSI_DATA_NONE, 0, 840) {}
void ChangerMoveMedium::setSourceAddress(std::uint16_t address) { putNumber(4, 2, address); }
void ChangerMoveMedium::setDestinationAddress(std::uint16_t address) { putNumber(6, 2, address); }

ChangerCmdExchangeMedium::ChangerCmdExchangeMedium(std::uint16_t transport, std::uint16_t source,
                                                   std::uint16_t firstDestination,
                                                   std::uint16_t secondDestination)
    : GenericScsiCommand(cdbOf(EXCHANGE_MEDIUM, 0, Be16(transport), Be16(source), Be16(firstDestination),
                               Be16(secondDestination), 0, 0),
                         SCSI_DATA_NONE, 0, 840) {}
void ChangerCmdExchangeMedium::setTransportElementAddress(std::uint16_t address) { putNumber(2, 2, address); }
void ChangerCmdExchangeMedium::setSourceAddress(std::uint16_t address) { putNumber(4, 2, address); }
void ChangerCmdExchangeMedium::setFirstDestinationAddress(std::uint16_t address) { putNumber(6, 2, address); }
void ChangerCmdExchangeMedium::setSecondDestinationAddress(std::uint16_t address) { putNumber(8, 2, address); }

ChangerCmdPositionToElement::ChangerCmdPositionToElement(std::uint16_t transport, std::uint16_t destination)
    : GenericScsiCommand(cdbOf(POSITION_TO_ELEMENT, 0, Be16(transport), Be16(destination), Be16(0), 0, 0),
                         SCSI_DATA_NONE, 0, 600) {}
void ChangerCmdPositionToElement::setTransportElementAddress(std::uint16_t address) { putNumber(2, 2, address); }
void ChangerCmdPositionToElement::setDestinationAddress(std::uint16_t address) { putNumber(4, 2, address); }

ChangerCmdPreventAllowMediumRemoval::ChangerCmdPreventAllowMediumRemoval(bool prevent)
    : GenericScsiCommand(cdbOf(PREVENT_ALLOW_MEDIUM_REMOVAL, Be24(0), prevent, 0), SCSI_DATA_NONE, 0, 420) {}
void ChangerCmdPreventAllowMediumRemoval::setActionCode(bool prevent) { putNumber(4, 1, prevent); }

ChangerOpenCloseImportExportElement::ChangerOpenCloseImportExportElement(std::uint16_t elementAddress,
                                                                         std::uint8_t actionCode)
    : GenericScsiCommand(
          cdbOf(OPEN_CLOSE_IMPORT_EXPORT_ELEMENT, 0, Be16(elementAddress), actionCode & 0x1F, 0),
          SCSI_DATA_NONE, 0, 600) {}
void ChangerOpenCloseImportExportElement::setIOElementAddress(std::uint16_t address) { putNumber(2, 2, address); }
void ChangerOpenCloseImportExportElement::setActionCode(std::uint8_t code) { putNumber(4, 1, code & 0x1F); }

ChangerCmdInitializeElementStatus::ChangerCmdInitializeElementStatus()
    : GenericScsiCommand(cdbOf(INITIALIZE_ELEMENT_STATUS, Be32(0), 0)) {}

ChangerCmdInitializeElementStatusWithRange::ChangerCmdInitializeElementStatusWithRange(
    std::uint16_t startingAddress, std::uint16_t numberOfElements, std::uint8_t operationCode)
    : GenericScsiCommand(cdbOf(OperationCode{operationCode}, RANGE, Be16(startingAddress), Be16(0),
                               Be16(numberOfElements), 0, 0),
                         SCSI_DATA_NONE, 0, 1800) {}
void ChangerCmdInitializeElementStatusWithRange::setStartingElementAddress(std::uint16_t address) { putNumber(2, 2, address); }
void ChangerCmdInitializeElementStatusWithRange::setNbrOfElements(std::uint16_t count) { putNumber(6, 2, count); }

ChangerCmdReadElementStatus::ChangerCmdReadElementStatus(ChangerElementTypeCode typeCode,
                                                         std::uint16_t startingAddress,
                                                         std::uint16_t numberOfElements,
                                                         bool primaryVolumeTag, bool deviceIdentifier,
                                                         ulong32 allocationLength)
    : GenericScsiCommand(cdbOf(READ_ELEMENT_STATUS, typeCode | primaryVolumeTag << 4, Be16(startingAddress),
                               Be16(numberOfElements), deviceIdentifier, Be24(allocationLength), 0, 0),
                         SCSI_DATA_IN, allocationLength, 900) {}
void ChangerCmdReadElementStatus::setElementTypeCode(ChangerElementTypeCode code) {
  putNumber(1, 1, (readByte(cdbSpan(), 1) & 0x10u) | code);
}
void ChangerCmdReadElementStatus::setElementAddress(std::uint16_t address) { putNumber(2, 2, address); }
void ChangerCmdReadElementStatus::setNbrOfElements(std::uint16_t count) { putNumber(4, 2, count); }
void ChangerCmdReadElementStatus::setPVolTag(bool requested) { putBits(1, 0x10, requested); }
void ChangerCmdReadElementStatus::setDvcId(bool requested) { putBits(6, 0x01, requested); }
ReturnCode ChangerCmdReadElementStatus::setAllocLength(ulong32 length) { return putLength(7, 3, length); }
void ChangerCmdReadElementStatus::setLunId(std::uint8_t lun) { putBits(1, 0xE0, lun); }
bool ChangerCmdReadElementStatus::getParamPVolTag() const { return hasFlag(cdbSpan(), 1, 0x10); }
bool ChangerCmdReadElementStatus::getParamDevID() const { return hasFlag(cdbSpan(), 6, 0x01); }
std::uint16_t ChangerCmdReadElementStatus::getFirstElementAddressReported() const {
  return ioDataLength < 8 ? std::uint16_t{0} : readBe16(ioDataSpan(), 0);
}
std::uint16_t ChangerCmdReadElementStatus::getNumberElementsAvail() const {
  return ioDataLength < 8 ? std::uint16_t{0} : readBe16(ioDataSpan(), 2);
}
ulong32 ChangerCmdReadElementStatus::getByteCntReportAvail() const { return ioDataLength < 8 ? 0 : readBe24(ioDataSpan(), 5); }

ChangerCmdElementInformation::ChangerCmdElementInformation()
    : GenericScsiCommand(
          cdbOf(MODE_SENSE_6, 0x08, ELEMENT_ADDRESS_ASSIGNMENT, 0, ELEMENT_ADDRESS_ASSIGNMENT_LENGTH, 0),
          SCSI_DATA_IN, ELEMENT_ADDRESS_ASSIGNMENT_LENGTH) {}
std::uint16_t ChangerCmdElementInformation::getFirstMediumTransportElementAddress() const { return readBe16(ioDataSpan(), 6); }
std::uint16_t ChangerCmdElementInformation::getNumberOfMediumTransportElements() const { return readBe16(ioDataSpan(), 8); }
std::uint16_t ChangerCmdElementInformation::getFirstStorageElementAddress() const { return readBe16(ioDataSpan(), 10); }
std::uint16_t ChangerCmdElementInformation::getNumberOfStorageElements() const { return readBe16(ioDataSpan(), 12); }
std::uint16_t ChangerCmdElementInformation::getFirstIOElementAddress() const { return readBe16(ioDataSpan(), 14); }
std::uint16_t ChangerCmdElementInformation::getNumberOfIOElements() const { return readBe16(ioDataSpan(), 16); }
std::uint16_t ChangerCmdElementInformation::getFirstDataTransferElementAddress() const { return readBe16(ioDataSpan(), 18); }
std::uint16_t ChangerCmdElementInformation::getNumberOfTransferElements() const { return readBe16(ioDataSpan(), 20); }
// clang-format on

ChangerCmdReadCartridgeLocation::ChangerCmdReadCartridgeLocation(std::uint16_t startingAddress,
                                                                 std::uint16_t numberOfElements)
    : ChangerCmdReadElementStatus(ELEMENT_ALL, startingAddress, numberOfElements, true, true,
                                  numberOfElements * CARTRIDGE_LOCATION + REPORT_HEADER + PAGE_HEADER) {}

ChangerCmdReadCartridgeLocation::~ChangerCmdReadCartridgeLocation() = default;

void ChangerCmdReadCartridgeLocation::doTransformation() {
  transformed = guarded(false, [&] {
    locations.clear();
    elementStatus = std::make_unique<ChangerElementStatusData>(getIoData(), getIoDataLength(), true);
    if (const ChangerElementStatusPage* page = elementStatus->getElementStatusPage(0)) {
      for (std::uint16_t i = 0; i < page->getNumberDescriptors(); ++i) {
        auto* location = dynamic_cast<StorageWithDVCIDElemStatusDescriptor*>(page->getDescriptor(i));
        if (location != nullptr) locations.push_back(location);
      }
    }
    logger->logDebug("SCSI", 0, "decodeReadElementStatus Page 0: num descriptors: %d",
                     static_cast<int>(locations.size()));
    return true;
  });
  if (!transformed) locations.clear();
}

std::uint16_t ChangerCmdReadCartridgeLocation::getNumberOfCartridgeLocations() {
  if (!transformed) doTransformation();
  return static_cast<std::uint16_t>(locations.size());
}

StorageWithDVCIDElemStatusDescriptor* ChangerCmdReadCartridgeLocation::getLocationElement(
    std::uint16_t index) {
  if (!transformed) doTransformation();
  return index < locations.size() ? locations[index] : nullptr;
}
