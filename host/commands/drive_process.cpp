#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "host/commands/commands.h"
#include "host/core/drive_order.h"
#include "host/core/error.h"
#include "host/core/sentences.h"

namespace host {
namespace {

/// Whoever started this process may be gone; the drive is brought to its level all the same.
void tell(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

/// The drive that the order names, if it is still there.
std::optional<Device> findDrive(const DriveOrder& order) {
  for (const Device& device : scanDevices().devices)
    if (device.isDrive() && addressText(device.address) == order.address && device.serial == order.serial)
      return device;
  return std::nullopt;
}

std::int32_t onProgress(const kiv_progress* progress, void* user) {
  static_cast<Session*>(user)->keepRoom();
  tell(progressLine({progress->phase, progress->bytes, progress->total, progress->seconds}));
  return 0;
}

Json update(const DriveOrder& order, Session& session) {
  const std::optional<Device> drive = findDrive(order);
  if (!drive)
    return outcome(KIV_DEVICE_DISCONNECTED, "", "", 0,
                   fmt::format("{} is no longer at {}, and nothing was written: look at \"kivhost scan\".",
                               order.serial, order.address));
  const Plan plan = makePlan(*drive, order.flags);
  Json json = toJson(*drive, plan);
  if (!plan.writes()) {
    addOutcome(json, plan, fmt::format("{}: {} Nothing was written.", drive->name(), plan.why));
    return json;
  }
  if (plan.wanted != order.wanted || !plan.image || plan.image->sha256 != order.sha256)
    return outcome(
        KIV_IMAGE_MISMATCH, plan.level, plan.level, 0,
        fmt::format("{}: Config.txt or the image was changed after the plan was shown, and nothing was "
                    "written: update again.",
                    drive->name()));
  kiv_set_restart_limit(order.restartLimit);
  kiv_update_result result{};
  result.size = sizeof result;
  kiv_update(drive->handle, order.flags.bits() | KIV_REPORT_APPEND, onProgress, &session, &result);
  session.keepRoom();
  return outcome(result, outcomeSentence(*drive, result));
}

}  // namespace

int driveProcess() {
  std::string text;
  std::getline(std::cin, text);
  const DriveOrder order = parseOrder(text);
  try {
    Session::LogLine sink;
    if (order.log) sink = [](std::string_view line) { tell(logLine(line)); };
    Session session(order.session, sink);
    if (order.askOnly) {
      const std::optional<Device> drive = findDrive(order);
      tell(levelLine(drive ? drive->level : ""));
    } else {
      tell(outcomeLine(update(order, session)));
    }
  } catch (const HostError& error) {
    tell(outcomeLine(outcome(error.status, "", "", 0, error.what())));
  } catch (const std::exception& error) {
    tell(outcomeLine(outcome(exitUnforeseen, "", "", 0, error.what())));
  }
  return KIV_OK;
}

}  // namespace host
