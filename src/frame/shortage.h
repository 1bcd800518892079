#pragma once

#include <atomic>

/// How often memory did not suffice since the library was loaded.
inline std::atomic<unsigned long> shortages = 0;

/// Tells of an answer that was found during its life whether memory ran short meanwhile: then the answer may
/// be "no" for that reason alone. Of several threads it may take another's shortage for its own.
class ShortageWatch {
 public:
  bool ranShort() const { return shortages != before; }

 private:
  const unsigned long before = shortages;
};
