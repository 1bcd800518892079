#include "kiv/config/config_filename.h"

#include "config/configuration_file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"

bool ConfigFilename::initialize(const char* fileName) {
  return guarded(false, [&] {
    const FileOutcome outcome =
        readConfigurationFile(fileName, [this](const std::string& line) { return addEntry(line); });
    if (outcome != FileOutcome::Read) {
      status = outcome == FileOutcome::NotOpened ? CONFIG_NO_FILE : CONFIG_NOT_READ;
      return false;
    }
    logger->logDebug("CFGC", 0, "Filename Map contains %d entries", static_cast<int>(table.size()));
    int index = 0;
    for (const auto& [product, entry] : table) {
      logger->logDebug("CFGC", 0, "Filename Map [%d]: %s ==>%s<==>%s<==", index++, product.c_str(),
                       entry.getFilename().c_str(), entry.getUCodeLevel().c_str());
    }
    status = table.empty() ? CONFIG_EMPTY : CONFIG_READ;
    return status == CONFIG_READ;
  });
}

bool ConfigFilename::addEntry(std::string line) {
  std::string product;
  std::string fileName;
  if (line == "* * *" || !cutField(line, product) || !cutField(line, fileName)) return false;
  ConfigEntry entry;
  entry.setFilename(fileName);
  entry.setUCodeLevel(line);
  if (!table.try_emplace(product, entry).second) {
    logger->logDebug("CFGC", 0, "Component ID %s is already configured, item will be ignored",
                     product.c_str());
  }
  return true;
}
