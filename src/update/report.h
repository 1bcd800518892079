// Writing the two XML reports.
#pragma once

#include <string>

#include "kiv/device/target.h"
#include "kiv/kiv.h"

inline constexpr char XML_DECLARATION[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

enum class ReportPart { Start, Continuation };

/// Writes the text, byte for byte, to standard output when outputMode is 2, else to the file: the start of a
/// report replaces an older one, a continuation is appended. A file that cannot be opened is skipped
/// silently.
void writeReport(const char* fileName, int outputMode, ReportPart part, const std::string& text);

/// The opening tags of one device's entry, up to that of its application. No value is escaped: hosts compare
/// them with their own texts as they stand.
std::string deviceEntryStart(const ScsiTarget& target, const std::string& product,
                             const std::string& componentId);

/// The supported device at this index; null outside the list.
ScsiTarget* supportedDevice(int index);

/// Raises the log level to debug for outputMode 1.
void applyOutputMode(int outputMode);
