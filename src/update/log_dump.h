// Hex dumps of what a device sent.
#pragma once

#include <cstdint>
#include <span>

#include "kiv/frame/logger.h"

inline void logDump(const char* component, const char* title, std::span<const std::uint8_t> data) {
  logger->logBinary(component, 0, title, reinterpret_cast<const char*>(data.data()),
                    static_cast<ulong32>(data.size()));
}
