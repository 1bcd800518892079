// What a scan covers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// DeviceController's scan mode.
inline constexpr int MODE_FULL = 0;
inline constexpr int MODE_NO_DRIVER_DEVICES = 1;
inline constexpr int MODE_PARTIAL_DRIVER = 2;   ///< only driver devices, those in a range of device numbers
inline constexpr int MODE_PARTIAL_GENERIC = 3;  ///< only the port drivers' devices in a range of addresses

/// The number that starts at the first decimal digit of a text, such as that of a device name.
std::optional<std::int64_t> firstNumberIn(const std::string& text);
