#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/device/target.h"

/// The DOS device names as the system gave them.
class DosDevices {
 public:
  DosDevices() : used(getDosDevices(&text.names)) {}
  /// Null when there was no memory for it.
  const char* list() const { return text.names; }
  /// 0 when the names could not be read.
  ulong32 size() const { return used; }
  std::vector<std::string> names() const;

 private:
  /// Freed also when a log function of the host's throws while they are asked for.
  struct Text {
    Text() = default;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { std::free(names); }
    char* names = nullptr;
  };
  Text text;
  ulong32 used;
};

/// Windows does not tell device names and paths apart by case.
bool startsWithIgnoringCase(std::string_view text, std::string_view prefix);
bool equalsIgnoringCase(std::string_view a, std::string_view b);
