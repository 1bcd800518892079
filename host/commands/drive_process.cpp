#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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
  // Also where the drive happens to run what Config.txt names now: that is not what was agreed to.
  if ((!plan.wanted.empty() && plan.wanted != order.wanted) ||
      (plan.image && plan.image->sha256 != order.sha256))
    return outcome(
        KIV_IMAGE_MISMATCH, plan.level, plan.level, 0,
        fmt::format("{}: Config.txt or the image was changed after the plan was shown, and nothing was "
                    "written: update again.",
                    drive->name()));
  if (!plan.writes()) {
    addOutcome(json, plan, fmt::format("{}: {} Nothing was written.", drive->name(), plan.why));
    return json;
  }
  kiv_set_restart_limit(order.restartLimit);
  kiv_update_result result{};
  result.size = sizeof result;
  const int status =
      kiv_update(drive->handle, order.flags.bits() | KIV_REPORT_APPEND, onProgress, &session, &result);
  session.keepRoom();
  // An update that could not begin leaves the result as it was.
  if (status != KIV_OK && result.result == KIV_OK)
    return outcome(status, plan.level, plan.level, 0,
                   fmt::format("{}: {} Nothing was written.", drive->name(), lastErrorText(status)));
  return outcome(result, outcomeSentence(*drive, plan, result));
}

/// The replay is over, here and where this process was started.
[[noreturn]] void depart(const std::string& sentences) {
  tell(departureLine(sentences));
  std::_Exit(KIV_OK);
}

void carryOut(DriveOrder& order) {
  order.session.command =
      fmt::format("{} {} {}", driveProcessWord, order.askOnly ? "level" : "update", order.serial);
  std::optional<Replay> replay;
  if (!order.session.replay.empty()) replay.emplace(order.session.replay, order.recording, depart);
  Session::LogLine sink;
  if (order.log) sink = [](std::string_view line) { tell(logLine(line)); };
  {
    Session session(order.session, sink, replay ? &*replay : nullptr);
    if (order.askOnly) {
      const std::optional<Device> drive = findDrive(order);
      tell(levelLine(drive ? drive->level : ""));
    } else {
      tell(outcomeLine(update(order, session)));
    }
  }
  if (replay) tell(leftLine(replay->left()));
}

}  // namespace

int driveProcess() {
  std::string text;
  std::getline(std::cin, text);
  DriveOrder order = parseOrder(text);
  try {
    carryOut(order);
  } catch (const HostError& error) {
    if (error.status == exitRecording) depart(error.what());
    tell(outcomeLine(outcome(error.status, "", "", 0, error.what())));
  } catch (const std::exception& error) {
    tell(outcomeLine(outcome(exitUnforeseen, "", "", 0, error.what())));
  }
  return KIV_OK;
}

}  // namespace host
