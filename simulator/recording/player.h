#pragma once

#include <functional>
#include <span>

#include "simulator/recording/transcript.h"

namespace simulator::recording {

/// Recorded calls that have not come.
struct CallsLeft {
  std::size_t count = 0;
  std::string first{};  ///< "line 37: CloseHandle {...}"

  /// Those of a later recording of the file.
  void add(const CallsLeft& later);
  /// Empty if there are none.
  std::string sentence() const;
};
CallsLeft callsOf(std::span<const Line> lines);

/// Answers the library from a recording. Time runs as recorded, and nothing waits. After the first call that
/// is not the recorded one every call fails, so that the library comes to its end.
class Player : public Transcript {
 public:
  using Departed = std::function<void(const Player&)>;
  /// `departed` is called at the first call that is not the recorded one, and need not return.
  explicit Player(Recording recording, Departed departed = {})
      : recording_(std::move(recording)), departed_(std::move(departed)), now_(recording_.start) {}

  /// The first call that was not as recorded, in a sentence; empty if all was.
  const std::string& departure() const { return departure_; }
  CallsLeft left() const { return callsOf(rest()); }

  bool hold(const char* call, Json asked, const Behind& behind, const Description& description) override;
  __time64_t time64() override;
  std::uint64_t numberOf(const void* handle) const override;
  void opened(Answer& answer, const char* key, HANDLE& handle) override;
  void closed(const void*) override {}

 private:
  std::span<const Line> rest() const { return std::span(recording_.lines).subspan(next_); }
  std::string differenceTo(const std::string& call, const Json& asked) const;
  void depart(std::string sentence);

  Recording recording_;
  Departed departed_;
  std::size_t next_ = 0;
  std::int64_t now_;        ///< milliseconds since 1970
  bool timeAsked_ = false;  ///< since the last call
  std::string departure_{};
};

}  // namespace simulator::recording
