#include "host/core/progress_view.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/core/table.h"

namespace host {
namespace {

constexpr std::size_t barWidth = 20;
constexpr unsigned percentStep = 10;

/// "downloading              [#####---------------]  25 %  1048576 of 4194304 bytes"
std::string describe(const Progress& progress, bool withBar) {
  std::string text = phaseText(progress.phase);
  if (progress.phase == Phase::Done)
    return fmt::format("done: the drive runs level {}", printable(progress.level));
  if (progress.size == 0 || progress.phase > Phase::Downloading) return text;
  if (progress.phase < Phase::Downloading) return fmt::format("{} ({} bytes)", text, progress.size);
  if (withBar) {
    const std::size_t filled = barWidth * progress.percent() / 100;
    text += fmt::format(" [{:#<{}}{:-<{}}]", "", filled, "", barWidth - filled);
  }
  return text + fmt::format(" {:3} % {} of {} bytes", progress.percent(), progress.sent, progress.size);
}

}  // namespace

void ProgressView::startDevice(const Progress& progress) {
  finish();
  shown_ = progress;
  deviceShown_ = true;
  output_(fmt::format("Drive {}: {} to level {}\n", progress.device, printable(progress.product),
                      printable(progress.level)));
}

void ProgressView::show(const Progress& progress) {
  // A drive that Config.txt does not list, or that needs no update, starts no phase and gets no line.
  if (progress.phase == Phase::Starting) {
    finish();
    return;
  }
  const bool newPhase = !deviceShown_ || progress.phase != shown_.phase;
  if (!deviceShown_) startDevice(progress);

  if (terminal_) {
    const std::string text = "  " + describe(progress, true);
    output_(fmt::format("\r{:<{}}", text, lineLength_));
    lineLength_ = text.size();
  } else {
    if (!newPhase && progress.percent() / percentStep == shown_.percent() / percentStep) return;
    output_("  " + describe(progress, false) + '\n');
  }
  shown_ = progress;
}

void ProgressView::finish() {
  if (terminal_ && lineLength_ > 0) output_("\n");
  lineLength_ = 0;
  deviceShown_ = false;
}

}  // namespace host
