#include "host/core/output.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/core/error.h"
#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {

static void put(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

void Output::say(std::string_view text) const { put(json_ ? stderr : stdout, text); }

void Output::complain(std::string_view sentence) const {
  put(stderr, fmt::format("kivhost: {}\n", sentence));
}

bool Output::isTerminal() const {
  return platform::isTerminal(json_ ? platform::Stream::Error : platform::Stream::Output);
}

Log::Log(const std::string& file, bool onStandardError) : onStandardError_(onStandardError) {
  if (file.empty()) return;
  file_.open(toPath(file), std::ios::binary | std::ios::trunc);
  if (!file_.is_open())
    throw HostError(exitUsage, fmt::format("--log {} cannot be written: choose another file.", file));
}

void Log::write(std::string_view line) {
  if (file_.is_open()) file_ << line << std::endl;
  if (onStandardError_) put(stderr, fmt::format("{}\n", line));
}

}  // namespace host
