// What stands behind a Windows handle.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

#include "platform/win32.h"
#include "simulator/room/journal.h"

namespace simulator {

/// Thrown by anything behind a Windows call; the call then fails with this error number.
struct WindowsError {
  DWORD code;
  std::size_t moved = 0;  ///< bytes that ReadFile or WriteFile moved before it failed
};

/// One DeviceIoControl with buffered transfer: as in Windows, input and output share one system buffer, from
/// which `returned` bytes are copied out in the end.
struct ControlRequest {
  DWORD code = 0;
  Bytes buffer{};  ///< as large as the larger of both; the input stands in front, zeros follow
  std::size_t inSize = 0;
  std::size_t outSize = 0;
  std::size_t returned = 0;
  JournalEntry& entry;  ///< this request's line in the journal

  /// The input as a structure. A shorter input fails with ERROR_INVALID_PARAMETER.
  template <class T>
  T input() const {
    if (inSize < sizeof(T)) throw WindowsError{ERROR_INVALID_PARAMETER};
    T value;
    std::memcpy(&value, buffer.data(), sizeof value);
    return value;
  }
  /// Answers with these bytes. An output buffer that cannot hold them fails with ERROR_INSUFFICIENT_BUFFER.
  void reply(std::span<const std::uint8_t> data);
  template <class T>
  requires(!std::is_convertible_v<const T&, std::span<const std::uint8_t>>) void reply(const T& value) {
    reply(std::span(reinterpret_cast<const std::uint8_t*>(&value), sizeof value));
  }
};

/// An open handle. What it does not override, Windows does not know for it (ERROR_INVALID_FUNCTION).
class Handle {
 public:
  Handle(std::string name, DWORD access) : name_(std::move(name)), access_(access) {}
  virtual ~Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  /// The name it was opened by.
  const std::string& name() const { return name_; }
  /// GENERIC_READ, GENERIC_WRITE.
  DWORD access() const { return access_; }

  virtual void control(ControlRequest& request);
  /// Both return the number of bytes moved.
  virtual std::size_t read(std::span<std::uint8_t> buffer);
  virtual std::size_t write(std::span<const std::uint8_t> data);

  // Windows' tape interface: the functions of the same names.
  virtual void eraseTape(DWORD type, bool immediate);
  virtual void prepareTape(DWORD operation, bool immediate);
  virtual void setTapePosition(DWORD method, DWORD partition, std::int64_t offset, bool immediate);
  virtual void writeTapemark(DWORD type, DWORD count, bool immediate);
  virtual Bytes getTapeParameters(DWORD operation);
  virtual void setTapeParameters(DWORD operation, const void* information);

 private:
  std::string name_;
  DWORD access_;
};

/// A device name and what opening it gives.
struct DeviceName {
  std::string name;  ///< "Tape0", without the "\\.\" in front; any case finds it
  std::function<std::unique_ptr<Handle>(std::string path, DWORD access)> open;  ///< may throw WindowsError
  std::function<bool()> present = [] { return true; };  ///< the name exists only while this holds
  bool listed = true;                                   ///< among the DOS device names
};

}  // namespace simulator
