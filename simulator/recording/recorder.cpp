#include "simulator/recording/recorder.h"

#include "simulator/room/room.h"
#include "simulator/windows/real_system.h"
#include "simulator/windows/windows_calls.h"

namespace simulator::recording {
namespace {

std::int64_t now() {
  Room* room = Room::current();
  return room ? room->clock().milliseconds() : real::milliseconds();
}

}  // namespace

Recorder::Recorder(std::ostream& out, const Json& header) : out_(out), start_(now()) {
  write(headerText(headerOf(start_, header)));
}

Recorder::~Recorder() { write(endText(calls_)); }

bool Recorder::hold(const char* call, Json asked, const Behind& behind, const Description& description) {
  const DWORD before = GetLastError();
  Line line{.call = call, .asked = std::move(asked), .answered = Json::object(), .at = now() - start_};
  behind();
  const DWORD after = GetLastError();
  line.took = now() - start_ - line.at;
  Answer answer(line.answered, Answer::taken);
  description(answer);
  if (answer.failed() || after != before) line.error = after;
  write(line.text());
  ++calls_;
  SetLastError(after);
  return true;
}

__time64_t Recorder::time64() { return calls::time64(nullptr); }

std::uint64_t Recorder::numberOf(const void* handle) const {
  const auto found = handles_.find(handle);
  return found == handles_.end() ? 0 : found->second;
}

void Recorder::opened(Answer& answer, const char* key, HANDLE& handle) {
  const bool failed = handle == INVALID_HANDLE_VALUE;
  std::uint64_t number = failed ? 0 : ++lastHandle_;
  if (!failed) handles_[handle] = number;
  answer.number(key, number);
}

// A full disk must not stop the library: the stream remembers, and whoever gave it asks.
void Recorder::write(const std::string& line) { out_ << line << '\n' << std::flush; }

}  // namespace simulator::recording
