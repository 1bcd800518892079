#include "kiv/update/scan_bus.h"

#include "config/configuration_file.h"
#include "frame/guarded.h"
#include "kiv/config/config_filename.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"
#include "kiv/kiv.h"
#include "update/product_string.h"
#include "update/report.h"
#include "update/working_directory.h"

namespace {

/// Whether the configuration supports a product; logs the decision. `Config.txt` decides, and `Devlist.txt`
/// stands in for it while it is missing or empty.
bool isSupported(const std::string& product, const ConfigFilename& firmware, const ComponentId& ids) {
  const bool useFirmwareTable = firmware.getStatus() == CONFIG_READ;
  const bool supported = useFirmwareTable ? firmware.isValid(product) : ids.isValid(product);
  logger->logDebug("CFGC", 0, "Product is %s through %s==>%s<==", supported ? "supported" : "NOT supported",
                   useFirmwareTable ? "Config.txt" : "Devlist.txt", product.c_str());
  return supported;
}

}  // namespace

ScanBus::ScanBus() = default;
ScanBus::~ScanBus() = default;

int ScanBus::scanScsiBus(int outputMode) {
  applyOutputMode(outputMode);
  logger->logDebug("MAIN", 0, "QOR LTO KIV Library Version: %s", getKivVersion());
  told([] {
    return logger->logDebug("MAIN", 0, "Current Working Directory is <%s>", workingDirectory().c_str());
  });
  logger->logDebug("MAIN", 0, "scanScsiBus (%d) launched", outputMode);

  listOfSupportedDevices.clear();
  deviceController.clearDeviceList();

  ComponentId ids;
  if (!ids.initialize("Devlist.txt"))
    logger->logDebug("MAIN", 0, "Componet IDs initialization failed (FW_CONFIG_ERROR)");
  ConfigFilename firmware;
  if (!firmware.initialize("Config.txt"))
    logger->logDebug("MAIN", 0, "Filename table initialization failed (FW_CONFIG_ERROR)");

  // Without its configuration a scan could only guess what is supported.
  const bool configured = ids.getStatus() != CONFIG_NOT_READ && firmware.getStatus() != CONFIG_NOT_READ;
  bool lacksDevices = configured && deviceController.rediscoverSCSIBus(false, "", "", "") == CMD_NO_MEMORY;
  // A drive whose library is missing would pass for another product.
  if (lacksDevices && libraryMode) deviceController.clearDeviceList();
  for (int i = 0; i < deviceController.getDeviceCount(); ++i) {
    ScsiTarget* target = deviceController.getDevice(i);
    // A shortage of memory costs the device that it meets, not those behind it.
    const bool judged = guarded(false, [&] {
      if (isSupported(documentedProductString(*target), firmware, ids))
        listOfSupportedDevices.push_back(target);
      return true;
    });
    if (judged) continue;
    lacksDevices = true;
    logger->logError("MAIN", 0, "Device %d left out: out of memory", i);
  }
  showScanResult(outputMode, ids);
  deviceController.closeHandleOfAllDevices();

  if (!configured || (listOfSupportedDevices.empty() && lacksDevices)) return FW_NO_MEMORY;
  if (listOfSupportedDevices.empty()) {
    logger->logDebug("MAIN", 0, "scanScsiBus failed return value is (FW_NO_DRIVE_CONNECTED)");
    return FW_NO_DRIVE_CONNECTED;
  }
  logger->logDebug("MAIN", 0, "scanScsiBus detected %d devices,return value is (FW_NO_ERROR)",
                   static_cast<int>(listOfSupportedDevices.size()));
  return FW_NO_ERROR;
}
