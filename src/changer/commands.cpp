#include "kiv/changer/commands.h"

#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/frame/logger.h"
#include "scsi/cdb.h"

namespace {

// Operation codes (SMC-3).
constexpr std::uint8_t INITIALIZE_ELEMENT_STATUS = 0x07;
constexpr std::uint8_t OPEN_CLOSE_IMPORT_EXPORT_ELEMENT = 0x1B;
constexpr std::uint8_t PREVENT_ALLOW_MEDIUM_REMOVAL = 0x1E;
constexpr std::uint8_t POSITION_TO_ELEMENT = 0x2B;
constexpr std::uint8_t MOVE_MEDIUM = 0xA5;
constexpr std::uint8_t EXCHANGE_MEDIUM = 0xA6;
constexpr std::uint8_t READ_ELEMENT_STATUS = 0xB8;

// Fields of their CDBs.
constexpr std::uint8_t RANGE = 0x01;
constexpr std::uint8_t VOLTAG = 0x10;
constexpr std::uint8_t DVCID = 0x01;
constexpr std::uint8_t ACTION_CODE = 0x1F;
constexpr std::uint8_t LUN_SHIFT = 5;

constexpr std::uint8_t MODE_SENSE_DISABLE_BLOCK_DESCRIPTORS = 0x08;
constexpr std::uint8_t ELEMENT_ADDRESS_ASSIGNMENT = 0x1D;
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
  writeCdb(cdbSpan(), MOVE_MEDIUM, 0, Be16(transport), Be16(source), Be16(destination), Be16(0), 0, 0);
}

void ChangerMoveMedium::setSourceAddress(std::uint16_t address) { setAddress(*this, 4, address); }
void ChangerMoveMedium::setDestinationAddress(std::uint16_t address) { setAddress(*this, 6, address); }

ChangerCmdExchangeMedium::ChangerCmdExchangeMedium(std::uint16_t transport, std::uint16_t source,
                                                   std::uint16_t firstDestination,
                                                   std::uint16_t secondDestination)
    : GenericScsiCommand(CDB_12, SCSI_DATA_NONE, 0, 840) {
  writeCdb(cdbSpan(), EXCHANGE_MEDIUM, 0, Be16(transport), Be16(source), Be16(firstDestination),
           Be16(secondDestination), 0, 0);
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
  writeCdb(cdbSpan(), POSITION_TO_ELEMENT, 0, Be16(transport), Be16(destination), Be16(0), 0, 0);
}

void ChangerCmdPositionToElement::setTransportElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}
void ChangerCmdPositionToElement::setDestinationAddress(std::uint16_t address) {
  setAddress(*this, 4, address);
}

ChangerCmdPreventAllowMediumRemoval::ChangerCmdPreventAllowMediumRemoval(bool prevent)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 420) {
  writeCdb(cdbSpan(), PREVENT_ALLOW_MEDIUM_REMOVAL, 0, Be16(0), prevent, 0);
}

void ChangerCmdPreventAllowMediumRemoval::setActionCode(bool prevent) { writeByte(cdbSpan(), 4, prevent); }

ChangerOpenCloseImportExportElement::ChangerOpenCloseImportExportElement(std::uint16_t elementAddress,
                                                                         std::uint8_t actionCode)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 600) {
  writeCdb(cdbSpan(), OPEN_CLOSE_IMPORT_EXPORT_ELEMENT, 0, Be16(elementAddress), 0, 0);
  setActionCode(actionCode);
}

void ChangerOpenCloseImportExportElement::setIOElementAddress(std::uint16_t address) {
  setAddress(*this, 2, address);
}

void ChangerOpenCloseImportExportElement::setActionCode(std::uint8_t code) {
  writeByte(cdbSpan(), 4, code & ACTION_CODE);
}

// Inventory

ChangerCmdInitializeElementStatus::ChangerCmdInitializeElementStatus() : GenericScsiCommand(CDB_6) {
  writeCdb(cdbSpan(), INITIALIZE_ELEMENT_STATUS, 0, Be24(0), 0);
}

ChangerCmdInitializeElementStatusWithRange::ChangerCmdInitializeElementStatusWithRange(
    std::uint16_t startingAddress, std::uint16_t numberOfElements, std::uint8_t operationCode)
    : GenericScsiCommand(CDB_10, SCSI_DATA_NONE, 0, 1800) {
  writeCdb(cdbSpan(), operationCode, RANGE, Be16(startingAddress), Be16(0), Be16(numberOfElements), 0, 0);
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
    : GenericScsiCommand(CDB_12, SCSI_DATA_IN, allocationLength, 900) {
  writeCdb(cdbSpan(), READ_ELEMENT_STATUS, typeCode | (primaryVolumeTag ? VOLTAG : 0), Be16(startingAddress),
           Be16(numberOfElements), deviceIdentifier, Be24(allocationLength), 0, 0);
}

QORScsiCommand* ChangerCmdReadElementStatus::createQORCommand() {
  return new QORChangerCmdReadElementStatus(this);
}

void ChangerCmdReadElementStatus::setElementTypeCode(ChangerElementTypeCode code) {
  writeByte(cdbSpan(), 1, (readByte(cdbSpan(), 1) & VOLTAG) | code);
}

void ChangerCmdReadElementStatus::setElementAddress(std::uint16_t address) { setAddress(*this, 2, address); }

void ChangerCmdReadElementStatus::setNbrOfElements(std::uint16_t count) {
  writeBigEndian(cdbSpan(), 4, 2, count);
}

void ChangerCmdReadElementStatus::setPVolTag(bool requested) {
  writeBits(cdbSpan(), 1, VOLTAG, requested ? VOLTAG : 0);
}

void ChangerCmdReadElementStatus::setDvcId(bool requested) {
  writeBits(cdbSpan(), 6, DVCID, requested ? DVCID : 0);
}

ReturnCode ChangerCmdReadElementStatus::setAllocLength(ulong32 length) {
  writeBigEndian(cdbSpan(), 7, 3, length);
  return setIoDataLength(length);
}

void ChangerCmdReadElementStatus::setLunId(std::uint8_t lun) {
  writeBits(cdbSpan(), 1, 0xE0, unsigned{lun} << LUN_SHIFT);
}

bool ChangerCmdReadElementStatus::getParamPVolTag() const { return (readByte(cdbSpan(), 1) & VOLTAG) != 0; }
bool ChangerCmdReadElementStatus::getParamDevID() const { return (readByte(cdbSpan(), 6) & DVCID) != 0; }

std::uint16_t ChangerCmdReadElementStatus::getFirstElementAddressReported() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? std::uint16_t{0} : readBe16(ioDataSpan(), 0);
}

std::uint16_t ChangerCmdReadElementStatus::getNumberElementsAvail() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? std::uint16_t{0} : readBe16(ioDataSpan(), 2);
}

ulong32 ChangerCmdReadElementStatus::getByteCntReportAvail() const {
  return getIoDataLength() < ELEMENT_STATUS_HEADER_LENGTH ? 0 : readBe24(ioDataSpan(), 5);
}

ChangerCmdElementInformation::ChangerCmdElementInformation()
    : GenericScsiCommand(CDB_6, SCSI_DATA_IN, ELEMENT_ADDRESS_ASSIGNMENT_LENGTH) {
  writeCdb(cdbSpan(), MODE_SENSE_6, MODE_SENSE_DISABLE_BLOCK_DESCRIPTORS, ELEMENT_ADDRESS_ASSIGNMENT, 0,
           ELEMENT_ADDRESS_ASSIGNMENT_LENGTH, 0);
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
