#include "kiv/tape/medium.h"

#include "scsi/cdb.h"

// clang-format off
TapeCmdLoad::TapeCmdLoad(bool immediate)
    : GenericScsiCommand(cdbOf(LOAD_UNLOAD, immediate, Be16(0), 0x01, 0), SCSI_DATA_NONE, 0, 760) {}
void TapeCmdLoad::setImmedFlag(bool immediate) { putBits(1, 0x01, immediate); }
void TapeCmdLoad::setRetentionFlag(bool retension) { putBits(4, 0x02, retension); }
bool TapeCmdLoad::getImmedFlag() const { return hasFlag(cdbSpan(), 1, 0x01); }
bool TapeCmdLoad::getRetentionFlag() const { return hasFlag(cdbSpan(), 4, 0x02); }

TapeCmdUnLoad::TapeCmdUnLoad(bool retension, bool immediate)
    : GenericScsiCommand(cdbOf(LOAD_UNLOAD, immediate, Be16(0), retension << 1, 0), SCSI_DATA_NONE, 0, 760) {}
void TapeCmdUnLoad::setImmedFlag(bool immediate) { putBits(1, 0x01, immediate); }
void TapeCmdUnLoad::setRetentionFlag(bool retension) { retension ? putNumber(4, 1, 0x02) : putBits(4, 0x02, 0); }

TapeCmdPreventAllowMediumRemoval::TapeCmdPreventAllowMediumRemoval(bool prevent)
    : GenericScsiCommand(cdbOf(PREVENT_ALLOW_MEDIUM_REMOVAL, Be24(0), prevent, 0)) {}
void TapeCmdPreventAllowMediumRemoval::setPreventFlag(bool prevent) { if (prevent) putNumber(4, 1, 0x01); }

TapeCmdFormat::TapeCmdFormat(std::uint8_t formatType, bool immediate)
    : GenericScsiCommand(cdbOf(FORMAT_MEDIUM, immediate, formatType & 0x0F, Be16(0), 0), SCSI_DATA_NONE, 0, 3100) {}
void TapeCmdFormat::setFormatType(std::uint8_t formatType) { putBits(2, 0x0F, formatType); }
void TapeCmdFormat::setImmedFlag(bool immediate) { putBits(1, 0x01, immediate); }

TapeCmdErase::TapeCmdErase(bool longErase, bool immediate)
    : GenericScsiCommand(cdbOf(ERASE_6, longErase | immediate << 1, Be24(0), 0), SCSI_DATA_NONE, 0, 68000) {}
void TapeCmdErase::setLongFlag(bool /*longErase*/) { putBits(1, 0x01, 1); }
void TapeCmdErase::setImmedFlag(bool immediate) { putBits(1, 0x02, immediate); }

TapeCmdSetCapacity::TapeCmdSetCapacity(std::uint16_t proportionValue, bool immediate)
    : GenericScsiCommand(cdbOf(SET_CAPACITY, immediate, 0, Be16(proportionValue), 0), SCSI_DATA_NONE, 0, 300) {}
void TapeCmdSetCapacity::setProportionVal(std::uint16_t proportionValue) { putNumber(3, 2, proportionValue); }
void TapeCmdSetCapacity::setImmedFlag(bool immediate) { putBits(1, 0x01, immediate); }
