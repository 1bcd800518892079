#pragma once

#include <map>
#include <ostream>
#include <set>

#include "simulator/recording/transcript.h"

namespace simulator::recording {

/// Writes down what the library and the room that stands, simulated or real, say to each other.
class Recorder : public Transcript {
 public:
  /// Every line is flushed, so that a crash leaves what was said. `header` joins the header line.
  Recorder(std::ostream& out, const Json& header);
  /// Writes the last line.
  ~Recorder() override;

  bool hold(const char* call, Json asked, const Behind& behind, const Description& description) override;
  __time64_t time64() override;
  std::uint64_t numberOf(const void* handle) const override;
  void opened(Answer& answer, const char* key, HANDLE& handle) override;
  void closed(const void* handle) override { handles_.erase(handle); }

 private:
  void write(const std::string& line);

  std::ostream& out_;
  std::int64_t start_;
  std::size_t calls_ = 0;
  std::uint64_t lastHandle_ = 0;
  std::map<const void*, std::uint64_t> handles_;
};

}  // namespace simulator::recording
