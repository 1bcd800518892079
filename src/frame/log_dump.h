// Hex dumps of what a device sent.
#pragma once

#include <cstdint>
#include <span>

#include "frame/guarded.h"
#include "kiv/frame/logger.h"

/// Dumps bytes at the information level. Memory that cannot be had for the title costs the dump, not the
/// operation that is told about.
inline void logDump(const char* component, const char* title, std::span<const std::uint8_t> data) {
  if (!logger->writes(LOG_INFO)) return;  // before a string is made
  told([&] {
    return logger->logBinary(component, 0, title, reinterpret_cast<const char*>(data.data()),
                             static_cast<ulong32>(data.size()));
  });
}
