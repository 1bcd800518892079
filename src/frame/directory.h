// The directory that holds the configuration files, the firmware images and the reports.
#pragma once

#include <string>

/// Empty, as at first: the working directory, with names used as they are given.
void setDirectory(std::string path);
const std::string& chosenDirectory();

/// The name by which a file is opened: below the directory, unless it leads elsewhere by itself.
std::string inDirectory(const std::string& name);
