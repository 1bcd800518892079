#pragma once

#include <functional>
#include <string_view>

#include "kiv/frame/logger.h"

/// The status words of both configuration tables.
inline constexpr unsigned int CONFIG_READ = 0;
inline constexpr unsigned int CONFIG_NO_FILE = 1;
inline constexpr unsigned int CONFIG_EMPTY = 2;
inline constexpr unsigned int CONFIG_NOT_READ = 3;

/// Reads a configuration file line by line: tabs count as blanks, white space at both ends is trimmed, runs
/// of blanks are one blank, an empty line belongs to the line after it, and a line that begins with '#' is a
/// comment. Every other line goes to `addEntry`, which returns false for one that is not in its format.
/// Linear. Never throws: a file that memory does not suffice for is not one that is missing. Returns
/// CONFIG_READ, CONFIG_NO_FILE or CONFIG_NOT_READ.
unsigned int readConfigurationFile(const char* fileName,
                                   const std::function<bool(std::string_view line)>& addEntry);

/// Reads a file into a table, and has every entry of it told: `tell(index, product, entry)`. Returns the
/// status word.
template <typename Table, typename Tell>
unsigned int readTable(const char* fileName, const char* name, const Table& table,
                       const std::function<bool(std::string_view line)>& addEntry, Tell tell) {
  const unsigned int status = readConfigurationFile(fileName, addEntry);
  if (status != CONFIG_READ) return status;
  logger->logDebug("CFGC", 0, "%s Map contains %d entries", name, static_cast<int>(table.size()));
  int index = 0;
  for (const auto& [product, entry] : table) tell(index++, product, entry);
  return table.empty() ? CONFIG_EMPTY : CONFIG_READ;
}

/// Cuts the text before the first blank off `line`, which keeps what follows; both trimmed. False when there
/// is no blank.
bool cutField(std::string_view& line, std::string_view& field);
