#pragma once

#include <string>

class ScsiTarget;

namespace host {

/// What lies where in a tape library, as a heading and a table for people: its drives, robots, import/export
/// station and slots. Opens the target for the time being. Throws HostError when the library does not answer.
std::string elementsTable(ScsiTarget& changer);

}  // namespace host
