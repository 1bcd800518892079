#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/core/simulation.h"

namespace host {

/// Which library a command works with, and on which room.
struct SessionOptions {
  std::string library;    ///< file of the DLL; empty for the one beside this program
  std::string room;       ///< file of a simulated room
  bool simulate = false;  ///< the built-in room, without a file

  /// The lock of an update: one on a machine, or one in a room.
  std::string lockName() const;
};

/// The library, from its loading to kiv_close(); in a simulated room when one is asked for.
class Session {
 public:
  using LogLine = std::function<void(std::string_view)>;
  /// `log` may be empty.
  Session(const SessionOptions& options, LogLine log);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Writes levels that have changed to the room's file; does nothing outside rooms.
  void keepRoom();

 private:
  LogLine log_;
  std::optional<Simulation> simulation_;
};

}  // namespace host
