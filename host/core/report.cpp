#include "host/core/report.h"

#include <fmt/format.h>

#include <iterator>
#include <string>

#include "host/core/error.h"
#include "host/core/text.h"

namespace host {
namespace {

constexpr const char* fileName = "scsiExe.txt";
constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMExecution lang=\"en\">\n";
constexpr std::string_view trailer = "</SVMExecution>\n";
constexpr std::string_view entryEnd = "  </Device>\n";

// The library's own words for its results.
constexpr const char* messages[] = {
    "Firmware update successful",
    "Device temporary disconnected - RESCAN REQUIRED",
    "Invalid file name",
    "Firmware file is corrupted",
    "Firmware update failed",
    "Reboot of tape device failed",
    "Invalid SCSI address selected",
    "Invalid Microcode level",
    "Configuration invalid",
};

const char* messageOf(int result) {
  return result >= 0 && result < std::ssize(messages) ? messages[result] : "Unknown failure";
}

/// The header and the entries that are whole.
std::string wholeEntries() {
  std::string report;
  try {
    report = readFile(fileName, "The report");
  } catch (const std::exception&) {
    report.clear();
  }
  if (!report.starts_with(header)) return std::string(header);
  const std::size_t last = report.rfind(entryEnd);
  report.resize(last == std::string::npos ? header.size() : last + entryEnd.size());
  return report;
}

}  // namespace

void startReport() { replaceFile(fileName, fmt::format("{}{}", header, trailer)); }

bool addToReport(const Device& drive, int result) {
  std::string report = wholeEntries();
  const std::string address = fmt::format("enum=\"{}\"", addressText(drive.address));
  if (report.find(address) == std::string::npos) {
    const std::string product = escapeXml(drive.productString);
    report += fmt::format(
        "  <Device componentID=\"{}\" {} display=\"{}\">\n"
        "    <Application display=\"{}\" componentType=\"FRMW\" version=\"{}\">\n"
        "      <SPStatus result=\"{}\">\n"
        "        <Message id=\"{}\">{}</Message>\n"
        "      </SPStatus>\n"
        "    </Application>\n"
        "{}",
        escapeXml(drive.component), address, product.substr(0, product.find(':')), product,
        escapeXml(drive.level), result == KIV_OK, result, messageOf(result), entryEnd);
  }
  try {
    replaceFile(fileName, report + std::string(trailer));
  } catch (const HostError&) {
    return false;
  }
  return true;
}

}  // namespace host
