// What a room that is recorded or replayed has between the library and Windows.
//
// Every call that is for a device is described once, in recorded_calls.cpp: what the library asks, and what
// it is answered. From that description the recorder writes a line, and the player answers from one.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/win32.h"
#include "simulator/recording/recording_file.h"

namespace simulator::recording {

/// What a call is answered, field by field. In a recording the fields are taken from where the call has left
/// them; in a replay they are put there. A field that a damaged recording lacks throws std::runtime_error.
class Answer {
 public:
  enum Direction { taken, given };
  Answer(Json& fields, Direction direction) : fields_(fields), direction_(direction) {}

  template <class Number>
  void number(const char* key, Number& value) {
    if (direction_ == taken) {
      fields_[key] = value;
    } else {
      value = static_cast<Number>(numberIn(fields_, key));
    }
  }
  /// A number for which the caller may have given no place.
  void wanted(const char* key, DWORD* value) {
    if (value) number(key, *value);
  }
  /// Of a failure the last error is part of the answer.
  void setFailed(bool failed) { failed_ = failed; }
  /// `count` bytes of a buffer. The zeros at their end are not written down.
  void bytes(const char* key, std::span<std::uint8_t> buffer, std::size_t count);
  /// The same for text, zeros among it.
  void text(const char* key, std::span<char> buffer, std::size_t count);

  bool isTaken() const { return direction_ == taken; }
  bool failed() const { return failed_; }

 private:
  Json& fields_;
  Direction direction_;
  bool failed_ = false;
};

/// Stands between while it lives. There is one at a time.
class Transcript {
 public:
  using Behind = std::function<void()>;
  using Description = std::function<void(Answer&)>;

  Transcript();
  virtual ~Transcript();
  Transcript(const Transcript&) = delete;
  Transcript& operator=(const Transcript&) = delete;
  /// The one that stands now, or null.
  static Transcript* current();

  /// Answers a call, and sets the last error. False: there is no answer, the call fails. Throws nothing.
  virtual bool hold(const char* call, Json asked, const Behind& behind, const Description& description) = 0;
  virtual __time64_t time64() = 0;

  /// The number by which the recording knows an open handle, or 0 for a handle of no device.
  virtual std::uint64_t numberOf(const void* handle) const = 0;
  /// Passes a handle that was opened, and forgets one that was closed.
  virtual void opened(Answer& answer, const char* key, HANDLE& handle) = 0;
  virtual void closed(const void* handle) = 0;
};

}  // namespace simulator::recording
