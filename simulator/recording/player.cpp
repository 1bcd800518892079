#include "simulator/recording/player.h"

#include <algorithm>

namespace simulator::recording {
namespace {

// Handles lie where neither Windows nor a simulated room puts its own.
constexpr std::uintptr_t handleMark = 0x51A8'0000'0000'0000;
constexpr std::uintptr_t handleMarkBits = 0xFFFF'0000'0000'0000;

}  // namespace

std::string Player::complaint() const {
  std::string text = departure_;
  const std::size_t left = recording_.lines.size() - next_;
  if (left > 0) {
    const Line& line = recording_.lines[next_];
    text += (text.empty() ? "" : "\n") + std::to_string(left) +
            (left == 1 ? " recorded call" : " recorded calls") + " never came, the first in line " +
            std::to_string(line.number) + ": " + line.call + " " + line.asked.dump();
  }
  return text;
}

void Player::depart(const std::string& call, const Json& asked) {
  const bool ended = next_ == recording_.lines.size();
  const std::size_t number =
      ended ? (next_ == 0 ? 1 : recording_.lines.back().number) : recording_.lines[next_].number;
  departure_ =
      ended ? (recording_.complete ? "The recording ends with line " : "The recording breaks off after line ")
            : "The replay departs from the recording in line ";
  departure_ += std::to_string(number) + ".\n  expected: " +
                (ended ? "no further call"
                       : recording_.lines[next_].call + " " + recording_.lines[next_].asked.dump()) +
                "\n  actual:   " + call + " " + asked.dump();
}

bool Player::hold(const char* call, Json asked, const Behind&, const Description& description) {
  const bool more = next_ < recording_.lines.size();
  if (departure_.empty() &&
      (!more || recording_.lines[next_].call != call || recording_.lines[next_].asked != asked)) {
    depart(call, asked);
  }
  if (departure_.empty()) {
    Line& line = recording_.lines[next_++];
    now_ = recording_.start + line.at + line.took;
    timeAsked_ = false;
    Answer answer(line.answered, Answer::given);
    try {
      description(answer);
      if (line.error) SetLastError(*line.error);
      return true;
    } catch (const std::runtime_error& error) {
      departure_ = "Line " + std::to_string(line.number) + " of the recording " + error.what() + ".";
    }
  }
  if (asked.contains("milliseconds")) now_ += asked["milliseconds"].get<std::int64_t>();
  SetLastError(ERROR_GEN_FAILURE);
  return false;
}

// The library looks at the clock behind a command, and again before the next one, which may come much later.
__time64_t Player::time64() {
  const bool more = departure_.empty() && next_ < recording_.lines.size();
  if (std::exchange(timeAsked_, true) && more) {
    now_ = std::max(now_, recording_.start + recording_.lines[next_].at);
  }
  return now_ / 1000;
}

std::uint64_t Player::numberOf(const void* handle) const {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  return (value & handleMarkBits) == handleMark ? value & ~handleMarkBits : 0;
}

void Player::opened(Answer& answer, const char* key, HANDLE& handle) {
  std::uint64_t number = 0;
  answer.number(key, number);
  handle =
      number == 0
          ? INVALID_HANDLE_VALUE
          : reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handleMark | (number & ~handleMarkBits)));
}

}  // namespace simulator::recording
