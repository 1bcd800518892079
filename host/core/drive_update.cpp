#include "host/core/drive_update.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/platform/platform.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto glance = 100ms;
/// No command of an update may take longer, so a process that says nothing for so long hangs in a driver.
constexpr auto longestSilence = 20min;
/// What a restart may take longer than its limit: the command that was under way when it was over.
constexpr auto restartGrace = 5min;
/// For the question which level a drive runs.
constexpr auto longestAnswer = 2min;

/// What ended a process before it told its outcome.
enum class End { Outcome, Crash, Silence, Restart, Interrupt };

constexpr const char* firstInterrupt =
    "Ctrl-C: no further drive is started, this one is finished first. Ctrl-C once more leaves at once.";
constexpr const char* whatLeavingMeans =
    "Until its last chunk a drive keeps its old firmware; after its last chunk it must not be switched off "
    "before \"kivhost scan\" shows it again.";

/// What the process of a drive tells of a replay.
void takeReplay(const DriveNews& news, Replay* replay) {
  if (news.departure) throw HostError(exitRecording, *news.departure);
  if (replay) replay->add(news.left);
}

class Watch {
 public:
  Watch(const DriveOrder& order, const Output& output, Log& log, Replay* replay)
      : order_(order),
        output_(output),
        log_(log),
        replay_(replay),
        view_([&](std::string_view text) { output.say(text); }, output.isTerminal(), order.restartLimit) {}

  /// Follows the process until it has told its outcome, or must not be waited for any longer.
  End follow(platform::Process& process) {
    while (true) {
      std::string line;
      switch (process.next(line, glance)) {
        case platform::Process::Event::End:
          view_.leaveLine();
          return outcome.is_null() ? End::Crash : End::Outcome;
        case platform::Process::Event::Line:
          take(parseNews(line));
          lastWord_ = Clock::now();
          break;
        case platform::Process::Event::Nothing:
          break;
      }
      if (const auto end = impatience()) {
        view_.leaveLine();
        return *end;
      }
    }
  }

  Json outcome;
  Progress progress;

 private:
  void take(const DriveNews& news) {
    takeReplay(news, replay_);
    if (news.log) log_.write(*news.log);
    if (!news.outcome.is_null()) outcome = news.outcome;
    if (!news.progress) return;
    if (news.progress->phase == KIV_PHASE_RESTART && progress.phase != KIV_PHASE_RESTART)
      restartBegan_ = Clock::now();
    progress = *news.progress;
    view_.show(progress);
  }

  std::optional<End> impatience() {
    const unsigned interrupts = platform::interrupts();
    if (interrupts > interrupts_) {
      view_.leaveLine();
      interrupts_ = interrupts;
      if (interrupts >= 2) return End::Interrupt;
      output_.complain(firstInterrupt);
    }
    const auto now = Clock::now();
    if (progress.phase == KIV_PHASE_RESTART &&
        now - restartBegan_ > std::chrono::seconds(order_.restartLimit) + restartGrace)
      return End::Restart;
    if (now - lastWord_ > longestSilence) return End::Silence;
    return std::nullopt;
  }

  const DriveOrder& order_;
  const Output& output_;
  Log& log_;
  Replay* replay_;
  ProgressView view_;
  unsigned interrupts_ = platform::interrupts();
  Clock::time_point lastWord_ = Clock::now();
  Clock::time_point restartBegan_ = Clock::now();
};

/// Which level the drive runs now; empty when it does not say. In a process, too: the drive may be what hung.
std::string askLevel(DriveOrder order, Replay* replay) {
  order.askOnly = true;
  order.log = false;
  if (replay) order.recording = replay->passOn();
  platform::Process process(driveProcessWord, toLine(order));
  const auto end = Clock::now() + longestAnswer;
  std::string line, level;
  while (Clock::now() < end && platform::interrupts() < 2) {
    const auto event = process.next(line, glance);
    if (event == platform::Process::Event::End) return level;
    if (event != platform::Process::Event::Line) continue;
    const DriveNews news = parseNews(line);
    takeReplay(news, replay);
    level = news.level.value_or(level);
  }
  process.terminate();
  return level;
}

Json answerFor(End end, const DriveOrder& order, const Device& drive, const Progress& progress,
               Replay* replay) {
  const bool lastChunkSent = progress.total > 0 && progress.bytes == progress.total;
  const std::string step = fmt::format("in the step \"{}\", after {} of {} bytes",
                                       kiv_phase_name(std::max<int>(progress.phase, KIV_PHASE_CHECK)),
                                       progress.bytes, progress.total);
  const auto answer = [&](int result, const std::string& level, const std::string& message) {
    return outcome(result, drive.level, level, progress.bytes, fmt::format("{}: {}", drive.name(), message));
  };
  if (end == End::Interrupt)
    return answer(KIV_INTERRUPTED, "", fmt::format("interrupted {}. {}", step, whatLeavingMeans));

  const std::string level = askLevel(order, replay);
  if (lastChunkSent && level == order.wanted && level != drive.level) {
    Json good = answer(
        KIV_OK, level,
        fmt::format("its process was lost {}, but asked for its level, it runs the wanted {}.", step, level));
    good["verified"] = true;
    return good;
  }
  const std::string now = step + ". " + levelSentence(drive.level, level);
  if (end == End::Crash)
    return answer(KIV_UNEXPECTED, level,
                  fmt::format("its process ended without a word {} Update again, with --log.", now));
  if (lastChunkSent)
    return answer(
        KIV_NOT_BACK_IN_TIME, level,
        fmt::format("the driver does not answer since the last chunk, {} Do not switch the drive off "
                    "yet: look at \"kivhost scan\" in half an hour.",
                    now));
  return answer(progress.bytes > 0 ? KIV_UPDATE_FAILED : KIV_DEVICE_DISCONNECTED, level,
                fmt::format("the driver does not answer {} Check power and cabling, and look at \"kivhost "
                            "scan\" before updating again.",
                            now));
}

}  // namespace

Json updateInProcess(DriveOrder order, const Device& drive, const Output& output, Log& log, Replay* replay) {
  if (replay) order.recording = replay->passOn();
  platform::Process process(driveProcessWord, toLine(order));
  Watch watch(order, output, log, replay);
  const End end = watch.follow(process);
  if (end == End::Outcome) return watch.outcome;
  process.terminate();
  return answerFor(end, order, drive, watch.progress, replay);
}

}  // namespace host
