#pragma once

#include <functional>
#include <string_view>

/// The status words of both configuration tables.
inline constexpr unsigned int CONFIG_READ = 0;
inline constexpr unsigned int CONFIG_NO_FILE = 1;
inline constexpr unsigned int CONFIG_EMPTY = 2;
inline constexpr unsigned int CONFIG_NOT_READ = 3;

enum class FileOutcome { Read, NotOpened, OutOfMemory };

/// Reads a configuration file line by line: tabs count as blanks, white space at both ends is trimmed, runs
/// of blanks are one blank, an empty line belongs to the line after it, and a line that begins with '#' is a
/// comment. Every other line goes to `entry`, which returns false for one that is not in its format.
/// Linear. Never throws: a file that memory does not suffice for is not one that is missing.
FileOutcome readConfigurationFile(const char* fileName,
                                  const std::function<bool(std::string_view line)>& entry);

/// Cuts the text before the first blank off `line`, which keeps what follows; both trimmed. False when there
/// is no blank.
bool cutField(std::string_view& line, std::string_view& field);
