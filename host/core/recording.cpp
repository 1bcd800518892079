#include "host/core/recording.h"

#include <fmt/format.h>

#include <sstream>

#include "host/core/error.h"
#include "host/core/replay.h"
#include "host/core/session.h"
#include "host/core/text.h"
#include "host/platform/platform.h"
#include "kiv/kiv_c.h"
#include "simulator/recording/mask.h"

namespace host {
namespace {

using simulator::recording::Recording;
using simulator::recording::Recordings;

bool exists(const std::string& file) {
  std::error_code error;
  return std::filesystem::exists(toPath(file), error);
}

std::ofstream openForMore(const std::string& file) {
  // A process that was ended in the middle of a line has torn it.
  bool torn = false;
  if (std::ifstream before(toPath(file), std::ios::binary | std::ios::ate); before && before.tellg() > 0) {
    before.seekg(-1, std::ios::end);
    torn = before.get() != '\n';
  }
  std::ofstream out(toPath(file), std::ios::binary | std::ios::app);
  if (torn) out << '\n';
  if (!out)
    throw HostError(exitUsage, fmt::format("--record {} cannot be written: choose another file.", file));
  return out;
}

void writeMasked(const Recordings& recordings, const std::string& file) {
  std::ostringstream out;
  for (const Recording& recording : simulator::recording::masked(recordings)) recording.write(out);
  replaceFile(toPath(file), out.str());
}

}  // namespace

SessionRecorder::SessionRecorder(const SessionOptions& options)
    : file_(openForMore(options.record)),
      recorder_(file_, {{"command", options.command},
                        {"library", kiv_version()},
                        {"tool", "kivhost " KIVHOST_VERSION},
                        {"system", platform::systemVersion()}}) {}

void refuseExisting(const std::string& file, bool mask) {
  for (const std::string& name : {file, mask ? unmaskedFile(file) : file}) {
    if (exists(name))
      throw HostError(exitUsage, fmt::format("{} is there already, and no recording is written over: choose "
                                             "another file.",
                                             name));
  }
}

std::string finishRecording(const std::string& file, bool mask) {
  const std::string written = mask ? unmaskedFile(file) : file;
  if (!exists(written)) return "Nothing was recorded: the command did not come to ask for devices.";
  const Recordings recordings = readRecordingFile(written);
  if (mask) {
    writeMasked(recordings, file);
    std::error_code error;
    std::filesystem::remove(toPath(written), error);
    if (error) return fmt::format("{} is masked, but {} is still there: delete it.", file, written);
  }
  for (const Recording& recording : recordings) {
    if (!recording.complete)
      return fmt::format(
          "The recording {} breaks off after line {}: a process ended too early, or the disk is full.", file,
          recording.lastNumber());
  }
  return "";
}

void maskRecording(const std::string& file, const std::string& copy) {
  refuseExisting(copy, false);
  writeMasked(readRecordingFile(file), copy);
}

}  // namespace host
