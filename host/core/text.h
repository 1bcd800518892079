// Texts and file names, all of them UTF-8.
#pragma once

#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// A text field of a kiv_ structure.
template <std::size_t size>
std::string text(const char (&field)[size]) {
  return std::string(field, strnlen(field, size));
}

using Row = std::vector<std::string>;

/// Lays rows out in columns that are as wide as their widest cell. The first row is the heading; every line
/// ends with a line feed.
std::string formatTable(const std::vector<Row>& rows);

/// For an attribute or a text of an XML document.
std::string escapeXml(std::string_view value);

std::filesystem::path toPath(std::string_view name);
std::string fromPath(const std::filesystem::path& path);

/// The whole file. Throws HostError with a sentence that begins with `what`.
std::string readFile(const std::filesystem::path& file, std::string_view what);
/// Replaces a file at once: who reads it meanwhile, or is interrupted, finds the old one or the new one.
void replaceFile(const std::filesystem::path& file, std::string_view content);

}  // namespace host
