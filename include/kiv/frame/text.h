#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/api.h"

/// @file
/// Texts.

/// Removes the characters of `set` from both ends of `s`; returns the characters of the result. Linear.
KIV_API char* trimString(std::string& s, const char* set);

/// Collapses every run of one repeated character of `set` to a single occurrence. Linear.
KIV_API void removeMultiple(std::string& s, const char* set);

/// Finds the first place where `pattern` is satisfied, reading `s` from its start without backtracking past
/// the last `anyRun`. `anyRun` stands for any run of characters, `anyOne` for one. On true, [*start, *end) is
/// the match: *end is just past the last character that a literal or `anyOne` matched, so a trailing `anyRun`
/// adds nothing.
KIV_API bool getPatternIndex(const std::string& s, const char* pattern, int* start, int* end, char anyRun,
                             char anyOne);

/// The items between delimiters, in order. Empty items are kept, but a trailing delimiter adds none.
KIV_API std::vector<std::string> splitString(const std::string& s, char delimiter);

/// Reads "0x..." as hexadecimal, anything else as decimal after leading blanks, up to the first character
/// that does not belong to the number. 0 when there is none. A number that does not fit saturates.
KIV_API std::int64_t parseIntegerValue(std::string text);
