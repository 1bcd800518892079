#include "update/report.h"

#include <cstdio>
#include <utility>

#include "frame/directory.h"
#include "frame/file.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "platform/win32.h"

namespace {

#ifdef _WIN32
/// Standard output without the translation of line ends: reports are the same bytes wherever they go.
class BinaryStandardOutput {
 public:
  BinaryStandardOutput() : previousMode(_setmode(STDOUT, _O_BINARY)) {}
  ~BinaryStandardOutput() {
    if (previousMode != -1) _setmode(STDOUT, previousMode);
  }
  BinaryStandardOutput(const BinaryStandardOutput&) = delete;
  BinaryStandardOutput& operator=(const BinaryStandardOutput&) = delete;

 private:
  static constexpr int STDOUT = 1;
  int previousMode;
};
#else
struct BinaryStandardOutput {
  BinaryStandardOutput() {}
};
#endif

}  // namespace

void writeReport(const char* fileName, int outputMode, ReportPart part, std::string_view text) {
  if (outputMode == KIV_OUTPUT_STDOUT) {
    std::fflush(stdout);
    const BinaryStandardOutput binary;
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    return;
  }
  const auto write = [&] {
    File file =
        openFile(inDirectory(fileName), part == ReportPart::Start ? FileAccess::Replace : FileAccess::Append);
    if (file && !writeAndClose(std::move(file), text))
      logger->logError("MAIN", 0, "Report %s could not be written whole", fileName);
    return true;
  };
  // Without its trailer a report is no XML: what one shortage of memory stopped is tried once more.
  if (!guarded(false, write)) guarded(false, write);
}

std::string addressText(std::uint64_t adapter, std::uint64_t bus, std::uint64_t target, std::uint64_t lun) {
  return std::to_string(adapter) + "," + std::to_string(bus) + "," + std::to_string(target) + "," +
         std::to_string(lun);
}

std::string addressOf(const ScsiTarget& target) {
  return addressText(target.getHostAdapterId(), target.getBusNumber(), target.getTargetId(), target.getLun());
}

std::string deviceEntryStart(const std::string& address, const std::string& product,
                             const std::string& componentId, const std::string& version) {
  const std::string shortProduct = product.substr(0, product.find(':'));
  return "  <Device componentID=\"" + componentId + "\" enum=\"" + address + "\" display=\"" + shortProduct +
         "\">\n    <Application display=\"" + product + "\" componentType=\"FRMW\" version=\"" + version +
         "\">";
}

ScsiTarget* supportedDevice(int index) {
  const bool listed = index >= 0 && static_cast<std::size_t>(index) < listOfSupportedDevices.size();
  return listed ? listOfSupportedDevices[static_cast<std::size_t>(index)] : nullptr;
}

void applyOutputMode(int outputMode) {
  if (outputMode == KIV_OUTPUT_DEBUG) logger->setLogLevel(LOG_DEBUG);
}
