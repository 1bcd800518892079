#pragma once

#include <string>

#include "platform/win32.h"

/// The C runtime's EIO, which the driver's devices give for failures that no Windows error tells apart.
inline constexpr DWORD INPUT_OUTPUT_ERROR = 5;

/// The system's message for an error number, in the default language and without the line end that it
/// carries; empty for a number that the system does not know.
std::string systemErrorText(DWORD error);
