#include "kiv/config/component_id.h"

#include "config/configuration_file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"

namespace {

bool contains(const std::string& text, const char* wanted) { return text.find(wanted) != std::string::npos; }

bool namesMaker(const std::string& product) { return contains(product, "QOR"); }

}  // namespace

bool ComponentId::initialize(const char* fileName) {
  return guarded(false, [&] {
    const auto tell = [](int index, const std::string& product, const std::string& id) {
      logger->logDebug("CFGC", 0, "Component ID [%d]: %s ==>%s<==", index, product.c_str(), id.c_str());
      if (contains(product, "AutomationReady")) automationReadyMode = true;
    };
    status = readTable(
        fileName, "Component", table, [this](std::string_view line) { return addEntry(std::string(line)); },
        tell);
    if (status == CONFIG_READ || status == CONFIG_EMPTY) {
      logger->logDebug("CFGC", 0, "AutomationReadyCheck=%s", automationReadyMode ? "true" : "false");
      logger->logDebug("CFGC", 0, "LibraryCheck=%s", libraryMode ? "true" : "false");
    }
    return status == CONFIG_READ;
  });
}

bool ComponentId::addEntry(std::string line) {
  std::string_view rest = line;
  std::string_view id;
  if (line != "* *" && cutField(rest, id)) {
    const std::string product(rest);
    if (!table.try_emplace(product, id).second) {
      logger->logDebug("CFGC", 0, "%s/%s is already configured, item will be ignored", product.c_str(),
                       std::string(id).c_str());
    }
    return true;
  }
  if (contains(line, "AutomationReadyCheck=false")) automationReadyMode = false;
  if (contains(line, "LibraryCheck=true")) libraryMode = true;
  return false;
}

bool ComponentId::isValid(const std::string& product) const {
  if (status == CONFIG_NO_FILE) return namesMaker(product);
  return status == CONFIG_READ && table.contains(product);
}

std::string ComponentId::getId4InquiryData(const std::string& product) {
  if (status == CONFIG_NO_FILE && namesMaker(product)) return {};
  return guarded(std::string(), [&] { return table[product]; });
}
