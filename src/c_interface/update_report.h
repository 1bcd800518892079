#pragma once

#include <string>

/// A device as the report tells of it.
struct ReportedDevice {
  std::string address;  ///< "0,0,3,0"
  std::string product, component, level;
};

/// The result report, scsiExe.txt, written so that the file is well-formed at any moment: a new one is made
/// beside it and takes its place.
class UpdateReport {
 public:
  /// Starts the report anew, or goes on with the one that is there. Throws a failure when it cannot be
  /// written.
  explicit UpdateReport(bool append);
  bool tellsOf(const std::string& address) const;
  /// Adds one device. Throws a failure when it cannot be written.
  void add(const ReportedDevice& device, int result);

 private:
  void write() const;

  std::string document;  ///< without its last line
};
