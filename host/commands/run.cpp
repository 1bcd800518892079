#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>

#include "host/commands/commands.h"
#include "host/core/error.h"
#include "host/platform/platform.h"

namespace host {

Run::Run(const Options& given) : options(given), output(given.json), log(given.log, given.debug) {
  if (!options.record.empty()) refuseExisting(options.record, options.mask);
  if (options.session.replay.empty()) return;
  // Between two calls of the library nothing of this program can be unwound.
  replay.emplace(options.session.replay, 0, [this](const std::string& sentences) {
    finish(options, document, warnings, exitRecording, sentences);
    std::fflush(nullptr);
    std::_Exit(exitRecording);
  });
}

int finish(const Options& options, const Json& found, const std::vector<Warning>& warnings, int status,
           const std::string& message) {
  if (!message.empty()) Output(options.json).complain(message);
  if (options.json) {
    const std::string text = dump(document(found, warnings, status, message));
    std::fwrite(text.data(), 1, text.size(), stdout);
  }
  return status;
}

Session Run::openSession() {
  Session::LogLine sink;
  if (log.wanted()) sink = [this](std::string_view line) { log.write(line); };
  return {options.session, sink, replay ? &*replay : nullptr};
}

void Run::refuseDuringUpdate() const {
  if (platform::Lock::isHeld(options.session.lockName()))
    throw HostError(KIV_ALREADY_RUNNING,
                    "An update is running here, so no drive was asked: wait until it ends.");
}

void Run::warn(const std::vector<Warning>& more) {
  for (const Warning& warning : more) {
    const std::string line = warning.line == 0 ? "" : fmt::format(", line {}", warning.line);
    output.complain(fmt::format("{}{}: {}", warning.file, line, warning.message));
  }
  warnings.insert(warnings.end(), more.begin(), more.end());
}

Inventory Run::findDevices() {
  Inventory inventory = scanDevices();
  document["unreachable"] = toJson(inventory.unreachable);
  for (const Unreachable& device : inventory.unreachable)
    output.complain(fmt::format("{} could not be opened: {}.", device.path, device.message));
  return inventory;
}

bool Run::isIncomplete(const Inventory& inventory) const {
  return (options.selection.empty() || options.selection.all) && !inventory.unreachable.empty();
}

std::vector<Device> selectDrives(const Run& run, const Inventory& inventory) {
  std::vector<Device> drives;
  for (const Device& device : select(run.options.selection, inventory)) {
    if (device.isDrive()) {
      drives.push_back(device);
    } else if (!run.options.selection.empty()) {
      throw HostError(exitUsage,
                      fmt::format("Device {} ({}) is a tape library, and nothing was started: select "
                                  "drives.",
                                  device.index, device.name()));
    }
  }
  if (drives.empty())
    throw HostError(inventory.unreachable.empty() ? KIV_NO_DRIVE_CONNECTED : KIV_NO_ACCESS,
                    "No tape drive was found: look at \"kivhost scan\".");
  return drives;
}

}  // namespace host
