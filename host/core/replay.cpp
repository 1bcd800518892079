#include "host/core/replay.h"

#include <fmt/format.h>

#include <fstream>

#include "host/core/drive_order.h"
#include "host/core/error.h"
#include "host/core/text.h"

namespace host {

using simulator::recording::Player;
using simulator::recording::Recording;

simulator::recording::Recordings readRecordingFile(const std::string& file) {
  std::ifstream in(toPath(file), std::ios::binary);
  if (!in)
    throw HostError(exitUsage,
                    fmt::format("The recording {} cannot be read: check its name and its rights.", file));
  try {
    return simulator::recording::readRecordings(in);
  } catch (const std::runtime_error& error) {
    throw HostError(exitRecording, fmt::format("{}: {}", file, error.what()));
  }
}

static std::string recordedCommand(const Recording& recording) {
  const auto found = recording.header.find("command");
  return found != recording.header.end() && found->is_string() ? found->get<std::string>() : "";
}

Replay::Replay(const std::string& file, std::size_t next, Departed departed)
    : recordings_(readRecordingFile(file)), next_(next), departed_(std::move(departed)) {}

std::unique_ptr<Player> Replay::begin(const std::string& command) {
  const std::size_t number = next_++;
  if (number >= recordings_.size())
    throw HostError(exitRecording,
                    fmt::format("The recording ends with line {}.\n  expected: no further process\n"
                                "  actual:   {}",
                                recordings_.back().lastNumber(), command));
  const Recording& recording = recordings_[number];
  const std::string recorded = recordedCommand(recording);
  // The words of a whole command may be others; the process of a drive has none but its own.
  if (command.starts_with(driveProcessWord) && recorded != command)
    throw HostError(exitRecording,
                    fmt::format("The replay departs from the recording in line {}.\n  expected: {}\n"
                                "  actual:   {}\n{}",
                                recording.number, recorded.empty() ? "another process" : recorded, command,
                                leftFrom(number).sentence()));
  return std::make_unique<Player>(recording, [this, number](const Player& player) {
    CallsLeft left = player.left();
    left.add(leftFrom(number + 1));
    departed_(player.departure() + (left.count == 0 ? "" : "\n") + left.sentence());
  });
}

CallsLeft Replay::leftFrom(std::size_t recording) const {
  CallsLeft left;
  for (; recording < recordings_.size(); ++recording)
    left.add(simulator::recording::callsOf(recordings_[recording].lines));
  return left;
}

CallsLeft Replay::leftAtTheEnd() const {
  CallsLeft left = left_;
  left.add(leftFrom(next_));
  return left;
}

}  // namespace host
