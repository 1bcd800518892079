// Texts between hosts, which speak UTF-8, and the rest of the library, which speaks the process's code page.
#pragma once

#include <string>
#include <string_view>

/// Throws a failure for a text that is no UTF-8 or has no place in the code page.
std::string toCodePage(std::string_view utf8);
/// Bytes that mean nothing become '?' or U+FFFD.
std::string fromCodePage(std::string_view text);

/// Windows' own words for an error: "Access is denied. (Windows error 5)".
std::string windowsErrorText(unsigned long error);
