// What a host settles before it asks for anything: log, directory, patience.
#include "c_interface/settings.h"

#include "c_interface/call.h"
#include "c_interface/code_page.h"
#include "c_interface/devices.h"
#include "frame/directory.h"
#include "frame/log_sink.h"
#include "kiv/api.h"
#include "kiv/kiv.h"
#include "platform/win32.h"

namespace {

struct LogTaker {
  kiv_log_function function = nullptr;
  void* user = nullptr;
};

LogTaker logTaker;
std::uint32_t limit = 0;

/// A line that cannot be told for want of memory is lost: logging stops nothing.
void tellLine(int level, const char* line, void*) {
  try {
    std::string text = fromCodePage(line);
    for (char& c : text) {
      if (static_cast<unsigned char>(c) < ' ' && c != '\t') c = '?';
    }
    logTaker.function(level, text.c_str(), logTaker.user);
  } catch (const std::bad_alloc&) {
  }
}

void setLog(std::int32_t level, kiv_log_function function, void* user) {
  logTaker = {function, user};
  setLogSink(function ? tellLine : nullptr, nullptr);
  logger->setLogLevel(static_cast<logLevels>(level));
}

}  // namespace

std::uint32_t restartLimit() { return limit; }

KIV_API std::int32_t kiv_set_log(std::int32_t level, kiv_log_function function, void* user) {
  return runCall([&] {
    if (level < KIV_LOG_NONE || level > KIV_LOG_DEBUG)
      throw Failure{KIV_BAD_ARGUMENT, "The log has the levels -1 to 3, not " + std::to_string(level) + "."};
    setLog(level, function, user);
  });
}

KIV_API std::int32_t kiv_set_directory(const char* directory) {
  return runCall([&] {
    const std::string wanted = directory ? directory : "";
    std::string path = toCodePage(wanted);
    if (!path.empty()) {
      const DWORD attributes = GetFileAttributesA(path.c_str());
      if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        throw Failure{KIV_NOT_FOUND, "There is no directory \"" + wanted + "\".",
                      attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : 0};
    }
    setDirectory(std::move(path));
  });
}

KIV_API std::int32_t kiv_set_restart_limit(std::uint32_t seconds) {
  return runCall([&] { limit = seconds; });
}

KIV_API std::int32_t kiv_close() {
  return runCall([] {
    rememberDevices({});
    kivFini();
    limit = 0;
    setDirectory({});
    setLog(KIV_LOG_NONE, nullptr, nullptr);
  });
}
