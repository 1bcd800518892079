#pragma once

#include <string>

#include "kiv/api.h"
#include "kiv/device/target.h"
#include "kiv/types.h"

/// @file
/// Firmware update and result report.

/// The firmware update of the devices that the last scan found, and its result report `scsiExe.txt`.
///
/// Devices are addressed by their index in listOfSupportedDevices. Operations that return an int return an
/// FW_ result code. Calls block for minutes: the drive reboots.
class KIV_API UpdateFirmware {
 public:
  UpdateFirmware();
  ~UpdateFirmware();

  /// Updates one device and writes the whole report.
  int updateFirmware(int deviceIndex, int outputMode, bool force);
  /// Updates every device and writes the whole report. A device that `Config.txt` does not list is left out.
  /// Returns the last result that was not FW_NO_ERROR.
  int updateFirmwareAllDevices(int outputMode, bool force);
  /// Updates one device without a report. Unless `force` is set, a drive that runs the configured level is
  /// left alone (and left open), and one that runs a higher level is refused with FW_INVALID_UCODE.
  int doUpdateFirmware(int deviceIndex, int outputMode, bool force);

  /// What `Config.txt` says of this device. FW_CONFIG_ERROR when it says nothing.
  int getUCodeLevelAndFilename(ScsiTarget* target, std::string& filename, std::string& level);
  /// Brings the drive to the state in which no cartridge is loaded, unloading one if need be.
  /// FW_DEVICE_DISCONNECTED when it does not get there.
  int wait4DriveReady(ScsiTarget* target);
  /// Reads a firmware image whole; looks in the parent directory and below the working directory's full name
  /// too. Release *image with free(), also after a failure. FW_INVALID_FILE_NAME, FW_FILE_CORRUPTED (empty,
  /// short, or above 16 MiB, which WRITE BUFFER cannot address) or FW_NO_MEMORY.
  int loadBinaryMicrocodeFile(const char* filename, unsigned char** image, ulong32* length);
  /// Sends the image in chunks of 32 KiB with WRITE BUFFER (SPC-4, data mode, buffer 4). FW_UPDATE_FAILED at
  /// the first chunk that the drive refuses.
  int performFirmwareUpdate(ScsiTarget* target, unsigned char* image, ulong32 length);
  /// Reopens a device that the port driver lost, with a bus rescan every five seconds. FW_REBOOT_FAILED after
  /// 20 of them.
  int rescan4Device(ScsiTarget* target);
  /// Waits for the drive to restart with its new firmware. FW_REBOOT_FAILED when it does not answer INQUIRY
  /// in the end.
  int wait4RebootComplete(ScsiTarget* target);

  ///@{
  /// The three pieces of the report, to `scsiExe.txt` or, for outputMode 2, to standard output: the header
  /// starts a new document, entries and trailer are appended. A file that cannot be written is skipped
  /// silently.
  void showResultHeader(int outputMode);
  /// An index outside the list adds nothing.
  void showUpdateResult(int index, int outputMode, int result);
  void showResultTrailer(int outputMode);
  ///@}
};
