#include "host/commands.h"

#include <fmt/format.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>

#include "host/core/capture.h"
#include "host/core/elements.h"
#include "host/core/progress.h"
#include "host/core/progress_view.h"
#include "host/core/report.h"
#include "host/core/result.h"
#include "host/core/table.h"
#include "kiv/device/controller.h"
#include "kiv/kiv.h"

namespace host {
namespace {

constexpr const char* inventoryFile = "scsiInv.txt";
constexpr const char* outcomeFile = "scsiExe.txt";

constexpr int mediumChanger = 8;  ///< INQUIRY device type

/// Runs a call of the library that writes `file`, and returns what it wrote. A report of an earlier run is
/// removed first, so that it is not taken for the new one.
template <class Call>
std::string reportOf(const char* file, Call call) {
  std::remove(file);
  call();
  std::ifstream in(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(in), {}};
  if (!in)
    throw HostError(fmt::format("{} was not written: run kivhost in a directory that can be written.", file));
  return text;
}

int outputMode(bool debug) { return debug ? KIV_OUTPUT_DEBUG : KIV_OUTPUT_FILE; }

void complain(const std::string& sentence) { fmt::print(stderr, "kivhost: {}\n", sentence); }

/// Scans for a command that addresses the devices by their place in the inventory.
int scanQuietly(bool debug) {
  const int result = scanScsiBus(outputMode(debug));
  if (result != FW_NO_ERROR) complain(scanSentence(result));
  return result;
}

/// Every tape library of the scan, supported or not.
void showElements() {
  bool found = false;
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    if (target->getDeviceTyp() != mediumChanger) continue;
    fmt::print("\n{}", elementsTable(*target));
    found = true;
  }
  if (!found) complain("No tape library was found: check power and cabling.");
}

struct Outcome {
  int result = 0;
  std::string report;
  Progress last;  ///< of the last drive that was worked on
};

/// Runs an update with its progress shown, which the library's debug log on standard output tells.
Outcome watch(bool debug, const std::function<int()>& call) {
  Outcome outcome;
  const StandardOutput out;
  ProgressReader reader;
  ProgressView view([&](std::string_view text) { out.write(text); }, out.isTerminal());
  {
    const StdoutCapture capture(out, [&](std::string_view line) {
      if (debug) {
        out.write(std::string(line) + '\n');
      } else if (reader.read(line)) {
        view.show(reader.progress());
      }
    });
    outcome.report = reportOf(outcomeFile, [&] { outcome.result = call(); });
    // The library stays at debug level; what it still does is of no interest.
    if (!debug) logger->setLogLevel(LOG_NONE);
  }
  view.finish();
  outcome.last = reader.progress();
  return outcome;
}

}  // namespace

int scan(bool xml, bool elements, bool debug) {
  int result = 0;
  const std::string report = reportOf(inventoryFile, [&] { result = scanScsiBus(outputMode(debug)); });
  if (xml) {
    fmt::print("{}", report);
  } else if (result == FW_NO_ERROR) {
    fmt::print("{}", inventoryTable(readReport(report)));
  }
  if (result != FW_NO_ERROR) complain(scanSentence(result));
  if (elements) showElements();
  return result;
}

int update(int index, bool force, bool debug) {
  if (const int result = scanQuietly(debug); result != FW_NO_ERROR) return result;
  const Outcome outcome = watch(debug, [&] { return updateFirmware(index, KIV_OUTPUT_DEBUG, force); });
  if (outcome.result != FW_NO_ERROR) {
    complain(updateSentence(outcome.result));
  } else if (!debug && outcome.last.phase != Phase::Done) {
    fmt::print("Drive {} runs level {} already: nothing was written, use --force to write it again.\n", index,
               printable(outcome.last.level));
  }
  return outcome.result;
}

int updateAll(bool force, bool debug) {
  if (const int result = scanQuietly(debug); result != FW_NO_ERROR) return result;
  const Outcome outcome = watch(debug, [&] { return updateFirmwareAllDevices(KIV_OUTPUT_DEBUG, force); });
  const std::vector<ReportedDevice> devices = readReport(outcome.report);
  if (devices.empty()) complain("No drive was updated: add lines for the drives of the scan to Config.txt.");
  if (!devices.empty()) fmt::print("{}", outcomeTable(devices));
  if (outcome.result != FW_NO_ERROR) complain(updateSentence(outcome.result));
  return outcome.result;
}

int params(int index, const std::optional<Assignment>& assignment, bool debug) {
  if (const int result = scanQuietly(debug); result != FW_NO_ERROR) return result;
  if (index < 0 || index >= std::ssize(listOfSupportedDevices)) {
    complain(updateSentence(FW_NO_DRIVE_CONNECTED));
    return FW_NO_DRIVE_CONNECTED;
  }
  ScsiTarget& drive = *listOfSupportedDevices[static_cast<std::size_t>(index)];
  if (drive.getDeviceTyp() == mediumChanger) {
    complain(fmt::format("Device {} is a tape library, which has no parameters: choose a drive.", index));
    return FW_NO_DRIVE_CONNECTED;
  }
  fmt::print("{}", assignment ? setParameter(drive, *assignment) : parametersTable(drive));
  return FW_NO_ERROR;
}

}  // namespace host
