#include "c_interface/update_report.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include "c_interface/call.h"
#include "c_interface/code_page.h"
#include "c_interface/structure.h"
#include "frame/directory.h"
#include "frame/file.h"
#include "kiv/api.h"
#include "platform/win32.h"
#include "update/report.h"

namespace {

/// Empty when there is none. What cannot be read must not be lost by being begun anew.
std::string readReport() {
  const std::string name = inDirectory(RESULT_REPORT);
  const File file = openFile(name, FileAccess::Read);
  std::string text;
  if (!file && errno == ENOENT) return text;
  if (!file || !readAll(file.get(), text))
    throw Failure{KIV_UNEXPECTED,
                  fromCodePage(name) + " cannot be read: end what holds it open, or begin it anew."};
  return text;
}

/// An older report up to its last whole device; a new one when it is none.
std::string wholePart(const std::string& report) {
  constexpr char END_OF_DEVICE[] = "  </Device>\n";
  if (!report.starts_with(RESULT_REPORT_START)) return std::string(RESULT_REPORT_START);
  const std::size_t last = report.rfind(END_OF_DEVICE);
  return last == std::string::npos ? std::string(RESULT_REPORT_START)
                                   : report.substr(0, last + sizeof END_OF_DEVICE - 1);
}

/// For an attribute, whatever a device or a host says.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : deviceText(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

/// The library's words for its own results, a sentence for those of this interface.
std::string messageOf(int result) {
  return result <= KIV_NO_MEMORY ? resultMessage(result) : kiv_result_text(result);
}

std::string orEmpty(const char* text) { return text ? text : ""; }

}  // namespace

UpdateReport::UpdateReport(bool append)
    : document(append ? wholePart(readReport()) : std::string(RESULT_REPORT_START)) {
  write();
}

bool UpdateReport::tellsOf(const std::string& address) const {
  return document.find(" enum=\"" + address + '"') != std::string::npos;
}

void UpdateReport::add(const ReportedDevice& device, int result) {
  document += resultEntry(deviceEntryStart(device.address, escaped(device.product), escaped(device.component),
                                           escaped(device.level)),
                          result, messageOf(result));
  write();
}

void UpdateReport::write() const {
  const std::string name = inDirectory(RESULT_REPORT);
  const std::string newName = name + ".new";
  File file = openFile(newName, FileAccess::Replace);
  const bool written = file && writeAndClose(std::move(file), document + RESULT_REPORT_END);
  SetLastError(ERROR_SUCCESS);
  if (written &&
      MoveFileExA(newName.c_str(), name.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    return;
  const DWORD error = GetLastError();
  std::remove(newName.c_str());
  throw Failure{KIV_UNEXPECTED,
                fromCodePage(name) + " cannot be written" + (error ? ": " + windowsErrorText(error) : "") +
                    ": make room on the disk, and let the directory be written to.",
                error};
}

KIV_API std::int32_t kiv_report_start() {
  return runCall([] { const UpdateReport report(false); });
}

KIV_API std::int32_t kiv_report_add(const kiv_report_entry* entry) {
  return runCall([&] {
    requireStructure(entry, "The entry");
    const std::string address = addressText(entry->adapter, entry->bus, entry->target, entry->lun);
    UpdateReport report(true);
    if (report.tellsOf(address)) return;
    report.add({address, orEmpty(entry->product_string), orEmpty(entry->component), orEmpty(entry->level)},
               entry->result);
  });
}
