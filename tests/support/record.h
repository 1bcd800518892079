#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "tests/support/hex.h"

class GenericScsiCommand;

/// SUITE.TEST of the test that runs, or SUITE.TEST.PARAMETER.
std::string testName();
/// A file of tests/data.
std::string testData(const std::string& name);

/// What a test saw, line by line. In the end the whole is compared with tests/data/SUITE.TEST.txt. With
/// KIV_UPDATE_DATA set in the environment it is written there instead, to be reviewed as a difference.
class Record {
 public:
  Record() = default;
  ~Record();
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  /// "what: value value"; the lines of a list follow below, indented.
  template <typename... Values>
  void operator()(const std::string& what, const Values&... values) {
    std::string line = what + (sizeof...(values) > 0 ? ":" : "");
    (append(line, values), ...);
    add(line);
  }
  template <typename... Values>
  void tell(const std::string& what, const std::tuple<Values...>& values) {
    std::apply([&](const auto&... each) { (*this)(what, each...); }, values);
  }
  /// CDB, data direction and length, time-out, twin, and the data buffer where it is not zero.
  void command(const std::string& what, GenericScsiCommand& command);
  /// What setters make of CDB and data whose bits are all set, the operation code apart.
  void settersOn(GenericScsiCommand& command, const std::function<void()>& setters);

 private:
  void add(const std::string& line);
  /// Blocks of lines that repeat, once each: "3 times:" and the block.
  static std::vector<std::string> folded(const std::vector<std::string>& lines);
  static void append(std::string& line, const std::string& value) { line += " \"" + value + '"'; }
  static void append(std::string& line, const char* value) {
    append(line, std::string(value ? value : "(null)"));
  }
  static void append(std::string& line, bool value) { line += value ? " yes" : " no"; }
  static void append(std::string& line, std::span<const std::uint8_t> value) {
    line += " [" + hex(value) + "]";
  }
  static void append(std::string& line, const std::vector<std::string>& values) {
    for (const std::string& value : folded(values)) line += "\n    " + value;
  }
  template <typename Number>
  requires(std::is_arithmetic_v<Number> || std::is_enum_v<Number>) static void append(std::string& line,
                                                                                      Number value) {
    line +=
        " " +
        std::to_string(
            static_cast<std::conditional_t<std::is_signed_v<Number>, long long, unsigned long long>>(value));
  }

  std::string text;
};

/// Records expressions and their values, in their order.
#define TELL(...) record.tell(#__VA_ARGS__, std::tuple{__VA_ARGS__})
/// Records a command `c` after its construction and, if given, some setters.
#define COMMAND(construction, ...)                                  \
  do {                                                              \
    auto c = construction;                                          \
    __VA_OPT__((__VA_ARGS__);)                                      \
    record.command(#construction __VA_OPT__(", " #__VA_ARGS__), c); \
    __VA_OPT__(record.settersOn(c, [&] { __VA_ARGS__; });)          \
  } while (false)
