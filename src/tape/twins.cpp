// A twin without a row here is built by who wants it: driver_unsupported.h and driver_information.h tell why.
#include "kiv/frame/logger.h"
#include "kiv/tape/data_transfer.h"
#include "kiv/tape/diagnostics.h"
#include "kiv/tape/display_message.h"
#include "kiv/tape/driver_data_transfer.h"
#include "kiv/tape/driver_medium.h"
#include "kiv/tape/driver_positioning.h"
#include "kiv/tape/driver_security.h"
#include "kiv/tape/driver_unsupported.h"
#include "kiv/tape/information.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"
#include "scsi/twin.h"

TWIN(TapeCmdChannelCalibration, QORTapeCmdChannelCalibration)
TWIN(TapeCmdErase, QORTapeCmdErase)
TWIN(TapeCmdForceDump, QORTapeCmdForceDump)
TWIN(TapeCmdFormat, QORTapeCmdFormat)
TWIN(TapeCmdLoad, QORTapeCmdLoad)
TWIN(TapeCmdLocate, QORTapeCmdLocate)
TWIN(TapeCmdLocate16, QORTapeCmdLocate16)
TWIN(TapeCmdLogSelect, QORTapeCmdLogSelect)
TWIN(TapeCmdModeSelect6, QORTapeCmdModeSelect6)
TWIN(TapeCmdPersistentReserveIn, QORTapeCmdPersistentReserveIn)
TWIN(TapeCmdPersistentReserveOut, QORTapeCmdPersistentReserveOut)
TWIN(TapeCmdPostA, QORTapeCmdPostA)
TWIN(TapeCmdPostB, QORTapeCmdPostB)
TWIN(TapeCmdPostC, QORTapeCmdPostC)
TWIN(TapeCmdPostD, QORTapeCmdPostD)
TWIN(TapeCmdPreventAllowMediumRemoval, QORTapeCmdPreventAllowMediumRemoval)
TWIN(TapeCmdQueryLogicalBlockProtection, QORTapeCmdQueryLogicalBlockProtection)
TWIN(TapeCmdRead6, QORTapeCmdRead6)
TWIN(TapeCmdReadAttribute, QORTapeCmdReadAttribute)
TWIN(TapeCmdReadBlockLimits, QORTapeCmdReadBlockLimits)
TWIN(TapeCmdReadThermalSensor, QORTapeCmdReadThermalSensor)
TWIN(TapeCmdReleaseUnit6, QORTapeCmdReleaseUnit6)
TWIN(TapeCmdReportDensitySupport, QORTapeCmdReportDensitySupport)
TWIN(TapeCmdReportDynamicRuntimeInformation, QORTapeCmdReportDynamicRuntimeInformation)
TWIN(TapeCmdReportTimeStamp, QORTapeCmdReportTimeStamp)
TWIN(TapeCmdReserveUnit6, QORTapeCmdReserveUnit6)
TWIN(TapeCmdResetDevice, QORTapeCmdResetDevice)
TWIN(TapeCmdRewind, QORTapeCmdRewind)
TWIN(TapeCmdSecurityProtocolIn, QORTapeCmdSecurityProtocolIn)
TWIN(TapeCmdSecurityProtocolOut, QORTapeCmdSecurityProtocolOut)
TWIN(TapeCmdSpace, QORTapeCmdSpace)
TWIN(TapeCmdTestEncryption, QORTapeCmdTestEncryption)
TWIN(TapeCmdUnLoad, QORTapeCmdUnLoad)
TWIN(TapeCmdVerify, QORTapeCmdVerify)
TWIN(TapeCmdWrite6, QORTapeCmdWrite6)
TWIN(TapeCmdWriteAttribute, QORTapeCmdWriteAttribute)
TWIN(TapeCmdWriteFileMarks, QORTapeCmdWriteFileMarks)

QORScsiCommand* TapeCmdReadPosition::createQORCommand() {
  return new QORTapeCmdReadPosition(this, blockFormatPhysical);
}

QORScsiCommand* TapeCmdDisplayMessage::createQORCommand() {
  logger->logDebug("SCSI", 0, "TapeCmdDisplayMessage, createQORCommand");
  return new QORTapeCmdDisplayMessage(this);
}
