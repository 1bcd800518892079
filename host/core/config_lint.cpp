#include "host/core/config_lint.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "host/core/checksum.h"
#include "host/core/error.h"
#include "host/core/text.h"

namespace host {
namespace {

constexpr const char* configName = "Config.txt";
constexpr const char* devlistName = "Devlist.txt";
constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::size_t levelLength = 4;
constexpr std::uintmax_t largestImage = 16 << 20;

struct Line {
  std::size_t number;
  std::vector<std::string> fields;
};

std::vector<std::string> splitFields(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  std::vector<std::string> fields;
  for (std::size_t at = line.find_first_not_of(blanks); at != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(blanks, at), line.size());
    fields.emplace_back(line.substr(at, end - at));
    at = line.find_first_not_of(blanks, end);
  }
  return fields;
}

std::string join(const std::vector<std::string>& fields, std::size_t first) {
  return fmt::format("{}", fmt::join(fields.begin() + static_cast<std::ptrdiff_t>(first), fields.end(), " "));
}

/// An apostrophe within a name is a character like any other.
bool isQuoted(const std::string& field) {
  return field.find('"') != std::string::npos || field.starts_with('\'') || field.ends_with('\'');
}

bool isUtf8(std::string_view text) try {
  static_cast<void>(nlohmann::json(text).dump());
  return true;
} catch (const nlohmann::json::type_error&) {
  return false;
}

/// A file on its way through the checks that both files share.
class Reader {
 public:
  Reader(const char* file, std::string_view text) : file_(file) {
    // Every second byte of UTF-16 is zero in a file like this one.
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") ||
        text.find('\0') != std::string_view::npos) {
      warn(1,
           "the file is in UTF-16, and no line of it is read: save it as UTF-8 without a byte order mark.");
      return;
    }
    if (text.starts_with(utf8Mark)) {
      warn(1,
           "the file begins with a byte order mark, so its first line is not read as it looks: save it "
           "without one.");
      text.remove_prefix(utf8Mark.size());
    }
    std::size_t number = 0;
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      take(++number, text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }

  void warn(std::size_t line, std::string message) { warnings.push_back({file_, line, std::move(message)}); }
  /// Remembers what a line names; warns when an earlier line names it, too.
  void name(const std::string& product, std::size_t line) {
    const auto [first, isNew] = named_.try_emplace(product, line);
    if (!isNew)
      warn(line, fmt::format("{} stands in line {} already, which counts: remove one of the two.", product,
                             first->second));
  }

  std::vector<Line> lines;  ///< that are neither empty nor comments
  std::vector<Warning> warnings;

 private:
  void take(std::size_t number, std::string_view text) {
    Line line{number, splitFields(text)};
    if (line.fields.empty() || line.fields[0].starts_with('#')) return;
    if (std::any_of(line.fields.begin(), line.fields.end(), isQuoted))
      warn(number, "quotes are read as part of the name: remove them, and use names without blanks.");
    if (!isUtf8(text))
      warn(number,
           "the line is not in UTF-8, so its names are read as others: save the file as UTF-8 without a byte "
           "order mark.");
    if (text.substr(0, text.size() - 1).find('\r') != std::string_view::npos)
      warn(number, "carriage returns alone end no line: save the file with Windows' line ends.");
    lines.push_back(std::move(line));
  }

  std::string file_;
  std::map<std::string, std::size_t> named_;
};

/// In the working directory, or in its parent, as the library looks for it.
std::optional<std::filesystem::path> findImage(const std::filesystem::path& directory,
                                               const std::string& name) {
  for (const auto& path : {directory / toPath(name), directory / ".." / toPath(name)}) {
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) return path;
  }
  return std::nullopt;
}

/// What is wrong with an image; empty when nothing is.
std::string complaintAbout(const std::filesystem::path& directory, const std::string& name) {
  const auto path = findImage(directory, name);
  if (!path) return fmt::format("the image {} is neither in this directory nor in its parent.", name);
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(*path, error);
  if (error) return fmt::format("the image {} cannot be read.", name);
  if (size == 0) return fmt::format("the image {} is empty: fetch it again.", name);
  if (size > largestImage) return fmt::format("the image {} has more than 16 MiB, no drive takes it.", name);
  return checkImage(*path).complaint;
}

std::optional<std::string> readIfThere(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) return std::nullopt;
  return readFile(file, "The file");
}

}  // namespace

std::vector<Warning> lintConfig(std::string_view text, std::vector<ConfigEntry>* entries) {
  Reader reader(configName, text);
  for (const Line& line : reader.lines) {
    if (line.fields.size() < 3) {
      reader.warn(line.number, "the line is not read, it lacks a level: write product, image and level.");
      continue;
    }
    const ConfigEntry entry{line.number, line.fields[0], line.fields[1], join(line.fields, 2)};
    if (entry.level.size() != levelLength)
      reader.warn(line.number,
                  fmt::format("the level reads \"{}\", and a level has four characters: write it "
                              "whole, nothing behind it, and a file name without blanks before it.",
                              entry.level));
    reader.name(entry.product, line.number);
    if (entries) entries->push_back(entry);
  }
  return reader.warnings;
}

std::vector<Warning> lintDevlist(std::string_view text) {
  Reader reader(devlistName, text);
  const std::set<std::string> switches = {"AutomationReadyCheck=false", "AutomationReadyCheck=true",
                                          "LibraryCheck=false", "LibraryCheck=true"};
  std::size_t checkOff = 0;
  std::size_t automationReady = 0;
  for (const Line& line : reader.lines) {
    const std::string& first = line.fields[0];
    if (line.fields.size() == 1) {
      if (first == "AutomationReadyCheck=false") checkOff = line.number;
      if (!switches.contains(first))
        reader.warn(line.number,
                    "the line is not read: write component identifier and product, or a switch.");
      continue;
    }
    if (first.starts_with("AutomationReadyCheck") || first.starts_with("LibraryCheck"))
      reader.warn(line.number, "a switch is one word, without blanks, alone on its line.");
    const std::string product = join(line.fields, 1);
    if (product.find("AutomationReady") != std::string::npos && automationReady == 0)
      automationReady = line.number;
    reader.name(product, line.number);
  }
  if (checkOff != 0 && automationReady != 0)
    reader.warn(checkOff, fmt::format("AutomationReadyCheck=false has no effect, for line {} names an "
                                      "AutomationReady product: remove one of the two.",
                                      automationReady));
  return reader.warnings;
}

std::vector<Warning> lintFiles(const std::filesystem::path& directory) {
  std::vector<Warning> warnings;
  if (const auto text = readIfThere(directory / configName)) {
    warnings = lintConfig(*text);
  } else {
    warnings.push_back({configName, 0, "the file is not in this directory, so no drive will be updated."});
  }
  if (const auto text = readIfThere(directory / devlistName)) {
    const std::vector<Warning> more = lintDevlist(*text);
    warnings.insert(warnings.end(), more.begin(), more.end());
  }
  return warnings;
}

std::vector<Warning> lintImages(const std::filesystem::path& directory) {
  std::vector<ConfigEntry> entries;
  if (const auto text = readIfThere(directory / configName)) lintConfig(*text, &entries);
  std::vector<Warning> warnings;
  std::set<std::string> seen;
  for (const ConfigEntry& entry : entries) {
    if (!seen.insert(entry.image).second) continue;
    const std::string complaint = complaintAbout(directory, entry.image);
    if (!complaint.empty()) warnings.push_back({configName, entry.line, complaint});
  }
  return warnings;
}

}  // namespace host
