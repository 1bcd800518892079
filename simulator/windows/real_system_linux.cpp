#ifndef _WIN32

// Files on Linux that behave like Windows' files.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <string>
#include <thread>

#include "simulator/windows/real_system.h"

namespace simulator::real {
namespace {

std::map<HANDLE, int>& files() {
  static std::map<HANDLE, int> open;
  return open;
}

/// The descriptor behind a handle, or -1 with the last error set.
int descriptor(HANDLE handle) {
  const auto found = files().find(handle);
  if (found != files().end()) return found->second;
  SetLastError(ERROR_INVALID_HANDLE);
  return -1;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

DWORD openError(int error, const std::string& path) {
  switch (error) {
    case ENOENT:
    case ENOTDIR: {
      const std::size_t slash = path.rfind('/');
      const bool folderIsThere =
          slash == std::string::npos || isDirectory(path.substr(0, std::max<std::size_t>(slash, 1)));
      return folderIsThere ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    }
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return ERROR_ACCESS_DENIED;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENAMETOOLONG:
      return ERROR_INVALID_NAME;
    default:
      return ERROR_GEN_FAILURE;
  }
}

std::string nativePath(LPCSTR name) {
  std::string path(name);
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

HANDLE refuse(DWORD error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

}  // namespace

HANDLE createFile(LPCSTR name, DWORD access, DWORD, void*, DWORD disposition, DWORD, HANDLE) {
  if (!name || !*name) return refuse(ERROR_PATH_NOT_FOUND);
  if (disposition != OPEN_EXISTING) return refuse(ERROR_NOT_SUPPORTED);
  const std::string path = nativePath(name);
  if (path.find_first_of("*?\"<>|") != std::string::npos) return refuse(ERROR_INVALID_NAME);
  const bool reads = access & GENERIC_READ;
  const bool writes = access & GENERIC_WRITE;
  const int file = open(path.c_str(), (reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
  if (file < 0) return refuse(openError(errno, path));
  if (isDirectory(path)) {
    close(file);
    return refuse(ERROR_ACCESS_DENIED);
  }
  const auto handle = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(0x1000 + 4 * file));
  files()[handle] = file;
  return handle;
}

BOOL closeHandle(HANDLE handle) {
  const int file = descriptor(handle);
  if (file < 0) return FALSE;
  files().erase(handle);
  close(file);
  return TRUE;
}

/// Reads or writes until `count` bytes are moved, or the file ends.
template <class Move>
static BOOL moveAll(HANDLE handle, DWORD count, LPDWORD moved, Move move) {
  const int file = descriptor(handle);
  if (file < 0) return FALSE;
  DWORD total = 0;
  while (total < count) {
    const ssize_t more = move(file, total);
    if (more < 0) {
      SetLastError(errno == EBADF ? ERROR_ACCESS_DENIED : ERROR_GEN_FAILURE);
      return FALSE;
    }
    if (more == 0) break;
    total += static_cast<DWORD>(more);
  }
  if (moved) *moved = total;
  return TRUE;
}

BOOL readFile(HANDLE handle, LPVOID buffer, DWORD count, LPDWORD read, void*) {
  return moveAll(handle, count, read, [&](int file, DWORD at) {
    return ::read(file, static_cast<char*>(buffer) + at, count - at);
  });
}

BOOL writeFile(HANDLE handle, LPCVOID buffer, DWORD count, LPDWORD written, void*) {
  return moveAll(handle, count, written, [&](int file, DWORD at) {
    return ::write(file, static_cast<const char*>(buffer) + at, count - at);
  });
}

DWORD getFileSize(HANDLE handle, LPDWORD high) {
  const int file = descriptor(handle);
  struct stat status {};
  if (file < 0) return INVALID_FILE_SIZE;
  if (fstat(file, &status) != 0) {
    SetLastError(ERROR_GEN_FAILURE);
    return INVALID_FILE_SIZE;
  }
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (high) *high = static_cast<DWORD>(size >> 32);
  return static_cast<DWORD>(size);
}

BOOL deviceIoControl(HANDLE handle, DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD, void*) {
  if (descriptor(handle) >= 0) SetLastError(ERROR_INVALID_FUNCTION);
  return FALSE;
}

DWORD queryDosDevice(LPCSTR, LPSTR, DWORD) {
  SetLastError(ERROR_FILE_NOT_FOUND);
  return 0;
}

void sleep(DWORD milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

__time64_t time64(__time64_t* result) {
  const __time64_t now = std::time(nullptr);
  if (result) *result = now;
  return now;
}

std::int64_t milliseconds() {
  using namespace std::chrono;
  return duration_cast<std::chrono::milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace simulator::real

// No room has a word in these.
extern "C" {

DWORD GetFileAttributesA(LPCSTR name) {
  const std::string path = simulator::real::nativePath(name);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0)
    return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
  SetLastError(simulator::real::openError(errno, path));
  return INVALID_FILE_ATTRIBUTES;
}

BOOL MoveFileExA(LPCSTR name, LPCSTR newName, DWORD) {
  const std::string from = simulator::real::nativePath(name);
  if (std::rename(from.c_str(), simulator::real::nativePath(newName).c_str()) == 0) return TRUE;
  SetLastError(simulator::real::openError(errno, from));
  return FALSE;
}
}

#endif
