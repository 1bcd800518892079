#include "simulator/windows/handle.h"

#include <algorithm>

namespace simulator {

void ControlRequest::reply(std::span<const std::uint8_t> data) {
  if (data.size() > outSize) throw WindowsError{ERROR_INSUFFICIENT_BUFFER};
  std::copy(data.begin(), data.end(), buffer.begin());
  returned = data.size();
}

[[noreturn]] static void unknown() { throw WindowsError{ERROR_INVALID_FUNCTION}; }

void Handle::control(ControlRequest&) { unknown(); }
std::size_t Handle::read(std::span<std::uint8_t>) { unknown(); }
std::size_t Handle::write(std::span<const std::uint8_t>) { unknown(); }
void Handle::eraseTape(DWORD, bool) { unknown(); }
void Handle::prepareTape(DWORD, bool) { unknown(); }
void Handle::setTapePosition(DWORD, DWORD, std::int64_t, bool) { unknown(); }
void Handle::writeTapemark(DWORD, DWORD, bool) { unknown(); }
Bytes Handle::getTapeParameters(DWORD) { unknown(); }
void Handle::setTapeParameters(DWORD, const void*) { unknown(); }

}  // namespace simulator
