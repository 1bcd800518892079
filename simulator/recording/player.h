#pragma once

#include "simulator/recording/transcript.h"

namespace simulator::recording {

/// Answers the library from a recording. Time runs as recorded, and nothing waits. After the first call that
/// is not the recorded one every call fails, so that the library comes to its end.
class Player : public Transcript {
 public:
  explicit Player(Recording recording) : recording_(std::move(recording)), now_(recording_.start) {}

  /// What was not as recorded, in sentences; empty if all was.
  std::string complaint() const;

  bool hold(const char* call, Json asked, const Behind& behind, const Description& description) override;
  __time64_t time64() override;
  std::uint64_t numberOf(const void* handle) const override;
  void opened(Answer& answer, const char* key, HANDLE& handle) override;
  void closed(const void*) override {}

 private:
  void depart(const std::string& call, const Json& asked);

  Recording recording_;
  std::size_t next_ = 0;
  std::int64_t now_;         ///< milliseconds since 1970
  bool timeAsked_ = false;   ///< since the last call
  std::string departure_{};  ///< the first call that was not as recorded
};

}  // namespace simulator::recording
