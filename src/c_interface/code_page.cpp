#include "c_interface/code_page.h"

#include "c_interface/failure.h"
#include "device/system_error.h"
#include "platform/win32.h"

#ifdef _WIN32

namespace {

/// Nothing when the text has no place in UTF-16.
std::wstring widen(UINT codePage, DWORD flags, std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(codePage, flags, text.data(), size, nullptr, 0)), L'\0');
  MultiByteToWideChar(codePage, flags, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string narrow(UINT codePage, const std::wstring& wide, BOOL* lossy) {
  const int size = static_cast<int>(wide.size());
  // UTF-8 holds everything, and WideCharToMultiByte takes neither flag nor question for it.
  const bool everything = codePage == CP_UTF8 || (codePage == CP_ACP && GetACP() == CP_UTF8);
  const DWORD flags = everything ? 0 : WC_NO_BEST_FIT_CHARS;
  std::string text(static_cast<std::size_t>(
                       WideCharToMultiByte(codePage, flags, wide.data(), size, nullptr, 0, nullptr, nullptr)),
                   '\0');
  WideCharToMultiByte(codePage, flags, wide.data(), size, text.data(), static_cast<int>(text.size()), nullptr,
                      everything ? nullptr : lossy);
  return text;
}

}  // namespace

std::string toCodePage(std::string_view utf8) {
  if (utf8.empty()) return {};
  const std::wstring wide = widen(CP_UTF8, MB_ERR_INVALID_CHARS, utf8);
  BOOL lossy = FALSE;
  std::string text = narrow(CP_ACP, wide, &lossy);
  if (wide.empty() || lossy)
    throw Failure{KIV_BAD_ARGUMENT, "\"" + std::string(utf8) +
                                        "\" cannot be written in this process's code page: use names of "
                                        "plain letters, or let the program's manifest choose UTF-8."};
  return text;
}

std::string fromCodePage(std::string_view text) {
  return text.empty() ? std::string() : narrow(CP_UTF8, widen(CP_ACP, 0, text), nullptr);
}

#else

std::string toCodePage(std::string_view utf8) { return std::string(utf8); }
std::string fromCodePage(std::string_view text) { return std::string(text); }

#endif

std::string windowsErrorText(unsigned long error) {
  std::string text = fromCodePage(systemErrorText(static_cast<DWORD>(error)));
  text.erase(text.find_last_not_of(" \r\n") + 1);
  return (text.empty() ? "" : text + " ") + "(Windows error " + std::to_string(error) + ")";
}
