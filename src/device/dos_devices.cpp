#include "device/dos_devices.h"

#include <algorithm>

#include "device/system_error.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "platform/win32.h"

namespace {

constexpr DWORD FIRST_LIST_SIZE = 64 * 1024;
// Far beyond any real list, so that a system that is never satisfied does not take all memory.
constexpr DWORD LAST_LIST_SIZE = 16 * 1024 * 1024;

}  // namespace

ulong32 getDosDevices(char** list) {
  *list = nullptr;
  for (DWORD size = FIRST_LIST_SIZE;; size *= 2) {
    std::free(*list);
    *list = static_cast<char*>(std::malloc(size));
    if (*list == nullptr) {
      ++shortages;
      logger->logError("SCSI", 0, "getDosDevices Memory allocation failed %d", static_cast<int>(size));
      return 0;
    }
    const DWORD used = QueryDosDeviceA(nullptr, *list, size);
    if (used != 0 && used <= size) {
      logger->logDebug("SCSI", 0, "getDosDevices size:%ld", static_cast<long>(used));
      return used;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER || size == LAST_LIST_SIZE) {
      guarded([&] {
        logger->logError("SCSI", 0, "QueryDosDevice failed size:%d, errno=%d (%s)", static_cast<int>(size),
                         static_cast<int>(error), systemErrorText(error).c_str());
      });
      return 0;
    }
  }
}

std::vector<std::string> DosDevices::names() const {
  std::vector<std::string> result;
  std::string_view rest(text.names, used);
  while (!rest.empty() && rest.front() != '\0') {
    const std::string_view name = rest.substr(0, rest.find('\0'));
    result.emplace_back(name);
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
  }
  return result;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                    [&](char a, char b) { return lower(a) == lower(b); });
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && startsWithIgnoringCase(a, b);
}
