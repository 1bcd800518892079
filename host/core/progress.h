#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// The steps of an update, in order.
enum class Phase { Starting, WaitingForDrive, Unloading, ReadingImage, Downloading, Rebooting, Done };

const char* phaseText(Phase phase);

/// How far the update of one drive is.
struct Progress {
  int device = 0;       ///< index
  std::string product;  ///< empty until Config.txt was looked up
  std::string level;    ///< the level to be written; once done, the level that the drive runs
  Phase phase = Phase::Starting;
  std::uint64_t size = 0;  ///< of the image in bytes; 0 until it was read
  std::uint64_t sent = 0;  ///< bytes handed to the drive

  unsigned percent() const { return size == 0 ? 0 : static_cast<unsigned>(sent * 100 / size); }
};

/// Follows an update in the library's log, which tells every step.
class ProgressReader {
 public:
  /// Takes in one line of the log. True when it told something new.
  bool read(std::string_view line);

  const Progress& progress() const { return progress_; }

 private:
  bool enter(Phase phase);
  bool chunkStarts();

  Progress progress_;
  unsigned chunks_ = 0;
};

}  // namespace host
