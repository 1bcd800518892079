// A host's view of one device: an open handle and the calls on it, each with its error number.
#pragma once

#include "platform/win32.h"
#include "simulator/windows/windows_calls.h"

namespace simulator {

class DeviceClient {
 public:
  explicit DeviceClient(const char* name, DWORD access = GENERIC_READ | GENERIC_WRITE)
      : handle(calls::createFile(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                 nullptr)) {}
  ~DeviceClient() { calls::closeHandle(handle); }
  DeviceClient(const DeviceClient&) = delete;
  DeviceClient& operator=(const DeviceClient&) = delete;

  /// NO_ERROR or the error number.
  DWORD control(DWORD code, const void* in, DWORD inSize, void* out, DWORD outSize) {
    const BOOL done =
        calls::deviceIoControl(handle, code, const_cast<void*>(in), inSize, out, outSize, &returned, nullptr);
    return done ? NO_ERROR : GetLastError();
  }
  template <class T>
  DWORD send(DWORD code, const T& in) {
    return control(code, &in, sizeof in, nullptr, 0);
  }
  template <class T>
  DWORD receive(DWORD code, T& out) {
    return control(code, nullptr, 0, &out, sizeof out);
  }
  template <class T>
  DWORD exchange(DWORD code, T& block) {
    return control(code, &block, sizeof block, &block, sizeof block);
  }

  HANDLE handle;
  DWORD returned = 0;
};

}  // namespace simulator
