#pragma once

#include <cstdint>

/// Seconds that a drive may take to come back after the last byte; 0 for no limit.
std::uint32_t restartLimit();
