#include "config/configuration_file.h"

#include <algorithm>
#include <optional>

#include "frame/directory.h"
#include "frame/file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/text.h"

namespace {

constexpr const char* WHITE_SPACE = " \n\r\t";

/// The whole file, with a line feed at its end. Binary, so that neither Ctrl-Z nor NUL ends it early.
std::optional<std::string> readText(const char* fileName) {
  const File file = openFile(inDirectory(fileName), FileAccess::Read);
  std::string text;
  if (!file || !readAll(file.get(), text)) return std::nullopt;
  std::replace(text.begin(), text.end(), '\t', ' ');
  text += '\n';
  return text;
}

}  // namespace

FileOutcome readConfigurationFile(const char* fileName,
                                  const std::function<bool(const std::string& line)>& entry) {
  return guarded(FileOutcome::OutOfMemory, [&] {
    const auto text = readText(fileName);
    if (!text) {
      logger->logDebug("CFGC", 0, "File open fails==>%s<==", fileName);
      return FileOutcome::NotOpened;
    }
    // A line ends at the first line feed behind at least one character, so an empty line joins the next one.
    std::size_t begin = 0;
    for (std::size_t end; (end = text->find('\n', begin + 1)) != std::string::npos; begin = end + 1) {
      std::string line = text->substr(begin, end - begin);
      trimString(line, WHITE_SPACE);
      removeMultiple(line, " ");
      if (line.starts_with('#')) {
        logger->logDebug("CFGC", 0, "%s Parsing comment ==>%s<==", fileName, line.c_str());
      } else if (!entry(line)) {
        logger->logDebug("CFGC", 0, "%s invalid format ==>%s<==", fileName, line.c_str());
      }
    }
    return FileOutcome::Read;
  });
}

bool cutField(std::string& line, std::string& field) {
  const std::size_t blank = line.find(' ', 1);
  if (blank == std::string::npos) return false;
  field = line.substr(0, blank);
  trimString(field, WHITE_SPACE);
  line.erase(0, blank + 1);
  trimString(line, WHITE_SPACE);
  return true;
}
