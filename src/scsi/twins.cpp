#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "scsi/twin.h"

TWIN(ScsiCmdInquiry, QORScsiCmdInquiry)
TWIN(ScsiCmdModeSelect6, QORScsiCmdModeSelect6)
TWIN(ScsiCmdModeSense6, QORScsiCmdModeSense6)
TWIN(ScsiCmdReadBuffer, QORScsiCmdReadBuffer)
TWIN(ScsiCmdReadCapacity, QORScsiCmdReadCapacity)
TWIN(ScsiCmdReceiveDiagnostic, QORScsiCmdReceiveDiagnostic)
TWIN(ScsiCmdReportLuns, QORScsiCmdReportLuns)
TWIN(ScsiCmdRequestSense, QORScsiCmdRequestSense)
TWIN(ScsiCmdSendDiagnostic, QORScsiCmdSendDiagnostic)
TWIN(ScsiCmdTestUnitReady, QORScsiCmdTestUnitReady)
TWIN(ScsiCmdWriteBuffer, QORScsiCmdWriteBuffer)

QORScsiCommand* ScsiCmdLogSense::createQORCommand() { return new QORScsiCmdLogSense(this, forcePassthrough); }
