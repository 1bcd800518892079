#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace host {

/// How far the update of one drive is.
struct Progress {
  int phase = -1;  ///< kiv_phase
  std::uint64_t bytes = 0, total = 0;
  std::uint32_t seconds = 0;  ///< in this phase
};

/// Shows the update of one drive: on a terminal as one line of less than 60 columns that is drawn anew,
/// elsewhere as a line for each phase, for ten percent of a download, and for a minute of a restart.
class ProgressView {
 public:
  using Write = std::function<void(std::string_view)>;
  ProgressView(Write write, bool terminal, std::uint32_t restartLimit)
      : write_(std::move(write)), terminal_(terminal), restartLimit_(restartLimit) {}

  void show(const Progress& progress);
  /// Leaves the line that is drawn anew, so that other text may follow.
  void leaveLine();

 private:
  Write write_;
  bool terminal_;
  std::uint32_t restartLimit_;  ///< seconds
  Progress shown_;
  std::size_t lineLength_ = 0;
};

}  // namespace host
