#include "host/core/checksum.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {
namespace {

constexpr std::size_t digits = 64;

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(c < 0x80 ? std::tolower(c) : c); });
  return result;
}

bool isChecksumLine(std::string_view line) {
  return line.size() > digits + 2 && line[digits] == ' ' &&
         (line[digits + 1] == ' ' || line[digits + 1] == '*') &&
         std::all_of(line.begin(), line.begin() + digits, [](unsigned char c) { return std::isxdigit(c); });
}

}  // namespace

std::string checksumFor(std::string_view fileName, std::string_view text) {
  std::string found;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!isChecksumLine(line)) continue;
    std::string_view name = line.substr(digits + 2);
    name.remove_prefix(std::min(name.find_last_of("/\\") + 1, name.size()));
    // File names differ by more than case on Windows.
    if (lower(name) != lower(fileName)) continue;
    if (!found.empty()) return "";
    found = lower(line.substr(0, digits));
  }
  return found;
}

ImageCheck checkImage(const std::filesystem::path& image) {
  ImageCheck check{platform::sha256(image), ""};
  std::filesystem::path sidecar = image;
  sidecar += ".sha256";
  std::error_code error;
  if (std::filesystem::status(sidecar, error).type() == std::filesystem::file_type::not_found) return check;
  const std::string name = fromPath(image.filename());
  std::string wanted;
  try {
    wanted = checksumFor(name, readFile(sidecar, "The checksum"));
  } catch (const std::exception&) {
    wanted.clear();  // a checksum that cannot be read is none that fits
  }
  if (wanted.empty()) {
    check.complaint = fmt::format(
        "{}.sha256 cannot be read as a checksum of {}: write it with sha256sum, or "
        "remove it.",
        name, name);
  } else if (check.sha256 != wanted) {
    check.complaint =
        fmt::format("the image {} differs from its checksum in {}.sha256: fetch both again.", name, name);
  }
  return check;
}

}  // namespace host
