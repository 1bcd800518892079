#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kiv/tape/parameter_value.h"

class ScsiTarget;

namespace host {

/// A parameter of tape drives as the command line names it. Switches take on and off, all others numbers.
struct Setting {
  std::string_view name;
  ParamType type;
  std::uint32_t most;        ///< largest value; the smallest is 0
  std::string_view meaning;  ///< of a number; empty for a switch
};

/// A parameter with the value that it shall have.
struct Assignment {
  const Setting* setting = nullptr;
  std::uint32_t value = 0;
};

/// Reads "compression=on", "block-size=65536". Throws HostError.
Assignment parseAssignment(std::string_view text);

// Both open the target for the time being, and throw HostError when the drive cannot be opened, or fails.

/// The drive's parameters as a heading and a table for people, and what it does not support.
std::string parametersTable(ScsiTarget& drive);

/// Sets a parameter and makes sure that the drive has it now. Returns a line with the new value and the old.
std::string setParameter(ScsiTarget& drive, const Assignment& assignment);

}  // namespace host
