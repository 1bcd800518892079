#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/device/target.h"

/// The DOS device names as the system gave them.
class DosDevices {
 public:
  DosDevices() {
    char* names = nullptr;
    used = getDosDevices(&names);
    text.reset(names);
  }
  /// Null when there was no memory for it.
  const char* list() const { return text.get(); }
  /// 0 when the names could not be read.
  ulong32 size() const { return used; }
  std::vector<std::string> names() const;

 private:
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };
  std::unique_ptr<char, Free> text;
  ulong32 used;
};

/// Windows does not tell device names and paths apart by case.
bool startsWithIgnoringCase(std::string_view text, std::string_view prefix);
bool equalsIgnoringCase(std::string_view a, std::string_view b);
