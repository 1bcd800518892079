#include "kiv/config/config_filename.h"

#include <utility>

#include "config/configuration_file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"

bool ConfigFilename::initialize(const char* fileName) {
  return guarded(false, [&] {
    const auto tell = [](int index, const std::string& product, const ConfigEntry& entry) {
      logger->logDebug("CFGC", 0, "Filename Map [%d]: %s ==>%s<==>%s<==", index, product.c_str(),
                       entry.getFilename().c_str(), entry.getUCodeLevel().c_str());
    };
    status = readTable(
        fileName, "Filename", table, [this](std::string_view line) { return addEntry(line); }, tell);
    return status == CONFIG_READ;
  });
}

bool ConfigFilename::addEntry(std::string_view line) {
  std::string_view level = line;
  std::string_view product;
  std::string_view fileName;
  if (line == "* * *" || !cutField(level, product) || !cutField(level, fileName)) return false;
  ConfigEntry entry;
  entry.setFilename(std::string(fileName));
  entry.setUCodeLevel(std::string(level));
  // In a file that is in order the place is the end.
  const std::size_t before = table.size();
  const auto place = table.try_emplace(table.end(), std::string(product), std::move(entry));
  if (table.size() == before) {
    logger->logDebug("CFGC", 0, "Component ID %s is already configured, item will be ignored",
                     place->first.c_str());
  }
  return true;
}
