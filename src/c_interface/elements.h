// What stands and lies where in a library.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "c_interface/devices.h"

struct Element {
  kiv_element element;
  std::string identifier;  ///< of the drive in it, as it was sent
};

/// The elements of one type in READ ELEMENT STATUS data, as far as they arrived whole.
std::vector<Element> decodeElements(std::span<const std::uint8_t> report, kiv_element_type type);

/// Reads the elements of one type, by address, in pieces that `maximumTransfer` bytes hold; `take` is told
/// each and ends the reading with false. Returns false then. Throws a failure.
bool readElements(ScsiTarget& library, ulong32 maximumTransfer, kiv_element_type type,
                  const std::function<bool(const Element&)>& take);

/// Whether a drive bay's identifier is that of the drive with this serial number.
bool identifies(const std::string& identifier, const std::string& serial);
