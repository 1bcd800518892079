// The file format of recordings: JSON lines. The first line is the header, the last one tells that the
// recording is complete; between them every line is one call:
//
//     {"format":"kiv recording","version":1,"date":"2026-11-21T14:15:53.120Z","library":"1.95 ..."}
//     {"call":"CreateFileA","asked":{"name":"\\\\.\\scsi0:",...},"answered":{"handle":1},"at":3,"took":0}
//     {"end":1}
//
// A file holds one recording behind the other: one for every process that took part, in the order in which
// they ran.
//
// "at" is when the call was made, in milliseconds from the date, and "took" how long it took. "error" is the
// last error that it left, where it failed or changed it. Bytes are hexadecimal, without the zeros at their
// end. Handles are numbered in the order in which they were opened.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace simulator::recording {

using Json = nlohmann::ordered_json;

struct Line {
  std::size_t number = 0;  ///< in the file, from 1
  std::string call{};
  Json asked{};
  Json answered{};
  std::optional<std::uint32_t> error{};
  std::int64_t at = 0;    ///< milliseconds from the beginning
  std::int64_t took = 0;  ///< milliseconds

  std::string text() const;
};

struct Recording {
  std::size_t number = 1;  ///< of the header's line in the file
  Json header{};
  std::int64_t start = 0;  ///< milliseconds since 1970
  std::vector<Line> lines{};
  bool complete = false;  ///< the recorder came to its end

  /// The line that was written last.
  std::size_t lastNumber() const { return number + lines.size() + (complete ? 1 : 0); }
  void write(std::ostream& out) const;
};
using Recordings = std::vector<Recording>;

/// One recording or more. A line that was torn when a process ended is left out. Throws std::runtime_error
/// with a sentence that names the line at fault.
Recordings readRecordings(std::istream& in);

/// The header of a recording that begins at a time, with what the caller adds, such as versions.
Json headerOf(std::int64_t start, const Json& more);
std::string headerText(const Json& header);
std::string endText(std::size_t calls);

/// The field of a line. Throws std::runtime_error with a sentence if it is not there or of another kind.
std::uint64_t numberIn(const Json& fields, const char* key);
const std::string& textIn(const Json& fields, const char* key);

/// Bytes of the system's code page as JSON can hold them, each as the character of that number.
std::string toText(std::string_view bytes);
std::string fromText(const std::string& text);
/// The bytes of "12 01 83". Nothing if it is not such a text.
std::optional<std::vector<std::uint8_t>> fromHex(std::string_view text);

}  // namespace simulator::recording
