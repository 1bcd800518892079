#include "host/core/capture.h"

#include <cstdio>
#include <iostream>
#include <string>

#include "host/core/result.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>

namespace {
using Count = unsigned;
int makePipe(int* ends) { return _pipe(ends, 65536, _O_BINARY | _O_NOINHERIT); }
}  // namespace
#else
#include <unistd.h>

namespace {
using Count = std::size_t;
int makePipe(int* ends) { return ::pipe(ends); }
}  // namespace
#endif

namespace host {
namespace {

constexpr int standardOutput = 1;
/// What a line is longer than is dropped.
constexpr std::size_t maximumLine = 65536;

void flushAll() {
  std::cout.flush();
  std::fflush(stdout);
}

/// Reads to the end of the pipe and closes it.
void readLines(int pipe, const StdoutCapture::LineHandler& handler) {
  std::string line;
  char buffer[4096];
  for (;;) {
    const auto count = ::read(pipe, buffer, sizeof buffer);
    if (count <= 0) break;
    for (const char c : std::string_view(buffer, static_cast<std::size_t>(count))) {
      if (c == '\n') {
        handler(line);
        line.clear();
      } else if (c != '\r' && line.size() < maximumLine) {
        line += c;
      }
    }
  }
  if (!line.empty()) handler(line);
  ::close(pipe);
}

}  // namespace

StandardOutput::StandardOutput() : file_(::dup(standardOutput)) {}

StandardOutput::~StandardOutput() { ::close(file_); }

void StandardOutput::write(std::string_view text) const {
  while (!text.empty()) {
    const auto written = ::write(file_, text.data(), static_cast<Count>(text.size()));
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

bool StandardOutput::isTerminal() const { return ::isatty(file_) != 0; }

void StandardOutput::restore() const { ::dup2(file_, standardOutput); }

StdoutCapture::StdoutCapture(const StandardOutput& original, LineHandler handler) : original_(original) {
  flushAll();
  int ends[2];
  if (makePipe(ends) != 0) throw HostError("The system has no pipe left: end other programs and try again.");
  ::dup2(ends[1], standardOutput);
  ::close(ends[1]);
  reader_ = std::thread(readLines, ends[0], std::move(handler));
}

StdoutCapture::~StdoutCapture() {
  flushAll();
  // With this the last writing end of the pipe is gone, and the reader comes to its end.
  original_.restore();
  reader_.join();
}

}  // namespace host
