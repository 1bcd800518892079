#pragma once

#include <string>

#include "kiv/api.h"
#include "kiv/types.h"

/// @file
/// The log.

/// How much is logged: an entry is written when its level is not above the logger's.
enum logLevels : int { LOG_NONE = -1, LOG_ERROR = 0, LOG_WARNING = 1, LOG_INFO = 2, LOG_DEBUG = 3 };

// The message is a printf format whose arguments the compiler checks.
#ifdef __clang__
#define KIV_PRINTF __attribute__((format(printf, 4, 5)))
#else
#define KIV_PRINTF __attribute__((format(gnu_printf, 4, 5)))
#endif

/// The library's one diagnostic channel: one-line entries and hex dumps on standard output, flushed line by
/// line.
///
/// An entry reads: the component (at least four characters, padded with '_'), the line number (four digits),
/// the level's letter, " '", the local time as ctime writes it, "' ", the message. Not locked: one thread at
/// a time. The thread's last error stays as it was, whatever writing an entry does to it.
///
/// The messages are an interface of their own: those who run hosts search their logs for them. So a message
/// stays as it once was, misspellings too.
class KIV_API Logger {
 public:
  Logger();
  ~Logger();

  /// The single instance; the global `logger` points to it.
  static Logger& getLogger();

  /// Entries above this level are not written; LOG_NONE at first.
  void setLogLevel(logLevels newLevel);
  /// Whether an entry of this level is written.
  bool writes(logLevels entryLevel) const { return entryLevel <= level; }
  /// The file that clear() empties. Entries never go to it.
  void setFileName(std::string name);
  /// Empties the named file, at LOG_WARNING and above; a file that cannot be opened is left alone.
  void clear();

  /// Writes one entry. False when the level filtered it out.
  bool logEntry(std::string component, unsigned short line, std::string letter, std::string message,
                logLevels entryLevel);

  ///@{
  /// The printf-style forms format nothing when the level filters the entry out; they also return false when
  /// memory for the text cannot be had.
  bool logError(std::string component, unsigned short line, std::string message);
  bool logError(std::string component, unsigned short line, const char* format, ...) KIV_PRINTF;
  bool logWarning(std::string component, unsigned short line, std::string message);
  bool logWarning(std::string component, unsigned short line, const char* format, ...) KIV_PRINTF;
  bool logInfo(std::string component, unsigned short line, std::string message);
  bool logInfo(std::string component, unsigned short line, const char* format, ...) KIV_PRINTF;
  bool logDebug(std::string component, unsigned short line, std::string message);
  bool logDebug(std::string component, unsigned short line, const char* format, ...) KIV_PRINTF;
  ///@}

  /// Writes a titled hex dump, eight bytes a row, at LOG_INFO and above. False when the level filtered it
  /// out.
  bool logBinary(std::string component, unsigned short line, std::string message, const char* data,
                 ulong32 length);

 private:
  logLevels level;
  std::string fileName;
};

/// Every module logs through this pointer.
extern KIV_API Logger* logger;

#undef KIV_PRINTF
