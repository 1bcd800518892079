#pragma once

#include <functional>
#include <string_view>
#include <thread>

namespace host {

/// Where standard output leads at the moment, also while it is captured.
class StandardOutput {
 public:
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  void write(std::string_view text) const;
  bool isTerminal() const;
  /// Makes standard output lead here again.
  void restore() const;

 private:
  int file_;
};

/// While it lives, what the process writes to its standard output is read line by line by a thread instead.
class StdoutCapture {
 public:
  /// Called on the reading thread, without the line's end.
  using LineHandler = std::function<void(std::string_view line)>;

  /// Throws HostError when the system has no pipe left.
  StdoutCapture(const StandardOutput& original, LineHandler handler);
  /// Puts standard output back; returns when every line was handled.
  ~StdoutCapture();
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

 private:
  const StandardOutput& original_;
  std::thread reader_;
};

}  // namespace host
