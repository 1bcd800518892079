#pragma once

#include <optional>

#include "host/core/parameters.h"

namespace host {

/// Each returns the library's result code and expects the library to be loaded and initialised. Throws
/// HostError. `debug` shows the library's log.
/// `elements` also lists what lies where in every tape library; it needs the library's classes.
int scan(bool xml, bool elements, bool debug);
int update(int index, bool force, bool debug);
int updateAll(bool force, bool debug);
/// Shows the parameters of one drive, or sets one of them; needs the library's classes.
int params(int index, const std::optional<Assignment>& assignment, bool debug);

}  // namespace host
