#include "kiv/changer/commands.h"

#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"

namespace {

constexpr std::uint8_t MODE_PAGE_ELEMENT_ADDRESS_ASSIGNMENT = 0x1D;
constexpr std::uint8_t MODE_SENSE_DISABLE_BLOCK_DESCRIPTORS = 0x08;
// The mode parameter header and the page.
constexpr std::uint8_t ELEMENT_ADDRESS_ASSIGNMENT_LENGTH = 4 + 20;
constexpr ulong32 ELEMENT_STATUS_HEADER_LENGTH = 8;
// A storage element with volume tag, identification header and a 24-byte identifier.
constexpr ulong32 CARTRIDGE_LOCATION_LENGTH = 12 + 36 + 4 + 24;

void setAddress(GenericScsiCommand& command, std::size_t offset, std::uint16_t address) {
  writeBigEndian(command.cdbSpan(), offset, 2, address);
}

}  // namespace

// Moving

ChangerMoveMedium::ChangerMoveMedium(std::uint16_t transport, std::uint16_t source, std::uint16_t destination)
    : GenericScsiCommand(CDB_12, SCSI_DATA_NONE, 0, 840) {
  setCmdCode(0xA5);
  setAddress(*this, 2, transport);
  setSourceAddress(source);
  setDestinationAddress(destination);
}

void ChangerMoveMedium::setSourceAddress(std::uint16_t address) { setAddress(*this, 4, address); }
void ChangerMoveMedium::setDestinationAddress(std::uint16_t address) { setAddress(*this, 6, address); }

ChangerCmdExchangeMedium::ChangerCmdExchangeMedium(std::uint16_t transport, std::uint16_t source,
                                                   std::uint16_t firstDestination,
                                                   std::uint16_t secondDestination)
    : GenericScsiCommand(CDB_12, SCSI_DATA_NONE, 0, 840) {
  setCmdCode(0xA6);
  setTransportElementAddress(transport);
  setSourceAddress(source);
  setFirstDestinationAddress(firstDestination);
  setSecondDestinationAddress(secondDestination);
}

void ChangerCmdExchangeMedium::setTransportElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}
void ChangerCmdExchangeMedium::setSourceAddress(std::uint16_t address) { setAddress(*this, 4, address); }
void ChangerCmdExchangeMedium::setFirstDestinationAddress(std::uint16_t address) {
  setAddress(*this, 6, address);
}
void ChangerCmdExchangeMedium::setSecondDestinationAddress(std::uint16_t address) {
  setAddress(*this, 8, address);
}

ChangerCmdPositionToElement::ChangerCmdPositionToElement(std::uint16_t transport, std::uint16_t destination)
    : GenericScsiCommand(CDB_10, SCSI_DATA_NONE, 0, 600) {
  setCmdCode(0x2B);
  setTransportElementAddress(transport);
  setDestinationAddress(destination);
}

void ChangerCmdPositionToElement::setTransportElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}
void ChangerCmdPositionToElement::setDestinationAddress(std::uint16_t address) {
  setAddress(*this, 4, address);
}

ChangerCmdPreventAllowMediumRemoval::ChangerCmdPreventAllowMediumRemoval(bool prevent)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 420) {
  setCmdCode(0x1E);
  setActionCode(prevent);
}

void ChangerCmdPreventAllowMediumRemoval::setActionCode(bool prevent) {
  writeBigEndian(cdbSpan(), 4, 1, prevent ? 1 : 0);
}

ChangerOpenCloseImportExportElement::ChangerOpenCloseImportExportElement(std::uint16_t elementAddress,
                                                                         std::uint8_t actionCode)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 600) {
  setCmdCode(0x1B);
  setIOElementAddress(elementAddress);
  setActionCode(actionCode);
}

void ChangerOpenCloseImportExportElement::setIOElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}

void ChangerOpenCloseImportExportElement::setActionCode(std::uint8_t code) {
  writeBigEndian(cdbSpan(), 4, 1, code & 0x1Fu);
}

// Inventory

ChangerCmdInitializeElementStatus::ChangerCmdInitializeElementStatus() : GenericScsiCommand(CDB_6) {
  setCmdCode(0x07);
}

ChangerCmdInitializeElementStatusWithRange::ChangerCmdInitializeElementStatusWithRange(
    std::uint16_t startingAddress, std::uint16_t numberOfElements, std::uint8_t operationCode)
    : GenericScsiCommand(CDB_10, SCSI_DATA_NONE, 0, 1800) {
  setCmdCode(operationCode);
  writeBigEndian(cdbSpan(), 1, 1, 0x01);  // RANGE
  setStartingElementAddress(startingAddress);
  setNbrOfElements(numberOfElements);
}

void ChangerCmdInitializeElementStatusWithRange::setStartingElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}

void ChangerCmdInitializeElementStatusWithRange::setNbrOfElements(std::uint16_t count) {
  writeBigEndian(cdbSpan(), 6, 2, count);
}

ChangerCmdReadElementStatus::ChangerCmdReadElementStatus(ChangerElementTypeCode typeCode,
                                                         std::uint16_t startingAddress,
                                                         std::uint16_t numberOfElements,
                                                         bool primaryVolumeTag, bool deviceIdentifier,
                                                         ulong32 allocationLength)
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, 0, 900) {
  setCmdCode(0xB8);
  setPVolTag(primaryVolumeTag);
  setElementTypeCode(typeCode);
  setElementAddress(startingAddress);
  setNbrOfElements(numberOfElements);
  setDvcId(deviceIdentifier);
  setAllocLength(allocationLength);
}

QORScsiCommand* ChangerCmdReadElementStatus::createQORCommand() {
  return new QORChangerCmdReadElementStatus(this);
}

void ChangerCmdReadElementStatus::setElementTypeCode(ChangerElementTypeCode code) {
  writeBigEndian(cdbSpan(), 1, 1, (readByte(cdbSpan(), 1) & 0x10u) | code);
}

void ChangerCmdReadElementStatus::setElementAddress(std::uint16_t address) { setAddress(*this, 2, address); }

void ChangerCmdReadElementStatus::setNbrOfElements(std::uint16_t count) {
  writeBigEndian(cdbSpan(), 4, 2, count);
}

void ChangerCmdReadElementStatus::setPVolTag(bool requested) {
  writeBigEndian(cdbSpan(), 1, 1, (readByte(cdbSpan(), 1) & 0xEFu) | (requested ? 0x10u : 0u));
}

void ChangerCmdReadElementStatus::setDvcId(bool requested) {
  writeBigEndian(cdbSpan(), 6, 1, (readByte(cdbSpan(), 6) & 0xFEu) | (requested ? 0x01u : 0u));
}

ReturnCode ChangerCmdReadElementStatus::setAllocLength(ulong32 length) {
  writeBigEndian(cdbSpan(), 7, 3, length);
  return setIoDataLength(length);
}

void ChangerCmdReadElementStatus::setLunId(std::uint8_t lun) {
  writeBigEndian(cdbSpan(), 1, 1, (unsigned{lun} << 5) | (readByte(cdbSpan(), 1) & 0x1Fu));
}

bool ChangerCmdReadElementStatus::getParamPVolTag() const { return (readByte(cdbSpan(), 1) & 0x10) != 0; }
bool ChangerCmdReadElementStatus::getParamDevID() const { return (readByte(cdbSpan(), 6) & 0x01) != 0; }

std::uint16_t ChangerCmdReadElementStatus::getFirstElementAddressReported() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? std::uint16_t{0} : readBe16(ioDataSpan(), 0);
}

std::uint16_t ChangerCmdReadElementStatus::getNumberElementsAvail() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? std::uint16_t{0} : readBe16(ioDataSpan(), 2);
}

ulong32 ChangerCmdReadElementStatus::getByteCntReportAvail() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? 0 : readBe24(ioDataSpan(), 5);
}

ChangerCmdElementInformation::ChangerCmdElementInformation() : GenericScsiCommand(CDB_6, SCSI_DATA_IN, 0) {
  setCmdCode(0x1A);
  writeBigEndian(cdbSpan(), 1, 1, MODE_SENSE_DISABLE_BLOCK_DESCRIPTORS);
  writeBigEndian(cdbSpan(), 2, 1, MODE_PAGE_ELEMENT_ADDRESS_ASSIGNMENT);
  writeBigEndian(cdbSpan(), 4, 1, ELEMENT_ADDRESS_ASSIGNMENT_LENGTH);
  setIoDataLength(ELEMENT_ADDRESS_ASSIGNMENT_LENGTH);
}

std::uint16_t ChangerCmdElementInformation::getFirstMediumTransportElementAddress() const {
  return readBe16(ioDataSpan(), 6);
}
std::uint16_t ChangerCmdElementInformation::getNumberOfMediumTransportElements() const {
  return readBe16(ioDataSpan(), 8);
}
std::uint16_t ChangerCmdElementInformation::getFirstStorageElementAddress() const {
  return readBe16(ioDataSpan(), 10);
}
std::uint16_t ChangerCmdElementInformation::getNumberOfStorageElements() const {
  return readBe16(ioDataSpan(), 12);
}
std::uint16_t ChangerCmdElementInformation::getFirstIOElementAddress() const {
  return readBe16(ioDataSpan(), 14);
}
std::uint16_t ChangerCmdElementInformation::getNumberOfIOElements() const {
  return readBe16(ioDataSpan(), 16);
}
std::uint16_t ChangerCmdElementInformation::getFirstDataTransferElementAddress() const {
  return readBe16(ioDataSpan(), 18);
}
std::uint16_t ChangerCmdElementInformation::getNumberOfTransferElements() const {
  return readBe16(ioDataSpan(), 20);
}

ChangerCmdReadCartridgeLocation::ChangerCmdReadCartridgeLocation(std::uint16_t startingAddress,
                                                                 std::uint16_t numberOfElements)
    : ChangerCmdReadElementStatus(
          ELEMENT_ALL, startingAddress, numberOfElements, true, true,
          numberOfElements * CARTRIDGE_LOCATION_LENGTH + 2 * ELEMENT_STATUS_HEADER_LENGTH) {}

ChangerCmdReadCartridgeLocation::~ChangerCmdReadCartridgeLocation() = default;

void ChangerCmdReadCartridgeLocation::doTransformation() {
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
  transformed = true;
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
