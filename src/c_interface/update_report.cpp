#include "c_interface/update_report.h"

#include <cstdio>
#include <utility>

#include "c_interface/code_page.h"
#include "c_interface/failure.h"
#include "frame/directory.h"
#include "frame/file.h"
#include "kiv/frame/logger.h"
#include "platform/win32.h"
#include "update/report.h"

namespace {

std::string readReport() {
  std::string text;
  if (const File file = openFile(inDirectory(RESULT_REPORT), FileAccess::Read)) readAll(file.get(), text);
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

}  // namespace

UpdateReport::UpdateReport(bool append)
    : document(append ? wholePart(readReport()) : std::string(RESULT_REPORT_START)) {
  write();
}

bool UpdateReport::add(const std::string& entry) try {
  document += entry;
  write();
  return true;
} catch (const Failure& failure) {
  logger->logError("MAIN", 0, "%s", failure.text.c_str());
  return false;
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
