#pragma once

#include <string>

#include "kiv/api.h"
#include "kiv/config/component_id.h"
#include "kiv/device/target.h"
#include "kiv/types.h"

/// @file
/// Scan and inventory.

/// The bus scan behind the exported scanScsiBus(), and its inventory report.
class KIV_API ScanBus {
 public:
  ScanBus();
  ~ScanBus();

  /// Scans all buses, records the supported devices in listOfSupportedDevices and writes the inventory.
  /// Supported is what `Config.txt` lists, or `Devlist.txt` while `Config.txt` is missing or empty. Every
  /// device is closed afterwards. FW_NO_ERROR, FW_NO_DRIVE_CONNECTED when nothing is supported, or
  /// FW_NO_MEMORY when memory did not suffice for the configuration files.
  int scanScsiBus(int outputMode);

  /// Writes the inventory of listOfSupportedDevices to `scsiInv.txt`, or to standard output for outputMode 2;
  /// nothing for 4. A file that cannot be written is skipped silently.
  void showScanResult(int outputMode, ComponentId& ids);
};

/// Builds the key under which both configuration files list a device, and returns its characters:
///
///     vendor-model                                                     anything but a tape drive
///     vendor-model:interface[:AutomationReady][:Library][:v2]          a tape drive
///
/// A suffix whose test fails at the device is left out. The target is left open or closed as it was.
KIV_API char* getProductString(ScsiTarget* target, std::string& product);

/// Looks up a named number in the self-describing feature buffer of a drive: records of big-endian 32-bit
/// words. Only the first `length` bytes count; of a number of up to eight bytes the low 32 bits are stored.
/// False when the buffer holds no such entry.
KIV_API bool getVPDEntryAsULong(unsigned char* data, ulong32 length, std::string name, ulong32& value);
