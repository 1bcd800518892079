// What stands and lies where in a library.
#pragma once

#include <functional>
#include <string>

#include "c_interface/devices.h"

struct Element {
  kiv_element element;
  std::string identifier;  ///< of the drive in it, as it was sent
};

/// Reads the elements of one type, by address, in pieces that `maximumTransfer` bytes hold; `take` is told
/// each and ends the reading with false. Returns false then. Throws a failure.
bool readElements(ScsiTarget& library, ulong32 maximumTransfer, kiv_element_type type,
                  const std::function<bool(const Element&)>& take);

/// Whether a drive bay's identifier is that of the drive with this serial number.
bool identifies(const std::string& identifier, const std::string& serial);
