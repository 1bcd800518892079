#include "kiv/frame/logger.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

#include "frame/file.h"
#include "frame/guarded.h"
#include "frame/log_sink.h"
#include "kiv/frame/text.h"
#include "platform/win32.h"

namespace {

constexpr std::size_t TIME_TEXT_LENGTH = 24;
constexpr ulong32 BYTES_PER_ROW = 8;

LogSink sink = nullptr;
void* sinkUser = nullptr;

/// From the first row that a process dumps on standard output, offsets are padded with zeros, and the titles
/// of dumps count in hexadecimal. Readers of these logs know them so.
bool dumpedBefore = false;

/// Lines, the last without its line feed: one by one to the sink, or all in one write.
void write(int level, std::string lines) {
  if (sink) {
    for (const std::string& line : splitString(lines, '\n')) sink(level, line.c_str(), sinkUser);
  } else {
    lines += '\n';
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    std::fflush(stdout);
  }
}

using CText = std::unique_ptr<char, decltype(&std::free)>;

/// The local time as ctime writes it, without its line feed.
std::string timeText() {
  const __time64_t now = _time64(nullptr);
  const char* text = _ctime64(&now);
  return text ? std::string(text).substr(0, TIME_TEXT_LENGTH) : std::string(TIME_TEXT_LENGTH, ' ');
}

/// A line is often logged between a call that failed and the reader of its error; a broken standard output
/// would put an error of its own in that place.
class LastErrorKept {
 public:
  LastErrorKept() : error(GetLastError()) {}
  ~LastErrorKept() { SetLastError(error); }
  LastErrorKept(const LastErrorKept&) = delete;
  LastErrorKept& operator=(const LastErrorKept&) = delete;

 private:
  DWORD error;
};

std::string numberText(const char* format, unsigned long number) {
  char text[24];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

/// What every line begins with, up to the message.
std::string linePrefix(const std::string& component, unsigned short line, const std::string& letter) {
  std::string prefix = component;
  prefix.resize(std::max<std::size_t>(4, component.size()), '_');
  return prefix + numberText("%04lu", line) + letter + " '" + timeText() + "' ";
}

/// One row of a dump: the offset, the bytes in hexadecimal, the bytes as text.
std::string dumpRow(const char* offsetFormat, ulong32 offset, std::span<const char> bytes) {
  constexpr char DIGITS[] = "0123456789ABCDEF";
  std::string row = numberText(offsetFormat, offset);
  std::string text;
  for (std::size_t slot = 0; slot < BYTES_PER_ROW; ++slot) {
    if (slot == BYTES_PER_ROW / 2) row += ' ';
    if (slot < bytes.size()) {
      const auto byte = static_cast<unsigned char>(bytes[slot]);
      row += {' ', DIGITS[byte >> 4], DIGITS[byte & 0x0F]};
      text += {byte < 0x20 || byte > 0x7A ? '.' : bytes[slot], ' '};
    } else {
      row += "   ";
    }
  }
  return row + "     " + text;
}

/// The text of a printf format, or null when memory for it cannot be had.
CText formatText(const char* format, va_list arguments) {
  constexpr std::size_t FIRST_SIZE = 100;
  // vsnprintf keeps failing on text that it cannot encode; no message is as long as this.
  constexpr std::size_t LAST_SIZE_AFTER_FAILURE = std::size_t{1} << 20;
  CText buffer(nullptr, &std::free);
  for (std::size_t size = FIRST_SIZE;;) {
    char* grown = static_cast<char*>(std::realloc(buffer.get(), size));
    if (!grown) return {nullptr, &std::free};
    static_cast<void>(buffer.release());
    buffer.reset(grown);
    va_list pass;
    va_copy(pass, arguments);
    const int length = std::vsnprintf(grown, size, format, pass);
    va_end(pass);
    if (length >= 0 && static_cast<std::size_t>(length) < size) return buffer;
    if (length < 0 && size >= LAST_SIZE_AFTER_FAILURE) return {nullptr, &std::free};
    size = length >= 0 ? static_cast<std::size_t>(length) + 1 : size * 2;
  }
}

using TextForm = bool (Logger::*)(std::string, unsigned short, std::string);

/// Formats an entry that the level lets through, and writes it.
bool logFormatted(Logger& target, TextForm write, std::string& component, unsigned short line,
                  const char* format, va_list arguments) {
  const LastErrorKept kept;
  return told([&] {
    const CText text = formatText(format, arguments);
    return text && (target.*write)(std::move(component), line, std::string(text.get()));
  });
}

}  // namespace

void setLogSink(LogSink newSink, void* user) {
  sink = newSink;
  sinkUser = user;
}

Logger::Logger() : level(LOG_NONE), fileName("logfile.txt") {}

Logger::~Logger() = default;

Logger& Logger::getLogger() {
  static Logger l;
  return l;
}

void Logger::setLogLevel(logLevels newLevel) { level = newLevel; }

void Logger::setFileName(std::string name) { fileName = std::move(name); }

void Logger::clear() {
  if (level > LOG_ERROR) openFile(fileName, FileAccess::Replace);
}

bool Logger::logEntry(std::string component, unsigned short line, std::string letter, std::string message,
                      logLevels entryLevel) {
  if (!writes(entryLevel)) return false;
  const LastErrorKept kept;
  return told([&] {
    write(entryLevel, linePrefix(component, line, letter) + message);
    return true;
  });
}

// The level is looked at first, so that a filtered entry costs no formatting.
#define KIV_LOG_LEVEL(function, letter, entryLevel)                                                  \
  bool Logger::function(std::string component, unsigned short line, std::string message) {           \
    return logEntry(std::move(component), line, letter, std::move(message), entryLevel);             \
  }                                                                                                  \
  bool Logger::function(std::string component, unsigned short line, const char* format, ...) {       \
    if (!writes(entryLevel)) return false;                                                           \
    va_list arguments;                                                                               \
    va_start(arguments, format);                                                                     \
    const bool written = logFormatted(*this, &Logger::function, component, line, format, arguments); \
    va_end(arguments);                                                                               \
    return written;                                                                                  \
  }

KIV_LOG_LEVEL(logError, "E", LOG_ERROR)
KIV_LOG_LEVEL(logWarning, "W", LOG_WARNING)
KIV_LOG_LEVEL(logInfo, "I", LOG_INFO)
KIV_LOG_LEVEL(logDebug, "D", LOG_DEBUG)
#undef KIV_LOG_LEVEL

bool Logger::logBinary(std::string component, unsigned short line, std::string message, const char* data,
                       ulong32 length) {
  if (!writes(LOG_INFO)) return false;
  const LastErrorKept kept;
  return told([&] {
    bool freshSink = false;
    bool& dumped = sink ? freshSink : dumpedBefore;
    write(LOG_INFO, linePrefix(component, line, "B") + message + " (" +
                        numberText(dumped ? "%lX" : "%lu", length) + " bytes):");
    if (!data) length = 0;
    for (ulong32 row = 0; row < length;) {
      const ulong32 count = std::min(BYTES_PER_ROW, length - row);
      write(LOG_INFO, dumpRow(dumped ? "  %03lX  " : "  %3lX  ", row, {data + row, count}));
      dumped = true;
      row += count;
    }
    return true;
  });
}
