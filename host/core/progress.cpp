#include "host/core/progress.h"

#include <algorithm>
#include <charconv>

namespace host {
namespace {

constexpr std::uint64_t chunkSize = 32768;

struct Step {
  std::string_view begins;
  Phase phase;
};

/// Log messages that tell a step of the update. A step never goes back, so a message that also turns up in a
/// later phase does no harm.
constexpr Step steps[] = {
    {"Download Firmware: wait4DriveReady", Phase::WaitingForDrive},
    {"Firmware download is not supported with a loaded", Phase::Unloading},
    {"Download Firmware: No Media is loaded", Phase::ReadingImage},
    {"Download Firmware: Stuck", Phase::ReadingImage},
    {"Download Firmware: Init Required", Phase::ReadingImage},
    {"Write Buffer completed!!!", Phase::Rebooting},
    {"Download Firmware  OK, New Firmware level is ", Phase::Done},
};

/// The message of a log entry: what follows the time in its quotes.
std::string_view messageOf(std::string_view line) {
  const std::size_t time = line.find(" '");
  if (time == line.npos) return {};
  const std::size_t end = line.find("' ", time + 2);
  return end == line.npos ? std::string_view() : line.substr(end + 2);
}

/// The text between `before` and `after`, searched from the front; nothing when they do not both occur.
std::optional<std::string_view> between(std::string_view text, std::string_view before,
                                        std::string_view after) {
  const std::size_t start = text.find(before);
  if (start == text.npos) return {};
  const std::string_view rest = text.substr(start + before.size());
  const std::size_t end = rest.find(after);
  if (end == rest.npos) return {};
  return rest.substr(0, end);
}

template <class Number>
Number numberAt(std::string_view text, Number fallback) {
  std::from_chars(text.data(), text.data() + text.size(), fallback);
  return fallback;
}

}  // namespace

const char* phaseText(Phase phase) {
  switch (phase) {
    case Phase::Starting:
      return "starting";
    case Phase::WaitingForDrive:
      return "waiting for the drive";
    case Phase::Unloading:
      return "unloading the cartridge";
    case Phase::ReadingImage:
      return "reading the image";
    case Phase::Downloading:
      return "downloading";
    case Phase::Rebooting:
      return "rebooting";
    case Phase::Done:
      return "done";
  }
  return "";
}

bool ProgressReader::enter(Phase phase) {
  if (phase <= progress_.phase) return false;
  progress_.phase = phase;
  return true;
}

// The log tells when a chunk starts, so all chunks before it have arrived.
bool ProgressReader::chunkStarts() {
  if (progress_.size == 0 || progress_.phase > Phase::Downloading) return false;
  progress_.sent = std::min(progress_.size, chunks_ * chunkSize);
  ++chunks_;
  enter(Phase::Downloading);
  return true;
}

bool ProgressReader::read(std::string_view line) {
  const std::string_view message = messageOf(line);

  if (message.starts_with("updateFirmware (")) {
    chunks_ = 0;
    progress_ = {};
    progress_.device = numberAt(message.substr(message.find('(') + 1), 0);
    return true;
  }
  if (message.starts_with("Product is ==>")) {
    progress_.product = between(message, "==>", "<==").value_or("");
    return true;
  }
  if (message.starts_with("Microcode Filename is ")) {
    progress_.level = between(message, "new ucode is ==>", "<==").value_or("");
    return true;
  }
  if (message.starts_with("Firmware Filesize ")) {
    progress_.size = numberAt(message.substr(message.rfind(' ') + 1), std::uint64_t{0});
    enter(Phase::ReadingImage);
    return true;
  }
  if (message.starts_with("set CDB timeoutvalue ") && message.ends_with(" for opcode 3B set"))
    return chunkStarts();

  const auto step = std::find_if(std::begin(steps), std::end(steps),
                                 [&](const Step& s) { return message.starts_with(s.begins); });
  if (step == std::end(steps) || !enter(step->phase)) return false;
  if (step->phase == Phase::Rebooting) progress_.sent = progress_.size;
  if (step->phase == Phase::Done) progress_.level = message.substr(step->begins.size());
  return true;
}

}  // namespace host
