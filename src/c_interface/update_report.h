#pragma once

#include <string>

/// The result report, scsiExe.txt, written so that the file is well-formed at any moment: a new one is made
/// beside it and takes its place.
class UpdateReport {
 public:
  /// Starts the report anew, or goes on with the one that is there. Throws a failure when it cannot be
  /// written.
  explicit UpdateReport(bool append);
  /// Adds one device. False when it cannot be written.
  bool add(const std::string& entry);

 private:
  void write() const;

  std::string document;  ///< without its last line
};
