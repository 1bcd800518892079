// The directory that holds the configuration files, the firmware images and the reports.
#pragma once

#include <string>

#include "platform/win32.h"

/// The full name of the working directory; empty when it does not fit in 255 characters.
inline std::string workingDirectory() {
  char name[256];
  return _getcwd(name, sizeof name) ? name : "";
}
