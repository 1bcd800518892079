#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

/// What an image's own bytes and the file IMAGE.sha256 beside it say.
struct ImageCheck {
  std::string sha256;  ///< of the image, in hexadecimal; empty when it cannot be read
  std::string
      complaint;  ///< why the image must not be used; empty without a checksum beside it, or a good one
};
ImageCheck checkImage(const std::filesystem::path& image);

/// The checksum that a text names for a file, as sha256sum writes it: 64 hexadecimal digits, a blank, a blank
/// or an asterisk, the name. Empty when the text has no such line, or more than one.
std::string checksumFor(std::string_view fileName, std::string_view text);

}  // namespace host
