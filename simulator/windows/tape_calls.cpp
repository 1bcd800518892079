// Windows' tape interface, up to the handle that carries it out.
#include "simulator/windows/answer.h"
#include "simulator/windows/real_system.h"
#include "simulator/windows/windows_calls.h"

namespace simulator::calls {

// They return an error number, not a BOOL.
template <class Action>
static DWORD answerTape(const char* call, HANDLE device, std::string text, Action action) {
  return answer(call, nameOf(device), std::move(text), failingWithCode,
                [&](JournalEntry&, const Fault*) -> DWORD {
                  action(handleOf(device));
                  return NO_ERROR;
                });
}

static std::string words(std::initializer_list<std::int64_t> values) {
  std::string text;
  for (std::int64_t value : values) {
    if (!text.empty()) text += ' ';
    text += std::to_string(value);
  }
  return text;
}

DWORD eraseTape(HANDLE device, DWORD type, BOOL immediate) {
  if (!Room::current()) return real::eraseTape(device, type, immediate);
  return answerTape("EraseTape", device, words({type, immediate}),
                    [&](Handle& handle) { handle.eraseTape(type, immediate != FALSE); });
}

DWORD prepareTape(HANDLE device, DWORD operation, BOOL immediate) {
  if (!Room::current()) return real::prepareTape(device, operation, immediate);
  return answerTape("PrepareTape", device, words({operation, immediate}),
                    [&](Handle& handle) { handle.prepareTape(operation, immediate != FALSE); });
}

DWORD setTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate) {
  if (!Room::current())
    return real::setTapePosition(device, method, partition, offsetLow, offsetHigh, immediate);
  const auto offset = static_cast<std::int64_t>(std::uint64_t{offsetHigh} << 32 | offsetLow);
  return answerTape(
      "SetTapePosition", device, words({method, partition, offset, immediate}),
      [&](Handle& handle) { handle.setTapePosition(method, partition, offset, immediate != FALSE); });
}

DWORD writeTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate) {
  if (!Room::current()) return real::writeTapemark(device, type, count, immediate);
  return answerTape("WriteTapemark", device, words({type, count, immediate}),
                    [&](Handle& handle) { handle.writeTapemark(type, count, immediate != FALSE); });
}

DWORD getTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information) {
  if (!Room::current()) return real::getTapeParameters(device, operation, size, information);
  return answerTape("GetTapeParameters", device, words({operation}), [&](Handle& handle) {
    const Bytes data = handle.getTapeParameters(operation);
    const DWORD room = *size;
    *size = static_cast<DWORD>(data.size());
    if (data.size() > room) throw WindowsError{ERROR_MORE_DATA};
    std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(information));
  });
}

DWORD setTapeParameters(HANDLE device, DWORD operation, LPVOID information) {
  if (!Room::current()) return real::setTapeParameters(device, operation, information);
  std::string arguments = words({operation});
  if (operation == SET_TAPE_DRIVE_INFORMATION && information != nullptr) {
    TAPE_SET_DRIVE_PARAMETERS drive;
    std::memcpy(&drive, information, sizeof drive);
    arguments += " " + words({drive.ECC, drive.Compression, drive.DataPadding, drive.ReportSetmarks,
                              drive.EOTWarningZoneSize});
  }
  return answerTape("SetTapeParameters", device, arguments,
                    [&](Handle& handle) { handle.setTapeParameters(operation, information); });
}

}  // namespace simulator::calls
