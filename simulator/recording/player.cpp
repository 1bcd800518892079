#include "simulator/recording/player.h"

#include <algorithm>

#include "simulator/windows/handle_marks.h"

namespace simulator::recording {
namespace {

/// One call as a line of a recording shows it.
std::string textOf(const std::string& call, const Json& asked) {
  return call + " " + asked.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void CallsLeft::add(const CallsLeft& later) {
  if (count == 0) first = later.first;
  count += later.count;
}

std::string CallsLeft::sentence() const {
  if (count == 0) return "";
  return std::to_string(count) + (count == 1 ? " recorded call" : " recorded calls") +
         " never came, the first in " + first + ".";
}

CallsLeft callsOf(std::span<const Line> lines) {
  if (lines.empty()) return {};
  const Line& line = lines.front();
  return {lines.size(), "line " + std::to_string(line.number) + ": " + textOf(line.call, line.asked)};
}

std::string Player::differenceTo(const std::string& call, const Json& asked) const {
  std::string text = "The replay departs from the recording in line ";
  std::string expected = "no further call";
  if (rest().empty()) {
    text = recording_.complete ? "The recording ends with line " : "The recording breaks off after line ";
    text += std::to_string(recording_.lastNumber());
  } else {
    text += std::to_string(rest().front().number);
    expected = textOf(rest().front().call, rest().front().asked);
  }
  return text + ".\n  expected: " + expected + "\n  actual:   " + textOf(call, asked);
}

void Player::depart(std::string sentence) {
  departure_ = std::move(sentence);
  if (departed_) departed_(*this);
}

bool Player::hold(const char* call, Json asked, const Behind&, const Description& description) {
  if (departure_.empty() && (rest().empty() || rest().front().call != call || rest().front().asked != asked))
    depart(differenceTo(call, asked));
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
      depart("Line " + std::to_string(line.number) + " of the recording " + error.what() + ".");
    }
  }
  if (asked.contains("milliseconds")) now_ += asked["milliseconds"].get<std::int64_t>();
  SetLastError(ERROR_GEN_FAILURE);
  return false;
}

// The library looks at the clock behind a command, and again before the next one, which may come much later.
__time64_t Player::time64() {
  if (std::exchange(timeAsked_, true) && departure_.empty() && !rest().empty())
    now_ = std::max(now_, recording_.start + rest().front().at);
  return now_ / 1000;
}

std::uint64_t Player::numberOf(const void* handle) const {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  return (value & handleMarkBits) == replayedHandleMark ? value & ~handleMarkBits : 0;
}

void Player::opened(Answer& answer, const char* key, HANDLE& handle) {
  std::uint64_t number = 0;
  answer.number(key, number);
  handle = number == 0 ? INVALID_HANDLE_VALUE
                       : reinterpret_cast<HANDLE>(
                             static_cast<std::uintptr_t>(replayedHandleMark | (number & ~handleMarkBits)));
}

}  // namespace simulator::recording
