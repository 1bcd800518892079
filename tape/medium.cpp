#include "kiv/tape/medium.h"

#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {
constexpr std::uint8_t LOAD = 0x01, RETENSION = 0x02;
}

TapeCmdLoad::TapeCmdLoad(bool immediate) : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 760) {
  setCmdCode(0x1B);
  setImmedFlag(immediate);
  writeByte(cdbSpan(), 4, LOAD);
}
void TapeCmdLoad::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, 0x01, immediate); }
void TapeCmdLoad::setRetentionFlag(bool retension) { writeFlag(cdbSpan(), 4, RETENSION, retension); }
bool TapeCmdLoad::getImmedFlag() const { return hasFlag(cdbSpan(), 1, 0x01); }
bool TapeCmdLoad::getRetentionFlag() const { return hasFlag(cdbSpan(), 4, RETENSION); }
QORScsiCommand* TapeCmdLoad::createQORCommand() { return new QORTapeCmdLoad(this); }

TapeCmdUnLoad::TapeCmdUnLoad(bool retension, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 760) {
  setCmdCode(0x1B);
  setImmedFlag(immediate);
  writeFlag(cdbSpan(), 4, RETENSION, retension);
}
void TapeCmdUnLoad::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, 0x01, immediate); }
void TapeCmdUnLoad::setRetentionFlag(bool retension) {
  writeFlag(cdbSpan(), 4, RETENSION, false);
  if (retension) writeByte(cdbSpan(), 4, RETENSION);
}
QORScsiCommand* TapeCmdUnLoad::createQORCommand() { return new QORTapeCmdUnLoad(this); }

TapeCmdPreventAllowMediumRemoval::TapeCmdPreventAllowMediumRemoval(bool prevent) : GenericScsiCommand(CDB_6) {
  setCmdCode(0x1E);
  setPreventFlag(prevent);
}
void TapeCmdPreventAllowMediumRemoval::setPreventFlag(bool prevent) {
  if (prevent) writeByte(cdbSpan(), 4, 0x01);
}
QORScsiCommand* TapeCmdPreventAllowMediumRemoval::createQORCommand() {
  return new QORTapeCmdPreventAllowMediumRemoval(this);
}

TapeCmdFormat::TapeCmdFormat(std::uint8_t formatType, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 3100) {
  setCmdCode(0x04);
  setImmedFlag(immediate);
  setFormatType(formatType);
}
void TapeCmdFormat::setFormatType(std::uint8_t formatType) { writeBits(cdbSpan(), 2, 0x0F, formatType); }
void TapeCmdFormat::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, 0x01, immediate); }
QORScsiCommand* TapeCmdFormat::createQORCommand() { return new QORTapeCmdFormat(this); }

TapeCmdErase::TapeCmdErase(bool longErase, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 68000) {
  setCmdCode(0x19);
  writeFlag(cdbSpan(), 1, 0x01, longErase);
  setImmedFlag(immediate);
}
void TapeCmdErase::setLongFlag(bool) { writeFlag(cdbSpan(), 1, 0x01, true); }
void TapeCmdErase::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, 0x02, immediate); }
QORScsiCommand* TapeCmdErase::createQORCommand() { return new QORTapeCmdErase(this); }

TapeCmdSetCapacity::TapeCmdSetCapacity(std::uint16_t proportionValue, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 300) {
  setCmdCode(0x0B);
  setImmedFlag(immediate);
  setProportionVal(proportionValue);
}
void TapeCmdSetCapacity::setProportionVal(std::uint16_t proportionValue) {
  writeBigEndian(cdbSpan(), 3, 2, proportionValue);
}
void TapeCmdSetCapacity::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, 0x01, immediate); }
