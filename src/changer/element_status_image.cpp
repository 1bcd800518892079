#include "changer/element_status_image.h"

#include <algorithm>

#include "changer/element_status_layout.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"

namespace {

// Bits of an element descriptor's byte 2.
constexpr std::uint8_t FULL = 0x01;
constexpr std::uint8_t EXCEPT = 0x04;
constexpr std::uint8_t ACCESS = 0x08;

/// By element type code: those of them that Windows' flags carry over.
constexpr DWORD STATE_FLAGS[] = {
    0,
    FULL,
    FULL | ACCESS,
    FULL | ACCESS | ELEMENT_STATUS_IMPEXP | ELEMENT_STATUS_EXENAB | ELEMENT_STATUS_INENAB,
    FULL | ACCESS,
};

// Bits of an element descriptor's byte 9.
constexpr std::uint8_t SOURCE_VALID = 0x80;
constexpr std::uint8_t INVERT = 0x40;

constexpr std::uint8_t CODE_SET_ASCII = 2;
constexpr std::uint8_t T10_VENDOR_ID = 1;
constexpr std::uint8_t DRIVE_IDENTIFIER = 36;

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

}  // namespace

void copyBytes(std::span<std::uint8_t> image, std::size_t offset, const std::uint8_t* source,
               std::size_t length) {
  if (offset >= image.size()) return;
  std::copy_n(source, std::min(length, image.size() - offset),
              image.begin() + static_cast<std::ptrdiff_t>(offset));
}

void writeDescriptor(std::span<std::uint8_t> image, std::size_t offset,
                     const GET_CHANGER_PARAMETERS& parameters, const ElementKind& kind,
                     const CHANGER_ELEMENT_STATUS_EX& element, bool volumeTags, bool identifier) {
  const auto put = [&](std::size_t at, std::size_t width, std::uint64_t value) {
    writeBigEndian(image, offset + at, width, value);
  };
  const bool except = (element.Flags & ELEMENT_STATUS_EXCEPT) != 0;
  const bool sourceValid = (element.Flags & ELEMENT_STATUS_SVALID) != 0;
  put(0, 2, QORChangerCmdElementInformation::absoluteAddress(parameters, element.Element));
  put(2, 1, (element.Flags & STATE_FLAGS[kind.scsi]) | (except ? EXCEPT : 0u));
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
      "SCSI", 0,
      "QORChangerCmdReadElementStatus::setHeader(), firstElemAddress %4.4Xh, nr elems %d, datalength %d",
      first, count, static_cast<int>(byteCount));
  return REPORT_HEADER;
}

unsigned int QORChangerCmdReadElementStatus::setSubHeader(ulong32 offset, ChangerElementTypeCode typeCode,
                                                          bool volumeTag, std::uint16_t descriptorLength,
                                                          ulong32 byteCount) {
  if (ioDataLength < PAGE_HEADER || offset > ioDataLength - PAGE_HEADER) {
    logger->logDebug(
        "SCSI", 0,
        "QORChangerCmdReadElementStatus::setSubheader(), Did not write: elemDescSize %d, datalength %d",
        descriptorLength, static_cast<int>(byteCount));
    return 0;
  }
  writeBigEndian(ioDataSpan(), offset, 1, typeCode);
  writeBigEndian(ioDataSpan(), offset + 1, 1, volumeTag ? 0x80 : 0);
  writeBigEndian(ioDataSpan(), offset + 2, 2, descriptorLength);
  writeBigEndian(ioDataSpan(), offset + 5, 3, byteCount);
  logger->logDebug(
      "SCSI", 0, "QORChangerCmdReadElementStatus::setSubheader(), offset %d, elemDescSize %d, datalength %d",
      static_cast<int>(offset), descriptorLength, static_cast<int>(byteCount));
  return PAGE_HEADER;
}
