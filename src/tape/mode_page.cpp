#include "tape/mode_page.h"

#include <algorithm>

#include "device/arrived_data.h"
#include "kiv/device/driver_target.h"
#include "kiv/scsi/big_endian.h"
#include "scsi/cdb.h"
#include "scsi/fields.h"

namespace {

constexpr std::uint8_t MOST_MODE_DATA = 255;
constexpr std::size_t BLOCK_DESCRIPTOR_LENGTH_BYTE = 3;
constexpr std::size_t PAGE_CODE_BYTE = 4;

/// Header, page header and page.
std::size_t pageListLength(const ModePage& page, const SenseModePage& sensed) {
  return page.subpage ? sensed[7] + std::size_t{8} : sensed[5] + std::size_t{6};
}

}  // namespace

SenseModePage::SenseModePage(const ModePage& page, std::uint8_t senseBytes, bool blockDescriptors)
    : ScsiCmdModeSense6(!blockDescriptors, 0, page.code, MOST_MODE_DATA) {
  setSubPageCode(page.subpage);
  setSenseDataLength(senseBytes);
}

ReturnCode SenseModePage::execute(ScsiTarget& target) {
  const ReturnCode status = target.scsiExecCDB(*this);
  arrivedLength = 0;
  if (status == CMD_OK && getIoDataLength() > 0) {
    const std::size_t told = ioDataSpan()[0] + std::size_t{1};
    arrivedLength = std::min(told, arrivedData(target, *this).size());
  }
  return status;
}

bool SenseModePage::brought(const ModePage& page, std::size_t end) const {
  const bool subpageFormat = hasFlag(arrived(), PAGE_CODE_BYTE, 0x40);
  const bool same = ((*this)[PAGE_CODE_BYTE] & 0x3F) == page.code && subpageFormat == (page.subpage != 0) &&
                    (page.subpage == 0 || (*this)[PAGE_CODE_BYTE + 1] == page.subpage);
  return same && holds(end) && pageListLength(page, *this) >= end && holds(pageListLength(page, *this));
}

std::uint8_t SenseModePage::operator[](std::size_t offset) const { return readByte(arrived(), offset); }

SelectModePage::SelectModePage(const ModePage& page, const SenseModePage& sensed)
    : SelectModePage(pageListLength(page, sensed), sensed) {
  writeBits(list(), PAGE_CODE_BYTE, page.subpage ? 0x80 : 0xC0, 0);
  // The driver leaves the length of the block descriptors in the header although it takes them out.
  writeByte(list(), BLOCK_DESCRIPTOR_LENGTH_BYTE, 0);
  if (page.saved) writeByte(cdbSpan(), 1, 0x01);
}

SelectModePage::SelectModePage(std::size_t listLength, const SenseModePage& sensed)
    : ScsiCmdModeSelect6(static_cast<std::uint8_t>(std::min<std::size_t>(listLength, MOST_MODE_DATA))) {
  setSenseDataLength(sensed.getSenseDataLength());
  std::ranges::copy_n(sensed.getIoData(), std::min(sensed.getIoDataLength(), getIoDataLength()), getIoData());
  writeByte(list(), 0, 0);
}

ReturnCode runStep(ScsiCommand& whole, ScsiTarget& target, SenseModePage& step) {
  const ReturnCode status = step.execute(target);
  whole.takeoverCmdData(step);
  return status;
}

ReturnCode runStep(ScsiCommand& whole, ScsiTarget& target, GenericScsiCommand& step) {
  const ReturnCode status = target.scsiExecCDB(step);
  whole.takeoverCmdData(step);
  return status;
}

ReturnCode runStep(ScsiCommand& whole, QORScsiTarget& driver, QORScsiCommand& step) {
  const ReturnCode status = driver.scsiExecCmd(step);
  whole.takeoverCmdData(step);
  return status;
}

QORScsiTarget* driverForParameter(ScsiTarget* target, ParamType type) {
  return type == PARAM_WRITE_CACHE ? nullptr : dynamic_cast<QORScsiTarget*>(target);
}
