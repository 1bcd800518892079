#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/core/device.h"

namespace host {

/// Which devices a command is for, as the command line says it.
struct Selection {
  std::optional<std::string> index;
  std::vector<std::string> serials, addresses, products;
  bool all = false;  ///< every drive that Config.txt names

  bool empty() const;
  /// Throws HostError for a word that makes no sense, whatever devices there are.
  void check() const;
};

/// The devices that are selected, by address, a drive with two paths once. When nothing is selected by one of
/// the words, nothing is by the others: throws HostError.
std::vector<Device> select(const Selection& selection, const Inventory& inventory);

}  // namespace host
