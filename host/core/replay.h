// Answering the library from a recording.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "simulator/recording/player.h"

namespace host {

using simulator::recording::CallsLeft;

/// Throws HostError with a sentence that names the file and the line at fault.
simulator::recording::Recordings readRecordingFile(const std::string& file);

/// A file whose recordings answer the sessions of a command one after the other, those of this process and
/// those of the drives' processes.
class Replay {
 public:
  /// Ends this process: a replay is over with the first call that is not the recorded one.
  using Departed = std::function<void(const std::string& sentences)>;
  /// `next` is the number of the recording to begin with. Throws HostError.
  Replay(const std::string& file, std::size_t next, Departed departed);

  /// Answers a session from the next recording. That of a drive's process was made by such a process.
  std::unique_ptr<simulator::recording::Player> begin(const std::string& command);
  /// Leaves the next recording to another process. Returns its number.
  std::size_t passOn() { return next_++; }

  /// Of sessions that have ended.
  void add(const CallsLeft& left) { left_.add(left); }
  const CallsLeft& left() const { return left_; }
  /// With those of the sessions that never began.
  CallsLeft leftAtTheEnd() const;

 private:
  CallsLeft leftFrom(std::size_t recording) const;

  simulator::recording::Recordings recordings_;
  std::size_t next_;
  Departed departed_;
  CallsLeft left_{};
};

}  // namespace host
