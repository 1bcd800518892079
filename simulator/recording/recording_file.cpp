#include "simulator/recording/recording_file.h"

#include <chrono>
#include <cstdio>
#include <istream>
#include <ostream>
#include <stdexcept>

namespace simulator::recording {
namespace {

constexpr const char* formatName = "kiv recording";
constexpr int formatVersion = 1;
constexpr const char* fetchAgain = "get the file once more from where it was made.";
/// Three thousand years: what stands beyond is no time.
constexpr std::uint64_t longestTime = 100'000'000'000'000;

[[noreturn]] void fail(std::size_t line, const std::string& what) {
  throw std::runtime_error("Line " + std::to_string(line) + " of the recording " + what);
}

std::string dateText(std::int64_t milliseconds) {
  using namespace std::chrono;
  const sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(milliseconds)};
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()},
                unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
                static_cast<int>(clock.subseconds().count()));
  return text;
}

std::optional<std::int64_t> dateOf(const std::string& text) {
  using namespace std::chrono;
  int years = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  unsigned fraction = 0;
  if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2u:%2u:%2u.%3uZ", &years, &month, &day, &hour, &minute, &second,
                  &fraction) != 7)
    return std::nullopt;
  const year_month_day date{std::chrono::year(years), std::chrono::month(month), std::chrono::day(day)};
  if (!date.ok() || years < 1970) return std::nullopt;
  const auto time = sys_days(date) + hours(hour) + minutes(minute) + seconds(second) + milliseconds(fraction);
  return duration_cast<milliseconds>(time.time_since_epoch()).count();
}

/// Null for what is no line of a recording. No line is nested deeper than its fields' fields.
Json parse(std::size_t number, const std::string& text) {
  constexpr int deepest = 3;
  const auto shallow = [&](int depth, Json::parse_event_t, const Json&) {
    if (depth > deepest) fail(number, "is nested too deeply: " + std::string(fetchAgain));
    return true;
  };
  Json line = Json::parse(text, shallow, false);
  return line.is_object() ? line : Json();
}

Recording begun(std::size_t number, Json fields) {
  if (fields.is_null() || fields.value("format", Json()) != formatName)
    fail(number, "is not the beginning of a recording: name a file that kivhost --record has written.");
  if (fields.value("version", Json()) != formatVersion)
    fail(number, "tells of another version of the format: replay it with the kivhost that it was made with.");
  const Json date = fields.value("date", Json());
  const auto start = date.is_string() ? dateOf(date.get_ref<const std::string&>()) : std::nullopt;
  if (!start) fail(number, "has no date: " + std::string(fetchAgain));
  return {.number = number, .header = std::move(fields), .start = *start};
}

Line call(std::size_t number, Json& fields) {
  try {
    Line line{.number = number, .call = textIn(fields, "call")};
    for (const char* part : {"asked", "answered"}) {
      if (!fields.contains(part) || !fields[part].is_object())
        throw std::runtime_error("lacks \"" + std::string(part) + "\"");
    }
    line.asked = std::move(fields["asked"]);
    line.answered = std::move(fields["answered"]);
    if (fields.contains("error")) line.error = static_cast<std::uint32_t>(numberIn(fields, "error"));
    for (const char* time : {"at", "took"}) {
      if (numberIn(fields, time) > longestTime)
        throw std::runtime_error("has no time in \"" + std::string(time) + "\"");
    }
    line.at = static_cast<std::int64_t>(numberIn(fields, "at"));
    line.took = static_cast<std::int64_t>(numberIn(fields, "took"));
    return line;
  } catch (const std::runtime_error& error) {
    fail(number, error.what() + std::string(": ") + fetchAgain);
  }
}

}  // namespace

std::string Line::text() const {
  Json line{{"call", call}, {"asked", asked}, {"answered", answered}};
  if (error) line["error"] = *error;
  line["at"] = at;
  line["took"] = took;
  return line.dump();
}

Json headerOf(std::int64_t start, const Json& more) {
  Json header{{"format", formatName}, {"version", formatVersion}, {"date", dateText(start)}};
  header.update(more);
  return header;
}

std::string headerText(const Json& header) {
  return header.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string endText(std::size_t calls) { return Json{{"end", calls}}.dump(); }

Recordings readRecordings(std::istream& in) {
  Recordings recordings;
  std::size_t torn = 0;
  std::string text;
  for (std::size_t number = 1; std::getline(in, text); ++number) {
    Json fields = parse(number, text);
    if (recordings.empty() || fields.contains("format")) {
      recordings.push_back(begun(number, std::move(fields)));
      torn = 0;
      continue;
    }
    // Whatever tore the last line of a process is not damage; in the middle it is.
    if (torn != 0) fail(torn, "is damaged: " + std::string(fetchAgain));
    Recording& recording = recordings.back();
    if (recording.complete) fail(number, "stands behind the end: delete it.");
    if (fields.is_null()) {
      torn = number;
    } else if (!fields.contains("end")) {
      recording.lines.push_back(call(number, fields));
    } else if (fields["end"] == recording.lines.size()) {
      recording.complete = true;
    } else {
      fail(number, "counts other calls than there are: lines are missing or were added.");
    }
  }
  if (recordings.empty())
    fail(1, "is missing, the file is empty: name a file that kivhost --record has written.");
  return recordings;
}

void Recording::write(std::ostream& out) const {
  out << headerText(header) << '\n';
  for (const Line& line : lines) out << line.text() << '\n';
  if (complete) out << endText(lines.size()) << '\n';
}

std::uint64_t numberIn(const Json& fields, const char* key) {
  const auto found = fields.find(key);
  if (found == fields.end() || !found->is_number_integer())
    throw std::runtime_error("has no number in \"" + std::string(key) + "\"");
  return found->is_number_unsigned() ? found->get<std::uint64_t>()
                                     : static_cast<std::uint64_t>(found->get<std::int64_t>());
}

const std::string& textIn(const Json& fields, const char* key) {
  const auto found = fields.find(key);
  if (found == fields.end() || !found->is_string())
    throw std::runtime_error("has no text in \"" + std::string(key) + "\"");
  return found->get_ref<const std::string&>();
}

std::string toText(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::string fromText(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80 || i + 1 == text.size()) {
      bytes += text[i];
    } else {
      bytes += static_cast<char>(byte << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
    }
  }
  return bytes;
}

std::optional<std::vector<std::uint8_t>> fromHex(std::string_view text) {
  const auto digit = [](char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
  };
  std::vector<std::uint8_t> bytes;
  if (text.empty()) return bytes;
  if (text.size() % 3 != 2) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    const int high = digit(text[i]);
    const int low = digit(text[i + 1]);
    if (high < 0 || low < 0 || (i + 2 < text.size() && text[i + 2] != ' ')) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  return bytes;
}

}  // namespace simulator::recording
