#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "kiv/kiv.h"

/// Catches what this process writes to its standard output, the DLL included: both share one C runtime.
class CapturedOutput {
 public:
  CapturedOutput() { testing::internal::CaptureStdout(); }
  ~CapturedOutput() { text(); }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  /// Everything caught; ends the catching.
  const std::string& text() {
    if (!ended) caught = testing::internal::GetCapturedStdout();
    ended = true;
    return caught;
  }
  /// The lines caught; log lines without their time, such as "MAIN0000D message", and without the system's
  /// own wording of an error.
  std::vector<std::string> lines() {
    static const std::regex wording(R"re((errno[:=]? ?-?\d+ ?)(\((?:[^()]|\([^()]*\))+\)|- .+))re");
    std::vector<std::string> result;
    const std::string& whole = text();
    std::size_t begin = 0;
    for (std::size_t end; (end = whole.find('\n', begin)) != std::string::npos; begin = end + 1) {
      std::string line = whole.substr(begin, end - begin);
      const std::size_t time = line.find(" '");
      if (time != std::string::npos && line.size() > time + 27 && line.compare(time + 26, 2, "' ") == 0)
        line.replace(time, 28, " ");
      if (line.find("errno") != std::string::npos) line = std::regex_replace(line, wording, "$1(text)");
      result.push_back(line);
    }
    return result;
  }

 private:
  bool ended = false;
  std::string caught;
};

/// Sets the logger's level for one scope.
class LogLevel {
 public:
  explicit LogLevel(logLevels level) { logger->setLogLevel(level); }
  ~LogLevel() { logger->setLogLevel(LOG_NONE); }
  LogLevel(const LogLevel&) = delete;
  LogLevel& operator=(const LogLevel&) = delete;
};

/// The lines that an operation logs, dumps without their rows.
template <typename Operation>
std::vector<std::string> logOf(Operation operation, logLevels level = LOG_DEBUG) {
  // From the second row of a process on, dumps count in hexadecimal.
  static const bool dumped = [] {
    CapturedOutput hidden;
    LogLevel info(LOG_INFO);
    return logger->logBinary("TEST", 0, "first dump", "x", 1);
  }();
  EXPECT_TRUE(dumped);
  CapturedOutput output;
  {
    LogLevel scope(level);
    operation();
  }
  auto lines = output.lines();
  std::erase_if(lines, [](const std::string& line) { return line.empty() || line.starts_with("  "); });
  return lines;
}
