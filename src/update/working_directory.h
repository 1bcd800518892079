// The full name of that directory, for what asks for a place or shows it.
#pragma once

#include <string>

#include "frame/directory.h"
#include "platform/win32.h"

/// The directory that was chosen, else the full name of the working directory; empty when that does not fit
/// in 255 characters.
inline std::string workingDirectory() {
  if (!chosenDirectory().empty()) return chosenDirectory();
  char name[256];
  return _getcwd(name, sizeof name) ? name : "";
}
