#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/core/progress.h"

namespace host {

/// Shows an update to a person: on a terminal as one line with a bar that is drawn anew, elsewhere (a file, a
/// log) as a line per phase and per ten percent.
class ProgressView {
 public:
  using Output = std::function<void(std::string_view)>;

  ProgressView(Output output, bool terminal) : output_(std::move(output)), terminal_(terminal) {}

  void show(const Progress& progress);
  /// Ends the line of the last drive.
  void finish();

 private:
  void startDevice(const Progress& progress);

  Output output_;
  bool terminal_;
  bool deviceShown_ = false;
  Progress shown_;
  std::size_t lineLength_ = 0;  ///< of the line that is drawn anew
};

}  // namespace host
