// Recording what the library and the devices say to each other.
#pragma once

#include <fstream>
#include <string>

#include "simulator/recording/recorder.h"

namespace host {

struct SessionOptions;

/// The file of a recording is new, or one that earlier processes of the same command have begun.
class SessionRecorder {
 public:
  /// The library is loaded, and its calls come here. Throws HostError for a file that cannot be written.
  explicit SessionRecorder(const SessionOptions& options);

 private:
  std::ofstream file_;
  simulator::recording::Recorder recorder_;
};

/// Where the calls are written that become `file` behind a mask.
inline std::string unmaskedFile(const std::string& file) { return file + ".unmasked"; }
/// Throws HostError for a recording that is there already: it is never written over.
void refuseExisting(const std::string& file, bool mask);
/// Puts the mask on, and looks whether the recording is whole. Returns a sentence if it is not, or empty.
std::string finishRecording(const std::string& file, bool mask);
/// Writes a masked copy. Throws HostError.
void maskRecording(const std::string& file, const std::string& copy);

}  // namespace host
