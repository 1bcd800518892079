#include <fmt/format.h>

#include <algorithm>

#include "host/commands/commands.h"
#include "host/core/drive_update.h"
#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {
namespace {

constexpr const char* nothingWritten = "Interrupted before any drive was written.";

/// What a second Ctrl-C says while no drive is being updated.
const platform::Farewell& farewell(const Run& run) {
  static platform::Farewell words;
  words = {KIV_INTERRUPTED, "", fmt::format("\nkivhost: {}\n", nothingWritten)};
  if (run.options.json) words.output = dump(document(run.document, {}, KIV_INTERRUPTED, nothingWritten));
  return words;
}

void agree(const Run& run, std::size_t writes) {
  if (run.options.yes) return;
  using platform::Stream;
  if (!platform::isTerminal(Stream::Input) || !platform::isTerminal(Stream::Error))
    throw HostError(exitUsage, "--yes is missing: without a terminal nobody can be asked.");
  std::fputs(
      fmt::format("Write new firmware to {} drive{} now? [y/N] ", writes, writes == 1 ? "" : "s").c_str(),
      stderr);
  const std::string answer = platform::readLine().value_or("");
  if (answer != "y" && answer != "Y" && answer != "yes")
    throw HostError(KIV_INTERRUPTED, "Nothing was written: the answer was no.");
}

DriveOrder orderFor(const Run& run, const Device& drive, const Plan& plan) {
  return {.session = run.options.session,
          .address = addressText(drive.address),
          .serial = drive.serial,
          .wanted = plan.wanted,
          .sha256 = plan.image ? plan.image->sha256 : "",
          .flags = run.options.update,
          .restartLimit = run.options.maxRebootMinutes * 60,
          .log = run.log.wanted(),
          .askOnly = false};
}

std::string unwritten(const Device& drive, const Plan& plan) {
  if (plan.status == KIV_OK)
    return fmt::format("{} runs level {} already; nothing was written.", drive.name(), plan.level);
  return fmt::format("{}: {} Nothing was written{}.", drive.name(), plan.why,
                     plan.level.empty() ? "" : ", it still runs level " + plan.level);
}

/// What one drive can do to this process must not keep the next one from its update.
Json updateOne(Run& run, const Device& drive, const Plan& plan) {
  try {
    return updateInProcess(orderFor(run, drive, plan), drive, run.output, run.log,
                           run.replay ? &*run.replay : nullptr);
  } catch (const HostError& error) {
    if (error.status == exitRecording) throw;
    return outcome(error.status, drive.level, "", 0, fmt::format("{}: {}", drive.name(), error.what()));
  }
}

void report(const Device& drive, Json& entry) {
  const auto& [adapter, bus, target, lun] = drive.address;
  const kiv_report_entry reported{.size = sizeof reported,
                                  .result = entry["result"],
                                  .adapter = adapter,
                                  .bus = bus,
                                  .target = target,
                                  .lun = lun,
                                  .product_string = drive.productString.c_str(),
                                  .component = drive.component.c_str(),
                                  .level = drive.level.c_str()};
  const std::string lost = "The report scsiExe.txt could not be written.";
  std::string message = entry["message"];
  if (kiv_report_add(&reported) == KIV_OK || message.ends_with(lost)) return;
  entry["message"] = message + ' ' + lost;
}

/// One drive after the other. Returns the exit status.
int updateDrives(Run& run, const std::vector<PlannedDrive>& drives) {
  int status = KIV_OK;
  std::size_t good = 0;
  for (std::size_t i = 0; i < drives.size(); ++i) {
    auto [drive, plan] = drives[i];
    if (!plan.level.empty()) drive.level = plan.level;
    Json& entry = run.document["drives"][i];
    if (platform::interrupts() > 0) break;
    if (plan.writes()) {
      run.output.say(fmt::format("\nDrive {} of {}: {} at {}, {} to {}\n", i + 1, drives.size(), drive.name(),
                                 addressText(drive.address), plan.level, plan.wanted));
      entry.update(updateOne(run, drive, plan));
      report(drive, entry);
      run.output.say(entry["message"].get<std::string>() + '\n');
    } else {
      // People have read below the plan why nothing is written.
      addOutcome(entry, plan, unwritten(drive, plan));
      if (plan.status != KIV_OK) report(drive, entry);
    }
    if (entry["result"] == KIV_OK) {
      ++good;
    } else {
      status = entry["result"];
    }
  }
  run.output.say(fmt::format("\nDrives that run their wanted level: {} of {}.\n", good, drives.size()));
  return platform::interrupts() > 0 ? static_cast<int>(KIV_INTERRUPTED) : status;
}

}  // namespace

int update(Run& run) {
  run.document = emptyLists({"drives", "unreachable"});
  const auto lock = platform::Lock::take(run.options.session.lockName());
  if (!lock) throw HostError(KIV_ALREADY_RUNNING, "Another update is running here: wait until it ends.");
  platform::countInterrupts(&farewell(run));

  Inventory inventory;
  std::vector<PlannedDrive> drives;
  {
    // Closed before the first drive's process opens its own.
    const Session session = run.openSession();
    run.warn(lintFiles("."));
    inventory = run.findDevices();
    drives = makePlans(run, inventory);
  }
  for (Json& drive : run.document["drives"]) addNoOutcome(drive);
  const auto writes = static_cast<std::size_t>(std::count_if(
      drives.begin(), drives.end(), [](const PlannedDrive& drive) { return drive.plan.writes(); }));
  if (writes > 0) agree(run, writes);
  if (platform::interrupts() > 0) throw HostError(KIV_INTERRUPTED, nothingWritten);
  if (const int result = kiv_report_start(); result != KIV_OK)
    throw HostError(exitStatus(result), lastErrorText(result));
  platform::countInterrupts(nullptr);

  const int status = updateDrives(run, drives);
  return run.isIncomplete(inventory) ? std::max<int>(status, KIV_NO_ACCESS) : status;
}

}  // namespace host
