// What Config.txt and Devlist.txt say that the library will not read as their writer meant it. Nothing is
// repaired here: the library reads the files, and people mend them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct Warning {
  std::string file;
  std::size_t line = 0;  ///< as an editor counts, from 1; 0 for the whole file
  std::string message;
};

/// A line of Config.txt as the library reads it.
struct ConfigEntry {
  std::size_t line = 0;
  std::string product, image, level;
};

/// The warnings for a text; the entries that stand in it, when they are asked for.
std::vector<Warning> lintConfig(std::string_view text, std::vector<ConfigEntry>* entries = nullptr);
std::vector<Warning> lintDevlist(std::string_view text);

/// The warnings for both files in a directory, and for a Config.txt that is not there.
std::vector<Warning> lintFiles(const std::filesystem::path& directory);
/// The images of Config.txt that are missing, empty, too large, or differ from their checksum.
std::vector<Warning> lintImages(const std::filesystem::path& directory);

}  // namespace host
