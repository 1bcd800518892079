// What the process of one drive is told, and what it tells, as lines of JSON.
#pragma once

#include <optional>
#include <string>

#include "host/core/document.h"
#include "host/core/progress_view.h"
#include "host/core/session.h"

namespace host {

inline constexpr const char* driveProcessWord = "drive-process";

struct DriveOrder {
  SessionOptions session;
  std::string address, serial;
  std::string wanted, sha256;  ///< as the plan had them
  UpdateFlags flags;
  std::uint32_t restartLimit = 0;  ///< seconds
  bool log = false;                ///< tell the library's log, too
  bool askOnly = false;            ///< for its level, without an update
  std::size_t recording = 0;       ///< number of the one that answers it in a replay
};
std::string toLine(const DriveOrder& order);
DriveOrder parseOrder(const std::string& line);

/// One line of such a process; what it does not hold is empty.
struct DriveNews {
  std::optional<Progress> progress;
  std::optional<std::string> log;
  std::optional<std::string> level;      ///< answer to askOnly; empty when the drive does not answer
  Json outcome;                          ///< the last line of an update
  std::optional<std::string> departure;  ///< why the replay ends
  CallsLeft left;                        ///< recorded calls of this process that never came
};
DriveNews parseNews(const std::string& line);

std::string progressLine(const Progress& progress);
std::string logLine(std::string_view line);
std::string levelLine(const std::string& level);
std::string outcomeLine(const Json& outcome);
std::string departureLine(const std::string& sentences);
std::string leftLine(const CallsLeft& left);

}  // namespace host
