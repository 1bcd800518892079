// Writing the two XML reports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kiv/device/target.h"
#include "kiv/kiv.h"

inline constexpr std::string_view INVENTORY_HEADER =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMInventory lang=\"en\">\n";

enum class ReportPart { Start, Continuation };

/// Writes the text, byte for byte, to standard output when outputMode is 2, else to the file: the start of a
/// report replaces an older one, a continuation is appended. A file that cannot be opened is skipped
/// silently; one that cannot be written whole is logged as an error.
void writeReport(const char* fileName, int outputMode, ReportPart part, std::string_view text);

/// "0,0,3,0"
std::string addressText(std::uint64_t adapter, std::uint64_t bus, std::uint64_t target, std::uint64_t lun);
std::string addressOf(const ScsiTarget& target);

/// The opening tags of one device's entry, up to that of its application. No value is escaped: hosts compare
/// them with their own texts as they stand.
std::string deviceEntryStart(const std::string& address, const std::string& product,
                             const std::string& componentId, const std::string& version);

/// The result report: its file, its first lines, one device's entry from its opening tags on, its last line.
inline constexpr char RESULT_REPORT[] = "scsiExe.txt";
inline constexpr std::string_view RESULT_REPORT_START =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMExecution lang=\"en\">\n";
std::string resultEntry(const std::string& entryStart, int result, const std::string& message);
inline constexpr char RESULT_REPORT_END[] = "</SVMExecution>\n";
/// What the report says of an FW_ result code.
const char* resultMessage(int result);

/// The supported device at this index; null outside the list.
ScsiTarget* supportedDevice(int index);

/// Raises the log level to debug for outputMode 1.
void applyOutputMode(int outputMode);
