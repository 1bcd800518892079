#include "device/system_error.h"

#include <memory>

std::string systemErrorText(DWORD error) {
  struct FreeLocal {
    void operator()(char* memory) const { LocalFree(memory); }
  };
  char* message = nullptr;
  // With ALLOCATE_BUFFER the buffer argument is really the address of a pointer.
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPSTR>(&message), 0, nullptr);
  const std::unique_ptr<char, FreeLocal> owner(message);
  if (message == nullptr) return {};
  std::string text(message, length);
  text.erase(text.find_last_not_of("\r\f\n\t\v") + 1);
  return text;
}
