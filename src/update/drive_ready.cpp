#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/medium.h"
#include "kiv/update/update_firmware.h"
#include "platform/win32.h"
#include "scsi/sense.h"
#include "update/update_observer.h"

namespace {

constexpr int MAXIMUM_PROBES = 200;
constexpr DWORD PROBE_PAUSE = 1000;  // milliseconds

/// Probes until the drive either is ready or says why it will not be soon.
void waitForAnswer(ScsiTarget& target, ScsiCmdTestUnitReady& probe) {
  for (int i = 0; i < MAXIMUM_PROBES && goesOn(); ++i) {
    if (target.scsiExecCDB(probe) == CMD_OK) return;
    if (hasSense(probe, INITIALIZATION_REQUIRED)) {
      logger->logDebug("DLFW", 0, "Unit not ready, Media Load/Unload in progress");
      return;
    }
    if (hasSense(probe, MEDIUM_NOT_PRESENT)) {
      logger->logDebug("DLFW", 0, "Media is removed");
      return;
    }
    if (hasSense(probe, SELF_CONFIGURING) || hasSense(probe, BECOMING_READY)) pause(PROBE_PAUSE);
  }
}

/// Takes the cartridge out. A failure is only logged: the probe that follows decides.
void unloadCartridge(ScsiTarget& target) {
  constexpr char UNSUPPORTED[] = "Firmware download is not supported with a loaded cartrigde";
  logger->logDebug("DLFW", 0, UNSUPPORTED);
  TapeCmdUnLoad unload(false, false);
  if (target.scsiExecCDB(unload) == CMD_OK) {
    logger->logDebug("DLFW", 0, "Media succesfully unloaded");
    if (updateObserver()) updateObserver()->ejected();
    return;
  }
  if (updateObserver()) updateObserver()->failed(unload);
  logger->logDebug("DLFW", 0, "Could not unload cartridge");
  logDump("DLFW", "UnLoad Sense Data", unload.senseSpan());
  logger->logDebug("DLFW", 0, UNSUPPORTED);
}

}  // namespace

int UpdateFirmware::wait4DriveReady(ScsiTarget* target) {
  logger->logDebug("DLFW", 0, "Download Firmware: wait4DriveReady");
  ScsiCmdTestUnitReady probe;
  waitForAnswer(*target, probe);
  if (!goesOn()) return FW_DEVICE_DISCONNECTED;
  // The wait may have ended without an answer: the state and the sense data of this probe count.
  bool loaded = target->scsiExecCDB(probe) == CMD_OK;
  if (loaded) {
    logDump("DLFW", "TUR Sense Data", probe.senseSpan());
    unloadCartridge(*target);
    loaded = target->scsiExecCDB(probe) == CMD_OK;
    logDump("DLFW", "TUR II Sense Data", probe.senseSpan());
  }
  if (!loaded && hasSense(probe, MEDIUM_NOT_PRESENT)) {
    logger->logDebug("DLFW", 0, "Download Firmware: No Media is loaded");
    return FW_NO_ERROR;
  }
  // New firmware may be what frees a stuck cartridge.
  if (!loaded && probe.getSenseKey() == HARDWARE_ERROR) {
    logger->logDebug("DLFW", 0, "Download Firmware: Stuck Cardrigde");
    return FW_NO_ERROR;
  }
  if (!loaded && hasSense(probe, INITIALIZATION_REQUIRED)) {
    logger->logDebug("DLFW", 0, "Download Firmware: Init Required");
    return FW_NO_ERROR;
  }
  if (updateObserver()) updateObserver()->failed(probe);
  logger->logDebug("DLFW", 0, "Download Firmware: End of TUR Loop");
  return FW_DEVICE_DISCONNECTED;
}
