// Windows handles that close themselves.
#pragma once

#include <utility>

#include "platform/win32.h"

/// A file or device, opened when it exists.
class FileHandle {
 public:
  FileHandle(const char* name, DWORD access, DWORD share)
      : handle(CreateFileA(name, access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~FileHandle() {
    if (isOpen()) CloseHandle(handle);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  FileHandle(FileHandle&& other) noexcept : handle(std::exchange(other.handle, INVALID_HANDLE_VALUE)) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    std::swap(handle, other.handle);
    return *this;
  }

  bool isOpen() const { return handle != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle; }

 private:
  HANDLE handle;
};
