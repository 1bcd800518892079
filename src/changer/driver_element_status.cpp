#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "changer/changer_driver_requests.h"
#include "changer/changer_interface.h"
#include "frame/guarded.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "platform/device_control.h"

namespace {

constexpr const char* SCSI = "SCSI";

// READ ELEMENT STATUS data (SMC-3).
constexpr ulong32 REPORT_HEADER = 8;
constexpr ulong32 PAGE_HEADER = 8;
constexpr std::uint16_t DESCRIPTOR_HEADER = 12;
constexpr std::uint16_t VOLUME_TAG = 36;
constexpr std::uint16_t IDENTIFICATION_HEADER = 4;
constexpr std::uint16_t DRIVE_IDENTIFIER = 36;
constexpr std::uint8_t FULL = 0x01;
constexpr std::uint8_t EXCEPT = 0x04;
constexpr std::uint8_t ACCESS = 0x08;
constexpr std::uint8_t SOURCE_VALID = 0x80;
constexpr std::uint8_t INVERT = 0x40;
constexpr std::uint8_t CODE_SET_ASCII = 2;
constexpr std::uint8_t T10_VENDOR_ID = 1;

/// An element type with its range in the changer, and with the bits of a descriptor's byte 2 that Windows'
/// flags carry over.
struct ElementKind {
  ChangerElementTypeCode scsi;
  ELEMENT_TYPE windows;
  WORD GET_CHANGER_PARAMETERS::*first;
  WORD GET_CHANGER_PARAMETERS::*count;
  std::uint8_t state;
};
constexpr ElementKind KINDS[] = {
    {ELEMENT_MEDIUM_TRANSPORT, ChangerTransport, &GET_CHANGER_PARAMETERS::FirstTransportNumber,
     &GET_CHANGER_PARAMETERS::NumberTransportElements, FULL},
    {ELEMENT_STORAGE, ChangerSlot, &GET_CHANGER_PARAMETERS::FirstSlotNumber,
     &GET_CHANGER_PARAMETERS::NumberStorageElements, FULL | ACCESS},
    {ELEMENT_IMPORT_EXPORT, ChangerIEPort, &GET_CHANGER_PARAMETERS::FirstIEPortNumber,
     &GET_CHANGER_PARAMETERS::NumberIEElements,
     FULL | ACCESS | ELEMENT_STATUS_IMPEXP | ELEMENT_STATUS_EXENAB | ELEMENT_STATUS_INENAB},
    {ELEMENT_DATA_TRANSFER, ChangerDrive, &GET_CHANGER_PARAMETERS::FirstDriveNumber,
     &GET_CHANGER_PARAMETERS::NumberDataTransferElements, FULL | ACCESS},
};

/// The elements of one kind that a command asks for.
struct Page {
  const ElementKind* kind;
  std::vector<CHANGER_ELEMENT_STATUS_EX> elements;
};

/// Reads the status of some elements of one kind. False when the request fails. With product data, Windows'
/// extended records are asked for, which it tells by the size of the buffer.
bool readElements(void* changer, const CHANGER_ELEMENT_LIST& list, bool volumeTags, bool productData,
                  std::vector<CHANGER_ELEMENT_STATUS_EX>& elements) {
  const std::size_t recordSize =
      productData ? sizeof(CHANGER_ELEMENT_STATUS_EX) : sizeof(CHANGER_ELEMENT_STATUS);
  CHANGER_READ_ELEMENT_STATUS request{list, static_cast<BOOLEAN>(volumeTags)};
  std::vector<std::uint8_t> answer(list.NumberOfElements * recordSize);
  const auto answered = askDevice(changer, IOCTL_CHANGER_GET_ELEMENT_STATUS, request, answer);
  if (!answered) return false;
  const std::size_t count = std::min<std::size_t>(*answered, answer.size()) / recordSize;
  elements.resize(count);
  for (std::size_t i = 0; i < count; ++i)
    std::memcpy(&elements[i], answer.data() + i * recordSize, recordSize);
  return true;
}

void copyBytes(std::span<std::uint8_t> image, std::size_t offset, const std::uint8_t* source,
               std::size_t length) {
  if (offset >= image.size()) return;
  std::copy_n(source, std::min(length, image.size() - offset),
              image.begin() + static_cast<std::ptrdiff_t>(offset));
}

void fill(std::span<std::uint8_t> image, std::size_t offset, std::size_t length, std::uint8_t value) {
  if (offset >= image.size()) return;
  std::ranges::fill(image.subspan(offset, std::min(length, image.size() - offset)), value);
}

/// A text field; what stands behind a zero byte becomes blanks, which is how SCSI pads text.
void copyText(std::span<std::uint8_t> image, std::size_t offset, const std::uint8_t* text,
              std::size_t width) {
  fill(image, offset, width, ' ');
  copyBytes(image, offset, text, static_cast<std::size_t>(std::find(text, text + width, 0) - text));
}

/// Writes one element descriptor at `offset`; what lies outside the image is dropped.
void writeDescriptor(std::span<std::uint8_t> image, std::size_t offset,
                     const GET_CHANGER_PARAMETERS& parameters, const ElementKind& kind,
                     const CHANGER_ELEMENT_STATUS_EX& element, bool volumeTags, bool identifier) {
  const auto put = [&](std::size_t at, std::size_t width, std::uint64_t value) {
    writeBigEndian(image, offset + at, width, value);
  };
  const bool except = (element.Flags & ELEMENT_STATUS_EXCEPT) != 0;
  const bool sourceValid = (element.Flags & ELEMENT_STATUS_SVALID) != 0;
  put(0, 2, QORChangerCmdElementInformation::absoluteAddress(parameters, element.Element));
  put(2, 1, (element.Flags & kind.state) | (except ? EXCEPT : 0u));
  if (except) put(4, 2, element.ExceptionCode);
  if (kind.scsi == ELEMENT_DATA_TRANSFER) {
    // NOT BUS, ID VALID and LU VALID stand in the second byte of Windows' flags as in the descriptor.
    constexpr DWORD VALID = ELEMENT_STATUS_NOT_BUS | ELEMENT_STATUS_ID_VALID | ELEMENT_STATUS_LUN_VALID;
    const bool lunValid = (element.Flags & ELEMENT_STATUS_LUN_VALID) != 0;
    put(6, 1, (element.Flags & VALID) >> 8 | (lunValid ? element.Lun & 0x07u : 0u));
    if (element.Flags & ELEMENT_STATUS_ID_VALID) put(7, 1, element.TargetId);
  }
  put(9, 1, (sourceValid ? SOURCE_VALID : 0u) | ((element.Flags & ELEMENT_STATUS_INVERT) ? INVERT : 0u));
  if (sourceValid)
    put(10, 2, QORChangerCmdElementInformation::absoluteAddress(parameters, element.SrcElementAddress));

  std::size_t end = offset + DESCRIPTOR_HEADER;
  if (volumeTags) {
    fill(image, end, VOLUME_TAG, ' ');
    if (element.Flags & ELEMENT_STATUS_PVOLTAG) copyBytes(image, end, element.PrimaryVolumeID, VOLUME_TAG);
    end += VOLUME_TAG;
  }
  if (identifier && (element.Flags & ELEMENT_STATUS_PRODUCT_DATA)) {
    const std::uint8_t header[] = {CODE_SET_ASCII, T10_VENDOR_ID, 0, DRIVE_IDENTIFIER};
    constexpr std::size_t SERIAL_NUMBER = DRIVE_IDENTIFIER - VENDOR_ID_LENGTH - PRODUCT_ID_LENGTH;
    copyBytes(image, end, header, sizeof header);
    copyText(image, end + 4, element.VendorIdentification, VENDOR_ID_LENGTH);
    copyText(image, end + 12, element.ProductIdentification, PRODUCT_ID_LENGTH);
    copyText(image, end + 28, element.SerialNumber, SERIAL_NUMBER);
  }
}

}  // namespace

ReturnCode QORChangerCmdReadElementStatus::doOperation(void* deviceHandle) {
  return guarded(CMD_NO_MEMORY, [&] {
    const auto type = static_cast<ChangerElementTypeCode>(readByte(cdbSpan(), 1) & 0x0F);
    const bool volumeTags = (readByte(cdbSpan(), 1) & 0x10) != 0;
    const bool identifier = (readByte(cdbSpan(), 6) & 0x01) != 0;
    const std::uint16_t start = readBe16(cdbSpan(), 2);
    std::uint32_t wanted = readBe16(cdbSpan(), 4);

    GET_CHANGER_PARAMETERS parameters;
    if (!getChangerParameters(deviceHandle, parameters)) {
      logger->logDebug(SCSI, 0, "QORChangerCmdReadElementStatus::getElemInfo() failed");
      return CMD_ERROR;
    }
    if (identifier && type != ELEMENT_DATA_TRANSFER) {
      logger->logDebug(SCSI, 0,
                       "QORChangerCmdReadElementStatus::readElementStatusDVCID()requested for type code [%d] "
                       "other than drive",
                       type);
      return CMD_ERROR;
    }
    CHANGER_ELEMENT startElement{};
    if (!QORChangerCmdElementInformation::translateAddress(parameters, start, startElement)) {
      logger->logDebug(SCSI, 0, "QORChangerCmdReadElementStatus invalid requested first element address - %d",
                       start);
      return CMD_ERROR;
    }
    if (identifier) {
      logger->logDebug(SCSI, 0,
                       "QORChangerCmdReadElementStatus for Drives ElementCode:%d, ElementCount:%d Address:%d",
                       type, static_cast<int>(wanted), start);
    }

    std::vector<Page> pages;
    for (const ElementKind& kind : KINDS) {
      if (type != ELEMENT_ALL && type != kind.scsi) continue;
      // A starting address before the kind's first takes all of them, one behind its last takes none.
      const std::uint32_t first = parameters.*kind.first;
      const std::uint32_t skipped = start > first ? start - first : 0;
      const std::uint32_t available = parameters.*kind.count > skipped ? parameters.*kind.count - skipped : 0;
      const std::uint32_t count = std::min(available, wanted);
      if (count == 0) continue;
      logger->logDebug(SCSI, 0, "Issuing ReadElement - EA:%d, NbrE:%d Volume%d Type:%d",
                       static_cast<int>(skipped), static_cast<int>(count), volumeTags, kind.windows);
      Page page{&kind, {}};
      if (!readElements(deviceHandle, {{kind.windows, skipped}, count}, volumeTags, identifier,
                        page.elements)) {
        logger->logDebug(SCSI, 0, "ReadElementStatus failed");
        logger->logDebug(SCSI, 0, "ReadElement failed with %d %d %d %d", static_cast<int>(skipped),
                         static_cast<int>(count), volumeTags, kind.windows);
        return CMD_ERROR;
      }
      wanted -= static_cast<std::uint32_t>(std::min<std::size_t>(page.elements.size(), wanted));
      if (!page.elements.empty()) pages.push_back(std::move(page));
    }

    std::ranges::fill(ioDataSpan(), std::uint8_t{0});
    ulong32 offset = REPORT_HEADER;
    std::size_t reported = 0;
    std::uint16_t lowest = 0xFFFF;
    for (const Page& page : pages) {
      const auto descriptorLength = static_cast<std::uint16_t>(
          getDescriptorLength4Windows(page.kind->scsi, identifier) + (volumeTags ? VOLUME_TAG : 0));
      const auto byteCount = static_cast<ulong32>(page.elements.size() * descriptorLength);
      setSubHeader(offset, page.kind->scsi, volumeTags, descriptorLength, byteCount);
      offset += PAGE_HEADER;
      for (const CHANGER_ELEMENT_STATUS_EX& element : page.elements) {
        writeDescriptor(ioDataSpan(), offset, parameters, *page.kind, element, volumeTags, identifier);
        lowest =
            std::min(lowest, QORChangerCmdElementInformation::absoluteAddress(parameters, element.Element));
        offset += descriptorLength;
      }
      reported += page.elements.size();
    }
    setHeader(reported == 0 ? std::uint16_t{0} : lowest, static_cast<std::uint16_t>(reported),
              offset - REPORT_HEADER);
    return CMD_OK;
  });
}

unsigned int QORChangerCmdReadElementStatus::findOccurence(const CHANGER_ELEMENT_STATUS* status,
                                                           unsigned int count, unsigned int type,
                                                           unsigned int& first) {
  unsigned int found = 0;
  for (unsigned int i = 0; i < count; ++i) {
    if (elementType(status[i].Element) == type && found++ == 0) first = i;
  }
  return found;
}

std::uint16_t QORChangerCmdReadElementStatus::getAddress(const std::uint8_t* bytes) {
  return bytes == nullptr ? std::uint16_t{0} : static_cast<std::uint16_t>(bytes[0] + 256 * bytes[1]);
}

std::uint16_t QORChangerCmdReadElementStatus::getSCSIDescriptorLength(ChangerElementTypeCode type) {
  return type >= ELEMENT_MEDIUM_TRANSPORT && type <= ELEMENT_DATA_TRANSFER ? DESCRIPTOR_HEADER
                                                                           : std::uint16_t{0};
}

std::uint16_t QORChangerCmdReadElementStatus::getDescriptorLength4Windows(ChangerElementTypeCode type,
                                                                          bool withIdentifier) {
  const bool hasIdentifier = withIdentifier && type == ELEMENT_DATA_TRANSFER;
  return static_cast<std::uint16_t>(getSCSIDescriptorLength(type) +
                                    (hasIdentifier ? IDENTIFICATION_HEADER + DRIVE_IDENTIFIER : 0));
}

unsigned int QORChangerCmdReadElementStatus::setHeader(std::uint16_t first, std::uint16_t count,
                                                       ulong32 byteCount) {
  if (ioDataLength < REPORT_HEADER) return 0;
  writeBigEndian(ioDataSpan(), 0, 2, first);
  writeBigEndian(ioDataSpan(), 2, 2, count);
  if (count != 0) writeBigEndian(ioDataSpan(), 5, 3, byteCount);
  logger->logDebug(
      SCSI, 0,
      "QORChangerCmdReadElementStatus::setHeader(), firstElemAddress %4.4Xh, nr elems %d, datalength %d",
      first, count, static_cast<int>(byteCount));
  return REPORT_HEADER;
}

unsigned int QORChangerCmdReadElementStatus::setSubHeader(ulong32 offset, ChangerElementTypeCode typeCode,
                                                          bool volumeTag, std::uint16_t descriptorLength,
                                                          ulong32 byteCount) {
  if (ioDataLength < PAGE_HEADER || offset > ioDataLength - PAGE_HEADER) {
    logger->logDebug(
        SCSI, 0,
        "QORChangerCmdReadElementStatus::setSubheader(), Did not write: elemDescSize %d, datalength %d",
        descriptorLength, static_cast<int>(byteCount));
    return 0;
  }
  writeBigEndian(ioDataSpan(), offset, 1, typeCode);
  writeBigEndian(ioDataSpan(), offset + 1, 1, volumeTag ? 0x80 : 0);
  writeBigEndian(ioDataSpan(), offset + 2, 2, descriptorLength);
  writeBigEndian(ioDataSpan(), offset + 5, 3, byteCount);
  logger->logDebug(
      SCSI, 0, "QORChangerCmdReadElementStatus::setSubheader(), offset %d, elemDescSize %d, datalength %d",
      static_cast<int>(offset), descriptorLength, static_cast<int>(byteCount));
  return PAGE_HEADER;
}

ReturnCode QORChangerCmdReadCartridgeLocation::doOperation(void* deviceHandle) {
  return guarded(CMD_NO_MEMORY, [&] {
    GET_CHANGER_PARAMETERS parameters;
    if (!getChangerParameters(deviceHandle, parameters)) return CMD_ERROR;
    logger->logDebug(
        SCSI, 0, "QORChangerCmdReadCartridgeLocation Transport:%d %d Drive:%d %d Slot:%d %d IE:%d %d",
        parameters.FirstTransportNumber, parameters.NumberTransportElements, parameters.FirstDriveNumber,
        parameters.NumberDataTransferElements, parameters.FirstSlotNumber, parameters.NumberStorageElements,
        parameters.FirstIEPortNumber, parameters.NumberIEElements);
    driver::CartridgeLocationRequest request{readBe16(cdbSpan(), 2), readBe16(cdbSpan(), 4)};
    logger->logDebug(SCSI, 0, "QORChangerCmdReadCartridgeLocation, element Address %d, num elements %d",
                     request.firstElementAddress, request.numberOfElements);

    std::vector<std::uint8_t> answer(sizeof(driver::CartridgeLocationHeader) +
                                     request.numberOfElements * sizeof(driver::CartridgeLocation));
    const auto answered = askDevice(deviceHandle, driver::IOCTL_CHANGER_CARTRIDGE_LOCATIONS, request, answer);
    if (!answered || *answered < sizeof(driver::CartridgeLocationHeader)) return CMD_ERROR;
    const std::size_t arrived = std::min<std::size_t>(*answered, answer.size());
    driver::CartridgeLocationHeader header;
    std::memcpy(&header, answer.data(), sizeof header);
    const std::size_t count = std::min<std::size_t>(
        header.numberOfElements, (arrived - sizeof header) / sizeof(driver::CartridgeLocation));
    logger->logDebug(SCSI, 0, "QORChangerCmdReadCartridgeLocation returned numberElem %d",
                     static_cast<int>(count));

    constexpr std::uint16_t DESCRIPTOR = DESCRIPTOR_HEADER + VOLUME_TAG + IDENTIFICATION_HEADER +
                                         sizeof(driver::CartridgeLocation::identifier);
    const auto byteCount = static_cast<ulong32>(count * DESCRIPTOR);
    std::ranges::fill(ioDataSpan(), std::uint8_t{0});
    if (count != 0) setSubHeader(REPORT_HEADER, ELEMENT_STORAGE, true, DESCRIPTOR, byteCount);
    std::uint16_t first = 0;
    for (std::size_t i = 0; i < count; ++i) {
      driver::CartridgeLocation location;
      std::memcpy(&location, answer.data() + sizeof header + i * sizeof location, sizeof location);
      if (i == 0) first = location.elementAddress;
      std::array<std::uint8_t, DESCRIPTOR> descriptor{};
      writeBigEndian(descriptor, 0, 2, location.elementAddress);
      descriptor[2] = location.state;
      descriptor[4] = location.asc;
      descriptor[5] = location.ascq;
      descriptor[9] = location.origin;
      writeBigEndian(descriptor, 10, 2, location.sourceElementAddress);
      copyBytes(descriptor, DESCRIPTOR_HEADER, location.volumeTag, VOLUME_TAG);
      const std::uint8_t identification[] = {
          location.codeSet, location.identifierType, 0,
          std::min<std::uint8_t>(location.identifierLength, sizeof location.identifier)};
      copyBytes(descriptor, DESCRIPTOR_HEADER + VOLUME_TAG, identification, sizeof identification);
      copyBytes(descriptor, DESCRIPTOR_HEADER + VOLUME_TAG + IDENTIFICATION_HEADER, location.identifier,
                sizeof location.identifier);
      copyBytes(ioDataSpan(), REPORT_HEADER + PAGE_HEADER + i * DESCRIPTOR, descriptor.data(),
                descriptor.size());
    }
    setHeader(first, static_cast<std::uint16_t>(count), count == 0 ? 0 : PAGE_HEADER + byteCount);
    return CMD_OK;
  });
}
