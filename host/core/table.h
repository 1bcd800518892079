#pragma once

#include <string>
#include <vector>

namespace host {

using Row = std::vector<std::string>;

/// Lays rows out in columns that are as wide as their widest cell. The first row is the heading; every line
/// ends with a line feed.
std::string formatTable(const std::vector<Row>& rows);

/// Text from a device or a file, fit for a terminal: control characters shown as dots.
std::string printable(std::string text);

}  // namespace host
