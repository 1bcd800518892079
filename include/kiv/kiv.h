/** @file
 * The public face of kiv.dll: scan the buses for tape drives and libraries, update drive firmware.
 *
 * Calling order: load the library, kivInit(), scanScsiBus(), any number of updates, kivFini(), unload. One
 * thread at a time; a call may block for minutes. The four functions below are usable from C and from any
 * C++; everything else here serves hosts of the library's own compiler. Hosts of any language and compiler
 * have more in kiv/kiv_c.h.
 */
#ifndef KIV_KIV_H
#define KIV_KIV_H

#include "kiv/api.h"

/** Microsoft's compilers lay out classes in a way of their own. */
#if defined(__cplusplus) && !defined(_MSC_VER)
#define KIV_HAS_CLASSES
#endif

#ifdef KIV_HAS_CLASSES
#include <vector>

#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"

struct _GUID;
class DeviceController;
class ScsiTarget;
#endif

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

/** Result codes. */
enum {
  FW_NO_ERROR = 0,            /**< success; for a scan: at least one supported device was found */
  FW_DEVICE_DISCONNECTED = 1, /**< the drive is not in a state for a download, or is gone */
  FW_INVALID_FILE_NAME = 2,   /**< the firmware image cannot be opened */
  FW_FILE_CORRUPTED = 3,      /**< the firmware image is empty, short, or too large to be addressed */
  FW_UPDATE_FAILED = 4,       /**< the drive refused the download */
  FW_REBOOT_FAILED = 5,       /**< the drive did not come back after the download */
  FW_NO_DRIVE_CONNECTED = 6,  /**< no supported device, or an invalid device number */
  FW_INVALID_UCODE = 7,       /**< the configured level is lower than the drive's, and force is not set */
  FW_CONFIG_ERROR = 8,        /**< Config.txt has no entry for the device, or could not be read */
  FW_NO_MEMORY = 9            /**< memory could not be had */
};

/** Values of outputMode that mean something; pass 0 otherwise. */
enum {
  KIV_OUTPUT_FILE = 0,   /**< the report goes to its file in the working directory */
  KIV_OUTPUT_DEBUG = 1,  /**< so too, and the logger stays at debug level for the rest of the process */
  KIV_OUTPUT_STDOUT = 2, /**< the report goes to standard output */
  KIV_OUTPUT_NONE = 4    /**< scan only: no report */
};

/** The library's version and build date, such as "1.95 Sep 18 2019"; the same pointer every time. */
KIV_API char* getKivVersion(void);

/** Scans all buses, fills listOfSupportedDevices, writes scsiInv.txt. FW_NO_ERROR, FW_NO_DRIVE_CONNECTED
 * when nothing is supported (also after any failure but the next), or FW_NO_MEMORY. */
KIV_API int scanScsiBus(int outputMode);

/** Updates one device of the last scan, by its index in listOfSupportedDevices, and writes scsiExe.txt. With
 * force, the level that the drive runs does not matter. */
KIV_API int updateFirmware(int deviceNumber, int outputMode, bool force);

/** Updates every device of the last scan and writes scsiExe.txt. The last non-zero result, devices that
 * Config.txt does not list left out. */
KIV_API int updateFirmwareAllDevices(int outputMode, bool force);

#ifdef __cplusplus
}
#endif

#ifdef KIV_HAS_CLASSES
/// The first call of a host. All state is set up at load time, so it does nothing.
KIV_API void kivInit();
/// The last call of a host before it unloads the library: empties both device lists. Harmless when repeated.
KIV_API void kivFini();

/// The supported devices of the last scan, in the order of the controller's list, which owns them.
extern KIV_API std::vector<ScsiTarget*> listOfSupportedDevices;
/// Every device of the last scan, supported or not.
extern KIV_API DeviceController deviceController;
/// The device interface class by which host adapters are looked up: {2ACCFE60-C130-11D2-B082-00A0C91EFB8B},
/// storage ports.
extern KIV_API _GUID testHost;
#endif

#endif
