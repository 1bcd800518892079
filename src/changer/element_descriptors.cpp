#include <algorithm>
#include <cstdio>

#include "changer/element_status_layout.h"
#include "frame/guarded.h"
#include "kiv/changer/element_status.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "scsi/text_field.h"

namespace {

/// Fewer bytes than these hold no volume tag.
constexpr ulong32 LEAST_WITH_VOLUME_TAG = 47;
/// The identifier of a neighbouring library: vendor, model, serial number, first storage element address,
/// frame number.
constexpr std::uint8_t LIBRARY_IDENTIFIER = 44;
constexpr std::uint8_t CODE_SET_BINARY = 1;

std::string trimmedRight(std::string text) { return text.erase(text.find_last_not_of(' ') + 1); }

const char* yesNo(bool value) { return value ? "Yes" : "No"; }

std::string numberOrNone(bool valid, unsigned int value) { return valid ? std::to_string(value) : "N/A"; }

}  // namespace

ElemStatusDescriptor::ElemStatusDescriptor(const std::uint8_t* data, ulong32 available, std::uint16_t length,
                                           bool volumeTag)
    : descriptorData(data),
      bytesAvailable(available),
      descriptorLength(length),
      primVolumeTagValid(volumeTag) {}

ElemStatusDescriptor::~ElemStatusDescriptor() = default;

std::span<const std::uint8_t> ElemStatusDescriptor::bytes() const {
  if (descriptorData == nullptr || bytesAvailable < descriptorLength) return {};
  return {descriptorData, descriptorLength};
}

bool ElemStatusDescriptor::bit(std::size_t byte, unsigned int number) const {
  return (readByte(bytes(), byte) >> number & 1) != 0;
}

void ElemStatusDescriptor::decodeData() {
  const auto data = bytes();
  elementAddress = readBe16(data, 0);
  full = bit(2, 0);
  except = bit(2, 2);
  asc = readByte(data, 4);
  ascq = readByte(data, 5);
  srcValid = bit(9, 7);
  srcStorageElemAddress = readBe16(data, 10);
  if (primVolumeTagValid && bytesAvailable >= LEAST_WITH_VOLUME_TAG) {
    const std::string_view tag = viewText(data, DESCRIPTOR_HEADER, VOLUME_TAG);
    // Of blanks one is kept: a tag of nothing else is not an empty one.
    guarded([&] { primVolumeTag = tag.substr(0, std::max<std::size_t>(1, tag.find_last_not_of(' ') + 1)); });
  }
}

std::string ElemStatusDescriptor::getPrimVolumeTag() const {
  return guarded(std::string(), [&]() -> std::string {
    if (!primVolumeTagValid) return "<not valid>";
    return primVolumeTag.empty() ? " " : trimmedRight(primVolumeTag);
  });
}

std::string ElemStatusDescriptor::fullToString() const {
  return guarded(std::string(), [&]() -> std::string {
    return std::string("\n Media Present ................. ") + yesNo(full);
  });
}

std::string ElemStatusDescriptor::exceptToString() const { return except ? "Abnormal" : "Normal"; }

std::string ElemStatusDescriptor::asc_ascqToString() const {
  return guarded(std::string(), [&]() -> std::string {
    char codes[5];
    std::snprintf(codes, sizeof codes, "%02X%02X", asc, ascq);
    return std::string("\n ASC/ASCQ ...................... ") + codes;
  });
}

std::string ElemStatusDescriptor::srcElemAddressToString() const {
  return guarded(std::string(), [&]() -> std::string {
    const unsigned int source = srcStorageElemAddress;
    const std::string location = std::to_string(source >> 11) + "/" + std::to_string((source & 0x700) >> 8) +
                                 "/" + std::to_string((source & 0xF0) >> 4) + "/" +
                                 ((source & 1) ? "B" : "A");
    return std::string("\n Source Element Address Valid .. ") + yesNo(srcValid) +
           "\n Source Element Address ........ " + numberOrNone(srcValid, source) +
           "\n Location (Fra/Col/Row/Acc)..... " + location + " (VX7100/7200 only)";
  });
}

std::string ElemStatusDescriptor::sharedToString() const {
  return fullToString() + asc_ascqToString() + srcElemAddressToString();
}

std::string ElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string { return sharedToString(); });
}

void ElementIdentification::decodeIdentification(std::span<const std::uint8_t> descriptor, bool volumeTag) {
  const std::size_t offset = identificationOffset(volumeTag);
  codeSet = readByte(descriptor, offset) & 0x0F;
  identifierType = readByte(descriptor, offset + 1) & 0x0F;
  identifierLength = readByte(descriptor, offset + 3);
  const auto rest = descriptor.subspan(std::min(offset + IDENTIFICATION_HEADER, descriptor.size()));
  const auto identifier = rest.first(std::min<std::size_t>(identifierLength, rest.size()));
  guarded([&] { binaryIdentifier.assign(identifier.begin(), identifier.end()); });
}

std::string ElementIdentification::identifierToString() const {
  if (codeSet != CODE_SET_BINARY) return trimmedRight(readText(binaryIdentifier, 0, binaryIdentifier.size()));
  std::string text;
  for (const std::uint8_t byte : binaryIdentifier) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", byte);
    text += digits;
  }
  return text;
}

void StorageElemStatusDescriptor::decodeData() {
  ElemStatusDescriptor::decodeData();
  access = bit(2, 3);
  invert = bit(9, 6);
}

std::string StorageElemStatusDescriptor::storageToString() const {
  return "\nSlot Address ................... " + std::to_string(elementAddress) +
         "\n Slot State .................... " + exceptToString() +  //
         "\n Robot Access Allowed .......... " + yesNo(access) + "\n Media Inverted ................ " +
         yesNo(invert) + "\n Volume Tag .................... " + getPrimVolumeTag();
}

std::string StorageElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string { return storageToString() + sharedToString(); });
}

void StorageWithDVCIDElemStatusDescriptor::decodeData() {
  StorageElemStatusDescriptor::decodeData();
  decodeIdentification(bytes(), primVolumeTagValid);
}

std::string StorageWithDVCIDElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string {
    return storageToString() + "\n Cartridge Location............. " + identifierToString() +
           sharedToString();
  });
}

void IOElemStatusDescriptor::decodeData() {
  ElemStatusDescriptor::decodeData();
  access = bit(2, 3);
  invert = bit(9, 6);
  exportEnable = bit(2, 5);
  importEnable = bit(2, 4);
  operatorPlacedMedium = bit(2, 1);
}

std::string IOElemStatusDescriptor::stationToString() const {
  return "\nImport/Export Station Address " + std::to_string(elementAddress) +
         "\n Import/Export State ........... " + exceptToString() + "\n Media Placed by Operator ...... " +
         yesNo(operatorPlacedMedium) + "\n Import Enabled ................ " + yesNo(importEnable) +
         "\n Export Enabled ................ " + yesNo(exportEnable);
}

std::string IOElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string { return stationToString() + sharedToString(); });
}

void IOElemwDVCIDStatusDescriptor::decodeData() {
  IOElemStatusDescriptor::decodeData();
  decodeIdentification(bytes(), primVolumeTagValid);
  logger->logDebug("SCSI", 0, "IOElemwDVCIDStatusDescriptor::decodeData desclen:%d volTag:%d",
                   descriptorLength, primVolumeTagValid);
  logger->logDebug(
      "SCSI", 0, "IOElemwDVCIDStatusDescriptor::decodeData Addr:%04X identifierLength:%d offset:%d",
      elementAddress, identifierLength, static_cast<int>(identificationOffset(primVolumeTagValid)));
  mediaChangerConnected = bit(2, 6) && identifierLength >= LIBRARY_IDENTIFIER;
  // The fields have their places whatever length the identifier claims.
  const std::size_t identifier = identificationOffset(primVolumeTagValid) + IDENTIFICATION_HEADER;
  guarded([&] {
    vendorId = readText(bytes(), identifier, 8);
    modelId = readText(bytes(), identifier + 8, 16);
    serialNumber = readText(bytes(), identifier + 24, 12);
    firstStorageElementAddress = readText(bytes(), identifier + 36, 4);
    frameNumber = readText(bytes(), identifier + 40, 3);
  });
}

std::string IOElemwDVCIDStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string {
    return stationToString() + "\n SCS Vendor ID ................. " + vendorId +
           "\n SCS Model ID .................. " + modelId + "\n SCS Serial Number.............. " +
           serialNumber + "\n SCS First Storage Address ..... " + firstStorageElementAddress +
           "\n SCS Frame Number  ............. " + frameNumber + sharedToString();
  });
}

void MediumTransportElemStatusDescriptor::decodeData() {
  logger->logDebug("SCSI", 0, "MediumTransportElemStatusDescriptor::decodeData");
  ElemStatusDescriptor::decodeData();
  invert = bit(9, 6);
}

std::string MediumTransportElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string {
    return "\nRobot Address " + std::to_string(elementAddress) + "\n Robot State ................... " +
           exceptToString() + sharedToString();
  });
}

void DataTransferElemStatusDescriptor::decodeData() {
  logger->logDebug("SCSI", 0, "DataTransferElemStatusDescriptor::decodeData");
  ElemStatusDescriptor::decodeData();
  access = bit(2, 3);
  invert = bit(9, 6);
  lunValid = bit(6, 7);
  idValid = bit(6, 5);
  notBus = bit(6, 4);
  lun = readByte(bytes(), 6) & 0x07;
  scsiBusAddress = readByte(bytes(), 7);
}

bool DataTransferElemStatusDescriptor::isDrivePresent() const {
  if (!except) return true;
  const bool removed = asc == 0x3B && ascq == 0x1A;
  const bool notInstalled = asc == 0x00 && ascq == 0x08;  // Windows' ERROR_DRIVE_NOT_INSTALLED
  return !removed && !notInstalled;
}

std::string DataTransferElemStatusDescriptor::driveToString(const std::string& deviceId) const {
  return "\nDrive Address " + std::to_string(elementAddress) + "\n Drive State ................... " +
         exceptToString() + (isDrivePresent() ? " (Drive Present)" : " (Drive Not Present)") +
         "\n Same Bus as Medium Changer .... " + yesNo(!notBus) + "\n Logical Unit Number ........... " +
         numberOrNone(lunValid, lun) + "\n SCSI Bus Address .............. " +
         numberOrNone(idValid, scsiBusAddress) + "\n Device ID ..................... " + deviceId +
         sharedToString();
}

std::string DataTransferElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string { return driveToString("N/A"); });
}

void DataTransferwDVCIDElemStatusDescriptor::decodeData() {
  logger->logDebug("SCSI", 0, "DataTransferwDVCIDElemStatusDescriptor::decodeData");
  DataTransferElemStatusDescriptor::decodeData();
  decodeIdentification(bytes(), primVolumeTagValid);
}

bool DataTransferwDVCIDElemStatusDescriptor::isDrivePresent() const {
  return identifierLength != 0 && DataTransferElemStatusDescriptor::isDrivePresent();
}

std::string DataTransferwDVCIDElemStatusDescriptor::toString() const {
  return guarded(std::string(), [&]() -> std::string { return driveToString(identifierToString()); });
}
