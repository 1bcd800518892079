#include "kiv/update/update_firmware.h"

#include <cstring>
#include <iterator>

#include "config/configuration_file.h"
#include "frame/guarded.h"
#include "kiv/config/config_filename.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/update/scan_bus.h"
#include "platform/win32.h"
#include "update/firmware_image.h"
#include "update/product_string.h"
#include "update/report.h"

namespace {

constexpr DWORD PAUSE_BEFORE_CLOSE = 1000;  // milliseconds

/// What the log says of each result code, from 0 on; codes above need no further word.
constexpr const char* OUTCOMES[] = {
    "Firmware upgrade succesful",
    "Warning - DEVICE DISCONNECTED - RESCAN REQUIRED",
    "Error - Invalid file name",
    "Error - Firmware file is corrupted",
    "Error - Update failed",
    "Error - Rebooting of device failed",
    "Error - Invalid SCSI address selected",
};

/// Empties the drive, downloads the image and waits for the restart.
int writeFirmware(UpdateFirmware& steps, ScsiTarget* target, const std::string& filename) {
  FirmwareImage image;
  int result = steps.wait4DriveReady(target);
  if (result == FW_NO_ERROR)
    result = steps.loadBinaryMicrocodeFile(filename.c_str(), &image.bytes, &image.length);
  if (result == FW_NO_ERROR) result = steps.performFirmwareUpdate(target, image.bytes, image.length);
  if (result == FW_NO_ERROR) result = steps.wait4RebootComplete(target);
  return result;
}

/// Brings a drive to its configured level; `upToDate` tells that it was there already.
int bringToLevel(UpdateFirmware& steps, ScsiTarget* target, bool force, bool& upToDate) {
  target->openDevice();
  std::string filename;
  std::string level;
  if (const int result = steps.getUCodeLevelAndFilename(target, filename, level)) return result;
  if (!force) {
    const char* current = target->getFirmwareVersion();
    const int order = std::strcmp(level.c_str(), current);
    upToDate = order == 0;
    if (upToDate) return FW_NO_ERROR;
    if (order < 0) {
      logger->logDebug("MAIN", 0, "Invalid microcode level (%s<==>%s) force is not set (FW_INVALID_UCODE)",
                       current, level.c_str());
      return FW_INVALID_UCODE;
    }
  }
  return writeFirmware(steps, target, filename);
}

}  // namespace

UpdateFirmware::UpdateFirmware() = default;
UpdateFirmware::~UpdateFirmware() = default;

int UpdateFirmware::updateFirmware(int deviceIndex, int outputMode, bool force) {
  showResultHeader(outputMode);
  const int result = doUpdateFirmware(deviceIndex, outputMode, force);
  showUpdateResult(deviceIndex, outputMode, result);
  showResultTrailer(outputMode);
  return result;
}

int UpdateFirmware::updateFirmwareAllDevices(int outputMode, bool force) {
  applyOutputMode(outputMode);
  logger->logDebug("MAIN", 0, "updateFirmwareAllDevices (%d,%d) launched", outputMode, force);
  showResultHeader(outputMode);
  int lastFailure = FW_NO_ERROR;
  for (int i = 0; i < std::ssize(listOfSupportedDevices); ++i) {
    const int result = doUpdateFirmware(i, outputMode, force);
    if (result == FW_CONFIG_ERROR) {
      logger->logDebug("MAIN", 0, "updateFirmwareAllDevices device [%d] will be ignored, no Config.txt entry",
                       i);
      continue;
    }
    showUpdateResult(i, outputMode, result);
    if (result != FW_NO_ERROR) lastFailure = result;
  }
  showResultTrailer(outputMode);
  return lastFailure;
}

int UpdateFirmware::doUpdateFirmware(int deviceIndex, int outputMode, bool force) {
  applyOutputMode(outputMode);
  logger->logDebug("MAIN", 0, "updateFirmware (%d,%d,%d) launched", deviceIndex, outputMode, force);
  logger->logDebug("MAIN", 0, "START  Firmware Update ==============================================");

  int result = FW_NO_DRIVE_CONNECTED;
  ScsiTarget* target = supportedDevice(deviceIndex);
  if (target) {
    bool upToDate = false;
    const ShortageWatch memory;
    result = guardedAtRoof(FW_NO_MEMORY, FW_UPDATE_FAILED,
                           [&] { return bringToLevel(*this, target, force, upToDate); });
    // The command that lacked a buffer made the drive look absent or silent, or its product unknown.
    if (result != FW_NO_ERROR && memory.ranShort()) result = FW_NO_MEMORY;
    // Nothing was done that needs time to settle, or a word; the drive stays open.
    if (upToDate) return result;
  } else {
    logger->logDebug("MAIN", 0, "Invalid Device Number provided (FW_NO_DRIVE_CONNECTED)");
  }

  Sleep(PAUSE_BEFORE_CLOSE);
  if (target) target->closeDevice();
  if (static_cast<std::size_t>(result) < std::size(OUTCOMES))
    logger->logDebug("MAIN", 0, "%s", OUTCOMES[result]);
  return result;
}

int UpdateFirmware::getUCodeLevelAndFilename(ScsiTarget* target, std::string& filename, std::string& level) {
  return guarded<int>(FW_NO_MEMORY, [&]() -> int {
    ConfigFilename firmware;
    if (!firmware.initialize("Config.txt")) {
      if (firmware.getStatus() == CONFIG_NOT_READ) return FW_NO_MEMORY;
      logger->logDebug("MAIN", 0, "Filename table initialization failed (FW_CONFIG_ERROR)");
      return FW_CONFIG_ERROR;
    }
    const std::string product = documentedProductString(*target);
    if (!firmware.isValid(product)) {
      logger->logDebug("MAIN", 0, "Not supported product (FW_CONFIG_ERROR)");
      return FW_CONFIG_ERROR;
    }
    logger->logDebug("MAIN", 0, "Product is ==>%s<==", product.c_str());
    filename = firmware.getFilename4ProductId(product);
    level = firmware.getUCodeLevel4ProductId(product);
    logger->logDebug("MAIN", 0, "Microcode Filename is ==>%s<== new ucode is ==>%s<==", filename.c_str(),
                     level.c_str());
    return FW_NO_ERROR;
  });
}
