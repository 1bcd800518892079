// How every Windows call is answered: faults strike, an error becomes the last error, a line goes into the
// journal.
#pragma once

#include <string>
#include <utility>

#include "simulator/room/room.h"

namespace simulator::calls {

/// A call that reports failure by a fixed value.
template <class Result>
auto failing(Result value) {
  return [value](DWORD) { return value; };
}
/// A call that returns the error number itself.
inline DWORD failingWithCode(DWORD code) { return code; }

/// Runs `action(entry, fault)` as the Windows call of this name and returns its result.
template <class Failure, class Action>
auto answer(const char* call, std::string device, std::string text, Failure failure, Action action)
    -> decltype(failure(DWORD{})) {
  JournalEntry entry{.call = call, .device = std::move(device), .text = std::move(text)};
  Room* room = Room::current();
  DWORD error = ERROR_SUCCESS;
  try {
    const Fault* fault = nullptr;
    // Commands to a device are struck where they are known.
    if (room && entry.text != "SCSI_PASS_THROUGH_DIRECT") fault = room->faults().strike(entry);
    if (fault) {
      room->clock().advance(std::int64_t{fault->delay} * 1000);
      if (fault->error) throw WindowsError{*fault->error};
    }
    auto result = action(entry, fault);
    if (room) room->journal().add(std::move(entry));
    return result;
  } catch (const WindowsError& failed) {
    error = failed.code;
  }
  entry.outcome = "error " + std::to_string(error);
  if (room) room->journal().add(std::move(entry));
  SetLastError(error);
  return failure(error);
}

/// The open handle behind a value. Throws ERROR_INVALID_HANDLE.
inline Handle& handleOf(HANDLE value) {
  Handle* handle = Room::current() ? Room::current()->handle(value) : nullptr;
  if (!handle) throw WindowsError{ERROR_INVALID_HANDLE};
  return *handle;
}

inline std::string nameOf(HANDLE value) {
  const Handle* handle = Room::current() ? Room::current()->handle(value) : nullptr;
  return handle ? handle->name() : "?";
}

}  // namespace simulator::calls
