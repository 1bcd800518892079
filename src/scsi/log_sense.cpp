#include <cstddef>

#include "frame/guarded.h"
#include "kiv/frame/text.h"
#include "kiv/scsi/standard_commands.h"
#include "scsi/cdb.h"
#include "scsi/text_field.h"

namespace {

constexpr std::size_t PAGE_HEADER = 4;
constexpr std::size_t PARAMETER_HEADER = 4;
constexpr std::uint8_t INTEGER_WIDTH = 8;

std::uint8_t parameterLength(std::span<const std::uint8_t> page, std::size_t offset) {
  return readByte(page, offset + 3);
}

bool holds(std::span<const std::uint8_t> page, std::size_t offset, std::size_t length) {
  return offset + length <= page.size();
}

/// Whether a parameter is there with its whole value.
bool holdsParameter(std::span<const std::uint8_t> page, std::size_t offset) {
  return holds(page, offset, PARAMETER_HEADER) &&
         holds(page, offset + PARAMETER_HEADER, parameterLength(page, offset));
}

}  // namespace

ScsiCmdLogSense::ScsiCmdLogSense(std::uint8_t pageControl, std::uint8_t pageCode,
                                 std::uint16_t parameterPointer, std::uint16_t allocationLength)
    : GenericScsiCommand(cdbOf(LOG_SENSE, 0, pageControl << 6 | pageCode, 0, 0, Be16(parameterPointer),
                               Be16(allocationLength), 0),
                         SCSI_DATA_IN, allocationLength, 300) {}
void ScsiCmdLogSense::setPageControl(std::uint8_t pageControl) { putBits(2, 0xC0, pageControl); }
void ScsiCmdLogSense::setParameterPointer(std::uint16_t parameterPointer) {
  putNumber(5, 2, parameterPointer);
}
ReturnCode ScsiCmdLogSense::setTransferLength(std::uint16_t allocationLength) {
  return putLength(7, 2, allocationLength);
}
void ScsiCmdLogSense::setPageCode(std::uint8_t pageCode) {
  putNumber(2, 1, (readByte(cdbSpan(), 2) & 0xC0u) | pageCode);
}
void ScsiCmdLogSense::setSubpageCode(std::uint8_t subpageCode) {
  if (subpageCode == 0) return;
  // The devices take the subpage without a subpage-format bit; 40h is in the operation code already.
  putBits(0, 0x40, 1);
  putNumber(3, 1, subpageCode);
}

std::uint16_t ScsiCmdLogSense::getPageLength() const {
  const bool hasHeader = getExecutionStatus() == CMD_OK && getIoDataLength() >= PAGE_HEADER;
  return hasHeader ? readBe16(ioDataSpan(), 2) : std::uint16_t{0};
}

std::uint16_t ScsiCmdLogSense::getParameterOffset(std::uint16_t code) const {
  const auto page = ioDataSpan();
  const std::size_t end = getPageLength();
  if (end > page.size()) return 0;
  for (std::size_t offset = PAGE_HEADER; offset < end;) {
    if (!holds(page, offset, PARAMETER_HEADER)) return 0;
    if (readBe16(page, offset) == code) return static_cast<std::uint16_t>(offset);
    const std::uint8_t length = parameterLength(page, offset);
    if (length == 0) return 0;
    offset += PARAMETER_HEADER + length;
  }
  return 0;
}

std::uint64_t ScsiCmdLogSense::getAttributeValue(std::uint16_t code) const {
  const std::size_t offset = getParameterOffset(code);
  if (offset == 0 || !holdsParameter(ioDataSpan(), offset)) return 0;
  return readBigEndian(ioDataSpan(), offset + PARAMETER_HEADER, parameterLength(ioDataSpan(), offset));
}

ReturnCode ScsiCmdLogSense::isAttributeSupported(std::uint16_t code) const {
  return getParameterOffset(code) != 0 ? CMD_OK : CMD_NOT_SUPPORTED;
}

ReturnCode ScsiCmdLogSense::isAttributeTypeInteger(std::uint16_t code) const {
  const std::size_t offset = getParameterOffset(code);
  return offset != 0 && parameterLength(ioDataSpan(), offset) <= INTEGER_WIDTH ? CMD_OK : CMD_ERROR;
}

bool ScsiCmdLogSense::getParameter(std::uint16_t offset, std::uint16_t& code, std::uint8_t& length,
                                   std::uint64_t& value) const {
  code = 0;
  length = 0;
  value = 0;
  if (getPageLength() <= offset || !holds(ioDataSpan(), offset, PARAMETER_HEADER)) return false;
  code = readBe16(ioDataSpan(), offset);
  length = parameterLength(ioDataSpan(), offset);
  if (length == 0 || length > INTEGER_WIDTH || !holdsParameter(ioDataSpan(), offset)) return false;
  value = readBigEndian(ioDataSpan(), offset + PARAMETER_HEADER, length);
  return true;
}

std::string ScsiCmdLogSense::getAttributeValueAsString(std::uint16_t code) const {
  return guarded(std::string(), [&]() -> std::string {
    const std::size_t offset = getParameterOffset(code);
    if (offset == 0 || !holdsParameter(ioDataSpan(), offset)) return {};
    if (isAttributeTypeInteger(code) == CMD_OK) return std::to_string(getAttributeValue(code));
    std::string text =
        readText(ioDataSpan(), offset + PARAMETER_HEADER, parameterLength(ioDataSpan(), offset));
    trimString(text, "\r\n\t");
    return text;
  });
}
