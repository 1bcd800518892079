#include "host/core/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "host/core/error.h"

namespace host {

/// Characters, not bytes, so that file names beyond ASCII keep the columns straight.
static std::size_t width(std::string_view cell) {
  return static_cast<std::size_t>(
      std::count_if(cell.begin(), cell.end(), [](unsigned char c) { return (c & 0xC0) != 0x80; }));
}

std::string formatTable(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], width(row[column]));
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column)
      line += row[column] + std::string(widths[column] - width(row[column]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

std::string escapeXml(std::string_view value) {
  std::string result;
  for (const char c : value) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  }
  return result;
}

std::filesystem::path toPath(std::string_view name) { return std::u8string(name.begin(), name.end()); }

std::string fromPath(const std::filesystem::path& path) {
  const std::u8string name = path.u8string();
  return {name.begin(), name.end()};
}

std::string readFile(const std::filesystem::path& file, std::string_view what) {
  std::ifstream in(file, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(in), {}};
  if (!in || in.bad())
    throw HostError(exitUnforeseen, fmt::format("{} {} cannot be read: check its name and its rights.", what,
                                                fromPath(file)));
  return content;
}

void replaceFile(const std::filesystem::path& file, std::string_view content) {
  std::filesystem::path fresh = file;
  fresh += ".new";
  std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  std::error_code error;
  if (out) std::filesystem::rename(fresh, file, error);
  if (!out || error) {
    std::filesystem::remove(fresh, error);
    throw HostError(exitUnforeseen, fmt::format("{} cannot be written: check that the disk has room and that "
                                                "the file and its directory may be written.",
                                                fromPath(file)));
  }
}

}  // namespace host
