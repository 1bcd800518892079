#include <fmt/format.h>

#include <algorithm>

#include "host/commands/commands.h"
#include "host/core/text.h"

namespace host {
namespace {

std::string table(const std::vector<PlannedDrive>& drives) {
  std::vector<Row> rows = {{"INDEX", "SERIAL", "PRODUCT", "LEVEL", "WANTED", "IMAGE", "VERDICT"}};
  for (const auto& [drive, plan] : drives)
    rows.push_back({std::to_string(drive.index), drive.serial, drive.productString, plan.level, plan.wanted,
                    plan.image ? plan.image->file : "", plan.verdict});
  std::string text = formatTable(rows);
  for (const auto& [drive, plan] : drives)
    if (!plan.writes()) text += fmt::format("{}: {}\n", drive.name(), plan.why);
  return text;
}

}  // namespace

std::vector<PlannedDrive> makePlans(Run& run, const Inventory& inventory) {
  std::vector<PlannedDrive> drives;
  for (const Device& drive : selectDrives(run, inventory))
    drives.push_back({drive, makePlan(drive, run.options.update)});
  for (const auto& [drive, plan] : drives) run.document["drives"].push_back(toJson(drive, plan));
  run.output.say(table(drives));
  return drives;
}

int plan(Run& run) {
  run.document = emptyLists({"drives", "unreachable"});
  run.refuseDuringUpdate();
  const Session session = run.openSession();
  run.warn(lintFiles("."));
  const Inventory inventory = run.findDevices();
  int status = KIV_OK;
  for (const PlannedDrive& planned : makePlans(run, inventory))
    if (planned.plan.status != KIV_OK) status = planned.plan.status;
  return run.isIncomplete(inventory) ? std::max<int>(status, KIV_NO_ACCESS) : status;
}

}  // namespace host
