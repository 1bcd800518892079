#include "kiv/tape/medium.h"

#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_unsupported.h"
#include "tape/fields.h"

namespace {

constexpr std::uint8_t FORMAT_MEDIUM = 0x04;
constexpr std::uint8_t SET_CAPACITY = 0x0B;
constexpr std::uint8_t ERASE_6 = 0x19;
constexpr std::uint8_t LOAD_UNLOAD = 0x1B;
constexpr std::uint8_t PREVENT_ALLOW_MEDIUM_REMOVAL = 0x1E;

constexpr std::uint8_t IMMED = 0x01;
constexpr std::uint8_t ERASE_LONG = 0x01;
constexpr std::uint8_t ERASE_IMMED = 0x02;
constexpr std::uint8_t LOAD = 0x01;
constexpr std::uint8_t RETENSION = 0x02;

}  // namespace

TapeCmdLoad::TapeCmdLoad(bool immediate) : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 760) {
  setCmdCode(LOAD_UNLOAD);
  setImmedFlag(immediate);
  writeByte(cdbSpan(), 4, LOAD);
}
void TapeCmdLoad::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, IMMED, immediate); }
void TapeCmdLoad::setRetentionFlag(bool retension) { writeFlag(cdbSpan(), 4, RETENSION, retension); }
bool TapeCmdLoad::getImmedFlag() const { return hasFlag(cdbSpan(), 1, 0x01); }
bool TapeCmdLoad::getRetentionFlag() const { return hasFlag(cdbSpan(), 4, RETENSION); }
QORScsiCommand* TapeCmdLoad::createQORCommand() { return new QORTapeCmdLoad(this); }

TapeCmdUnLoad::TapeCmdUnLoad(bool retension, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 760) {
  setCmdCode(LOAD_UNLOAD);
  setImmedFlag(immediate);
  writeFlag(cdbSpan(), 4, RETENSION, retension);
}
void TapeCmdUnLoad::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, IMMED, immediate); }
void TapeCmdUnLoad::setRetentionFlag(bool retension) {
  writeFlag(cdbSpan(), 4, RETENSION, false);
  if (retension) writeByte(cdbSpan(), 4, RETENSION);
}
QORScsiCommand* TapeCmdUnLoad::createQORCommand() { return new QORTapeCmdUnLoad(this); }

TapeCmdPreventAllowMediumRemoval::TapeCmdPreventAllowMediumRemoval(bool prevent) : GenericScsiCommand(CDB_6) {
  setCmdCode(PREVENT_ALLOW_MEDIUM_REMOVAL);
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
  setCmdCode(FORMAT_MEDIUM);
  setImmedFlag(immediate);
  setFormatType(formatType);
}
void TapeCmdFormat::setFormatType(std::uint8_t formatType) { writeBits(cdbSpan(), 2, 0x0F, formatType); }
void TapeCmdFormat::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, IMMED, immediate); }
QORScsiCommand* TapeCmdFormat::createQORCommand() { return new QORTapeCmdFormat(this); }

TapeCmdErase::TapeCmdErase(bool longErase, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 68000) {
  setCmdCode(ERASE_6);
  writeFlag(cdbSpan(), 1, ERASE_LONG, longErase);
  setImmedFlag(immediate);
}
void TapeCmdErase::setLongFlag(bool) { writeFlag(cdbSpan(), 1, ERASE_LONG, true); }
void TapeCmdErase::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, ERASE_IMMED, immediate); }
QORScsiCommand* TapeCmdErase::createQORCommand() { return new QORTapeCmdErase(this); }

TapeCmdSetCapacity::TapeCmdSetCapacity(std::uint16_t proportionValue, bool immediate)
    : GenericScsiCommand(CDB_6, SCSI_DATA_NONE, 0, 300) {
  setCmdCode(SET_CAPACITY);
  setImmedFlag(immediate);
  setProportionVal(proportionValue);
}
void TapeCmdSetCapacity::setProportionVal(std::uint16_t proportionValue) {
  writeBigEndian(cdbSpan(), 3, 2, proportionValue);
}
void TapeCmdSetCapacity::setImmedFlag(bool immediate) { writeFlag(cdbSpan(), 1, IMMED, immediate); }
