#pragma once

#include <gtest/gtest.h>

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
  /// The lines caught; log lines without their time, such as "MAIN0000D message".
  std::vector<std::string> lines() {
    std::vector<std::string> result;
    const std::string& whole = text();
    std::size_t begin = 0;
    for (std::size_t end; (end = whole.find('\n', begin)) != std::string::npos; begin = end + 1) {
      std::string line = whole.substr(begin, end - begin);
      const std::size_t time = line.find(" '");
      if (time != std::string::npos && line.size() > time + 27 && line.compare(time + 26, 2, "' ") == 0) {
        line.replace(time, 28, " ");
      }
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
