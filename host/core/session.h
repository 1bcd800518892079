#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/core/recording.h"
#include "host/core/replay.h"
#include "host/core/simulation.h"

namespace host {

/// Which library a command works with, and on which room.
struct SessionOptions {
  std::string library;    ///< file of the DLL; empty for the one beside this program
  std::string room;       ///< file of a simulated room
  bool simulate = false;  ///< the built-in room, without a file
  std::string record{};   ///< file that takes what the library and the devices say to each other
  std::string replay{};   ///< file of a recording that answers instead of a room
  std::string command{};  ///< what is done, for the recording

  /// The lock of an update: one on a machine, or one in a room.
  std::string lockName() const;
};

/// The library, from its loading to kiv_close(); in a simulated room when one is asked for, or replayed.
class Session {
 public:
  using LogLine = std::function<void(std::string_view)>;
  /// `log` may be empty, and `replay` null.
  Session(const SessionOptions& options, LogLine log, Replay* replay);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Writes levels that have changed to the room's file; does nothing outside rooms.
  void keepRoom();

 private:
  LogLine log_;
  std::optional<Simulation> simulation_;
  std::optional<SessionRecorder> recorder_;
  Replay* replay_;
  std::unique_ptr<simulator::recording::Player> player_;
};

}  // namespace host
