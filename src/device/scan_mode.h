#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// DeviceController's scan mode.
inline constexpr int modeFull = 0;
inline constexpr int modeNoDriverDevices = 1;
inline constexpr int modePartialDriver = 2;  ///< only driver devices, those in a range of device numbers
inline constexpr int modePartialGeneric =
    3;  ///< only devices of the port drivers, those in a range of addresses

/// The number that starts at the first decimal digit of a text, such as that of a device name.
std::optional<std::int64_t> firstNumberIn(const std::string& text);
