#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace host {

/// Where texts go. A stream that nobody reads any more must not end an update, so failures are not told.
class Output {
 public:
  /// With JSON, standard output belongs to the document alone.
  explicit Output(bool json) : json_(json) {}

  void say(std::string_view text) const;
  void complain(std::string_view sentence) const;
  /// Whether say() writes to a terminal.
  bool isTerminal() const;

 private:
  bool json_;
};

/// Takes the library's log: into a file, onto standard error, or both.
class Log {
 public:
  /// Throws HostError for a file that cannot be written; an empty name for none.
  Log(const std::string& file, bool onStandardError);
  bool wanted() const { return file_.is_open() || onStandardError_; }
  void write(std::string_view line);

 private:
  std::ofstream file_;
  bool onStandardError_;
};

}  // namespace host
