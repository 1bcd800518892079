#include "host/core/progress_view.h"

#include <fmt/format.h>

#include "kiv/kiv_c.h"

namespace host {
namespace {

constexpr std::size_t barWidth = 20;
constexpr unsigned percentStep = 10;

unsigned percent(const Progress& progress) {
  return progress.total == 0 ? 0 : static_cast<unsigned>(progress.bytes * 100 / progress.total);
}

std::string minutes(std::uint32_t seconds) { return fmt::format("{}:{:02}", seconds / 60, seconds % 60); }

/// "download [#####---------------]  25 % 1048576/4194304"
std::string describe(const Progress& progress, bool withBar, std::uint32_t restartLimit) {
  std::string phase = kiv_phase_name(progress.phase);
  if (progress.phase == KIV_PHASE_RESTART)
    return fmt::format("{} {} of at most {}, leave it switched on", phase, minutes(progress.seconds),
                       minutes(restartLimit));
  if (progress.phase != KIV_PHASE_DOWNLOAD) return phase;
  std::string bar;
  if (withBar) {
    const std::size_t filled = barWidth * percent(progress) / 100;
    bar = fmt::format(" [{:#<{}}{:-<{}}]", "", filled, "", barWidth - filled);
  }
  return fmt::format("{}{} {:3} % {}/{}", phase, bar, percent(progress), progress.bytes, progress.total);
}

}  // namespace

void ProgressView::show(const Progress& progress) {
  const std::string text = "  " + describe(progress, terminal_, restartLimit_);
  if (terminal_) {
    write_(fmt::format("\r{:<{}}", text, lineLength_));
    lineLength_ = text.size();
  } else {
    const bool due = progress.phase != shown_.phase ||
                     (progress.phase == KIV_PHASE_DOWNLOAD &&
                      percent(progress) / percentStep != percent(shown_) / percentStep) ||
                     (progress.phase == KIV_PHASE_RESTART && progress.seconds / 60 != shown_.seconds / 60);
    if (!due) return;
    write_(text + '\n');
  }
  shown_ = progress;
}

void ProgressView::leaveLine() {
  if (lineLength_ > 0) write_("\n");
  lineLength_ = 0;
}

}  // namespace host
