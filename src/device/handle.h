// Owners of what Windows hands out, and the one way in which the library opens a device.
#pragma once

#include <string>
#include <utility>

#include "device/scan_witness.h"
#include "platform/win32.h"

/// An open Windows handle, closed when its owner goes.
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE opened) : value(opened) {}
  Handle(Handle&& other) noexcept : value(other.release()) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  ~Handle() { close(); }

  explicit operator bool() const { return value != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return value; }
  HANDLE release() { return std::exchange(value, INVALID_HANDLE_VALUE); }
  void close() {
    if (value != INVALID_HANDLE_VALUE) CloseHandle(release());
  }

 private:
  HANDLE value = INVALID_HANDLE_VALUE;
};

/// Opens an existing device, shared with everybody. Empty when that fails; GetLastError tells why.
inline Handle openShared(const std::string& path, DWORD access = GENERIC_READ | GENERIC_WRITE) {
  Handle device(CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            0, nullptr));
  if (!device) {
    const DWORD error = GetLastError();
    ScanWitness::refused(path, error);
    SetLastError(error);
  }
  return device;
}
