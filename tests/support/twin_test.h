#pragma once

#include <string>
#include <vector>

#include "tests/support/room_test.h"

/// Twins of commands on the handle of `driver`, if that is open, or else of the scripted driver.
class TwinTest : public RoomTest {
 protected:
  /// Records the result of a twin, the data left in the command, the calls, what the scripted driver was told
  /// and the log.
  ReturnCode run(const std::string& what, QORScsiCommand& twin) {
    HANDLE handle = driver.isOpened() ? driver.getDeviceHandle() : scripted();
    script.requests.clear();
    room.journal().clear();
    ReturnCode result = CMD_ERROR;
    const auto log = logOf([&] {
      result = twin.doOperation(handle);
      lastError = GetLastError();
    });
    record(what, result, briefHex(twin.ioDataSpan()), calls(), script.requests, log);
    return result;
  }
  ReturnCode run(const std::string& what, GenericScsiCommand& command) { return run(what, *twinOf(command)); }

  /// What GetLastError said after the last of them.
  DWORD lastError = 0;
};

/// Runs a command `c` or its twin, after some setters.
#define RUN(construction, ...)                           \
  do {                                                   \
    auto c = construction;                               \
    __VA_OPT__((__VA_ARGS__);)                           \
    run(#construction __VA_OPT__(", " #__VA_ARGS__), c); \
  } while (false)
