#include "config/configuration_file.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <span>
#include <string>

#include "frame/directory.h"
#include "frame/file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"

namespace {

constexpr std::string_view WHITE_SPACE = " \n\r\t";

/// The whole file, with a line feed at its end. Binary, so that neither Ctrl-Z nor NUL ends it early.
std::optional<std::string> readText(const char* fileName) {
  const File file = openFile(inDirectory(fileName), FileAccess::Read);
  // What only memory was wanting for is not missing.
  if (!file && errno == ENOMEM) throw std::bad_alloc();
  std::string text;
  if (!file || !readAll(file.get(), text)) return std::nullopt;
  std::replace(text.begin(), text.end(), '\t', ' ');
  text += '\n';
  return text;
}

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
  return text.substr(0, text.find_last_not_of(WHITE_SPACE) + 1);
}

/// The line without white space at its ends, each run of blanks made one in its place.
std::string_view tidied(std::span<char> line) {
  const auto bothBlank = [](char a, char b) { return a == ' ' && b == ' '; };
  return trimmed({line.begin(), std::unique(line.begin(), line.end(), bothBlank)});
}

/// Printf's precision for a text without its zero.
int lengthOf(std::string_view text) { return static_cast<int>(text.size()); }

}  // namespace

unsigned int readConfigurationFile(const char* fileName,
                                   const std::function<bool(std::string_view line)>& addEntry) {
  return guarded(CONFIG_NOT_READ, [&] {
    auto text = readText(fileName);
    if (!text) {
      logger->logDebug("CFGC", 0, "File open fails==>%s<==", fileName);
      return CONFIG_NO_FILE;
    }
    // A line ends at the first line feed behind at least one character, so an empty line joins the next one.
    std::size_t begin = 0;
    for (std::size_t end; (end = text->find('\n', begin + 1)) != std::string::npos; begin = end + 1) {
      const std::string_view line = tidied(std::span(*text).subspan(begin, end - begin));
      if (line.starts_with('#')) {
        logger->logDebug("CFGC", 0, "%s Parsing comment ==>%.*s<==", fileName, lengthOf(line), line.data());
      } else if (!addEntry(line)) {
        logger->logDebug("CFGC", 0, "%s invalid format ==>%.*s<==", fileName, lengthOf(line), line.data());
      }
    }
    return CONFIG_READ;
  });
}

bool cutField(std::string_view& line, std::string_view& field) {
  const std::size_t blank = line.find(' ', 1);
  if (blank == std::string_view::npos) return false;
  field = trimmed(line.substr(0, blank));
  line = trimmed(line.substr(blank + 1));
  return true;
}
