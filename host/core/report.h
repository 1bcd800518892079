#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One device of scsiInv.txt or scsiExe.txt.
struct ReportedDevice {
  std::string component;
  std::string address;  ///< "adapter,bus,target,lun"
  std::string product;  ///< "vendor-model:interface:..." as Config.txt knows it
  std::string level;
  std::optional<int> result{};  ///< scsiExe.txt only
  std::string message{};        ///< scsiExe.txt only
};

/// Reads either report. Its values are not escaped and come from devices, so everything that can be told from
/// markup is taken as it stands. Throws HostError for a text that is no report.
std::vector<ReportedDevice> readReport(std::string_view text);

/// The inventory as a table for people, numbered as the update commands count.
std::string inventoryTable(const std::vector<ReportedDevice>& devices);

/// The outcome of an update of all devices as a table for people.
std::string outcomeTable(const std::vector<ReportedDevice>& devices);

}  // namespace host
