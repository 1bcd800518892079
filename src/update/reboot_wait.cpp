#include "device/handle.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/update/update_firmware.h"
#include "platform/device_control.h"
#include "scsi/sense.h"
#include "update/update_observer.h"

namespace {

// Milliseconds.
constexpr DWORD RESTART_TIME = 15000;
constexpr DWORD LONG_PAUSE = 5000;
constexpr DWORD SHORT_PAUSE = 1000;

constexpr int MAXIMUM_RESTART_PROBES = 10;
constexpr int MAXIMUM_READY_PROBES = 150;
constexpr int MAXIMUM_RESCANS = 20;

/// Waits for the first sense data: what a drive has to say when it is back. The first of two probes takes the
/// unit attention that the restart left behind; the second finds out how the drive itself is.
void waitForSense(ScsiTarget& target, ScsiCmdTestUnitReady& probe) {
  for (int i = 0; i < MAXIMUM_RESTART_PROBES; ++i) {
    target.scsiExecCDB(probe);
    target.scsiExecCDB(probe);
    if (readByte(probe.senseSpan(), 0) != 0) {
      pause(SHORT_PAUSE);
      logger->logInfo("DLFW", 0, "Sense Data valid, Drive reboot completed");
      return;
    }
    if (!pause(LONG_PAUSE)) return;
  }
}

/// Whether the sense data say that the restart is over; waits a while when they say that it goes on.
bool isRestartOver(const ScsiCmdTestUnitReady& probe) {
  if (hasSense(probe, MEDIUM_NOT_PRESENT)) {
    logger->logDebug("DLFW", 0, "Media is removed after Code Update");
    return true;
  }
  if (hasSense(probe, INITIALIZATION_REQUIRED)) {
    logger->logDebug("DLFW", 0, "Download Firmware: Init Required");
    return true;
  }
  if (hasSense(probe, SELF_CONFIGURING)) {
    logger->logDebug("DLFW", 0, "Selftest in progress");
    pause(SHORT_PAUSE);
  }
  return false;
}

/// Probes until the drive is ready, or as ready as it gets without a cartridge. A device that fails without
/// sense data is one that the port driver lost: it is looked for again.
void waitForReady(UpdateFirmware& steps, ScsiTarget& target, ScsiCmdTestUnitReady& probe) {
  for (int i = 0; i < MAXIMUM_READY_PROBES && goesOn(); ++i) {
    logger->logDebug("DLFW", 0, "TUR Loop %d ", i);
    if (target.scsiExecCDB(probe) == CMD_OK) return;
    logDump("TSTS", "Test Unit Ready Sense Data", probe.senseSpan());
    if (probe.isSenseDataValid()) {
      if (isRestartOver(probe)) return;
    } else if (target.scsiExecCDB(probe) != CMD_OK && !probe.isSenseDataValid()) {
      logger->logDebug("DLFW", 0,
                       "Update Firmware has detected the Bug in the Windows Port driver. Try workaround");
      steps.rescan4Device(&target);
    }
  }
}

/// Has the port driver behind a device path look for its devices again. The outcome shows at the next open.
void rescanBus(const char* path, int attempt) {
  guarded([&] {
    const Handle port = openShared(path);
    if (!port) return;
    logger->logDebug("TSTS", 0, "Firmware Update %s IOCTL_SCSI_RESCAN_BUS #%d", path, attempt);
    commandDevice(port.get(), IOCTL_SCSI_RESCAN_BUS);
  });
}

}  // namespace

int UpdateFirmware::wait4RebootComplete(ScsiTarget* target) {
  ScsiCmdTestUnitReady probe;
  target->resetDevice();
  pause(RESTART_TIME);
  waitForSense(*target, probe);
  waitForReady(*this, *target, probe);

  ScsiCmdInquiry inquiry(0, false, 36);
  if (target->scsiExecCDB(inquiry) != CMD_OK) {
    if (updateObserver()) updateObserver()->failed(inquiry);
    return FW_REBOOT_FAILED;
  }
  logger->logDebug("DLFW", 0, "Download Firmware  OK, New Firmware level is %s",
                   inquiry.getRevisionLevel().c_str());
  return FW_NO_ERROR;
}

int UpdateFirmware::rescan4Device(ScsiTarget* target) {
  logger->logDebug("TSTS", 0, "Windows Work Around Routine");
  target->closeDevice();
  for (int i = 0; i < MAXIMUM_RESCANS; ++i) {
    rescanBus(target->getDriverName(), i);
    if (target->openDevice() == CMD_OK) {
      ScsiCmdInquiry inquiry(0, false, 36);
      if (target->scsiExecCDB(inquiry) == CMD_OK) {
        logger->logDebug("TSTS", 0, "Windows Work Around Inquiry passed %d",
                         static_cast<int>(inquiry.getExecutionStatus()));
        return FW_NO_ERROR;
      }
    }
    if (!pause(LONG_PAUSE)) break;
  }
  return FW_REBOOT_FAILED;
}
