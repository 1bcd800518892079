#pragma once

#include <set>
#include <string>

#include "simulator/recording/recording_file.h"

namespace simulator::recording {

/// What in a recording tells one device or cartridge from all others, learnt line by line.
class Secrets {
 public:
  void learn(const Line& line);

  /// Serial numbers, barcodes, and what Windows makes of serial numbers in the names of devices.
  const std::set<std::string>& texts() const { return texts_; }
  /// World wide names: their bytes, 8 or 16.
  const std::set<std::string>& names() const { return names_; }

 private:
  using Data = std::span<const std::uint8_t>;
  void text(Data field);
  void name(Data bytes);
  void lastWord(Data field);
  void deviceName(const std::string& name);
  void designator(std::uint8_t codeSet, std::uint8_t type, Data identifier);
  void designators(Data list);
  void attributes(Data list);
  void logParameters(Data page);
  void elementStatus(Data report);
  void elementRecords(Data records, bool extended);
  void cartridgeLocations(Data records);
  void command(Data cdb, Data data);

  std::set<std::string> texts_;
  std::set<std::string> names_;
};

}  // namespace simulator::recording
