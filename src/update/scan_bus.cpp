#include "kiv/update/scan_bus.h"

#include "kiv/config/config_filename.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "update/report.h"
#include "update/working_directory.h"

namespace {

constexpr unsigned int TABLE_READ = 0;

/// Whether the configuration supports a product; logs the decision. `Config.txt` decides, and `Devlist.txt`
/// stands in for it while it is missing or empty.
bool isSupported(const std::string& product, const ConfigFilename& firmware, const ComponentId& ids) {
  const bool useFirmwareTable = firmware.getStatus() == TABLE_READ;
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
  logger->logDebug("MAIN", 0, "Current Working Directory is <%s>", workingDirectory().c_str());
  logger->logDebug("MAIN", 0, "scanScsiBus (%d) launched", outputMode);

  listOfSupportedDevices.clear();
  deviceController.clearDeviceList();

  ComponentId ids;
  if (!ids.initialize("Devlist.txt"))
    logger->logDebug("MAIN", 0, "Componet IDs initialization failed (FW_CONFIG_ERROR)");
  ConfigFilename firmware;
  if (!firmware.initialize("Config.txt"))
    logger->logDebug("MAIN", 0, "Filename table initialization failed (FW_CONFIG_ERROR)");

  deviceController.rediscoverSCSIBus(false, "", "", "");
  for (int i = 0; i < deviceController.getDeviceCount(); ++i) {
    ScsiTarget* target = deviceController.getDevice(i);
    std::string product;
    getProductString(target, product);
    if (isSupported(product, firmware, ids)) listOfSupportedDevices.push_back(target);
  }
  showScanResult(outputMode, ids);
  deviceController.closeHandleOfAllDevices();

  if (listOfSupportedDevices.empty()) {
    logger->logDebug("MAIN", 0, "scanScsiBus failed return value is (FW_NO_DRIVE_CONNECTED)");
    return FW_NO_DRIVE_CONNECTED;
  }
  logger->logDebug("MAIN", 0, "scanScsiBus detected %d devices,return value is (FW_NO_ERROR)",
                   static_cast<int>(listOfSupportedDevices.size()));
  return FW_NO_ERROR;
}
