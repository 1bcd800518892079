// One drive's update: the library's steps in their order, with a plan before and the level read back after.
#include <algorithm>
#include <optional>

#include "c_interface/call.h"
#include "c_interface/code_page.h"
#include "c_interface/plan.h"
#include "c_interface/questions.h"
#include "c_interface/settings.h"
#include "c_interface/structure.h"
#include "c_interface/update_progress.h"
#include "c_interface/update_report.h"
#include "c_interface/update_words.h"
#include "kiv/api.h"
#include "kiv/config/component_id.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/update/update_firmware.h"
#include "update/firmware_image.h"
#include "update/report.h"

namespace {

constexpr int MOST_READS = 5;
constexpr DWORD READ_PAUSE = 1000;  // milliseconds

class Update {
 public:
  Update(FoundDevice& found, std::uint32_t updateFlags, kiv_progress_function function, void* user)
      : device(found), flags(updateFlags), progress(found.target, function, user, restartLimit()) {
    result.size = sizeof result;
    copyText(result.before, device.info.level);
  }

  /// Runs the whole update; throws nothing but what keeps it from beginning.
  kiv_update_result run() {
    std::optional<UpdateReport> report;
    if (device.target != nullptr) report.emplace((flags & KIV_REPORT_APPEND) != 0);
    try {
      work();
    } catch (const Failure& failure) {
      fail(failure);
    } catch (const std::bad_alloc&) {
      fail({KIV_NO_MEMORY, {}});
    }
    progress.finish(result);
    if (report) addTo(*report);
    // What the drive runs now is what the next update of this scan starts from.
    if (*result.after) {
      copyText(device.info.level, result.after);
      device.target->setFirmwareVersion(result.after);
    }
    return result;
  }

 private:
  void work() {
    progress.enter(KIV_PHASE_CHECK);
    const Plan plan = planUpdate(device, flags);
    result.verdict = plan.info.verdict;
    result.sense = plan.info.sense;
    result.windows_error = plan.info.windows_error;
    copyText(result.before, plan.info.level);
    copyText(result.wanted, plan.info.wanted);
    if (plan.info.verdict != KIV_PLAN_UPDATE) {
      result.result = plan.info.result;
      result.verified = plan.info.verdict == KIV_PLAN_CURRENT;
      copyText(result.after, plan.level);
      copyText(result.text, plan.info.text);
      return;
    }
    const OpenDevice drive(device);
    try {
      write(plan, *drive);
      verify(plan, *drive);
    } catch (const Failure& failure) {
      fail(failure);
      tellLevel(*drive);
    }
  }

  /// Throws the failure of a step that did not succeed.
  void write(const Plan& plan, ScsiTarget& drive) {
    UpdateFirmware steps;
    requireSameDrive(device, drive);
    progress.enter(KIV_PHASE_EJECT);
    check(steps.wait4DriveReady(&drive));

    progress.enter(KIV_PHASE_READ);
    FirmwareImage image;
    check(steps.loadBinaryMicrocodeFile(plan.image.c_str(), &image.bytes, &image.length));
    progress.setTotal(image.length);

    progress.enter(KIV_PHASE_DOWNLOAD);
    check(steps.performFirmwareUpdate(&drive, image.bytes, image.length));

    progress.enter(KIV_PHASE_RESTART);
    const int restarted = steps.wait4RebootComplete(&drive);
    // Whether a drive whose time is over is back after all, only its level tells.
    if (!progress.isTimeOver()) check(restarted);
  }

  void check(int stepResult) const {
    if (progress.isStopped()) throw Failure{KIV_INTERRUPTED, {}};
    if (stepResult != FW_NO_ERROR) throw progress.failureOf(stepResult);
  }

  void verify(const Plan& plan, ScsiTarget& drive) {
    std::optional<std::string> level;
    if (progress.isTimeOver()) {
      level = readLevelBack(drive, 1);
      if (!level) throw notBackInTime(restartLimit());
    }
    progress.enter(KIV_PHASE_VERIFY);
    if (!level) level = readLevelBack(drive, MOST_READS);
    if (!level) throw notAnswering();
    copyText(result.after, *level);
    result.verified = *level == deviceText(plan.wanted);
    if (!result.verified) throw levelNotReached(*level, deviceText(plan.wanted));
    copyText(result.text,
             "Updated from " + std::string(result.before) + " to " + result.after + ", read back.");
  }

  /// The level of the drive, asked through a new handle: the old one may lead to the drive before its
  /// restart.
  std::optional<std::string> readLevelBack(ScsiTarget& drive, int tries) {
    for (int i = 0; i < tries; ++i) {
      if (i > 0) pause(READ_PAUSE);
      drive.closeDevice();
      if (drive.openDevice() != CMD_OK) continue;
      const Answer level = askLevel(drive);
      if (level.given && deviceText(askSerialNumber(drive).text) == device.info.serial)
        return deviceText(level.text);
    }
    return std::nullopt;
  }

  void tellLevel(ScsiTarget& drive) {
    if (*result.after || result.result == KIV_STALE_DEVICE) return;
    const auto level = readLevelBack(drive, 1);
    if (level) copyText(result.after, *level);
    copyText(result.text, std::string(result.text) + " " + levelText(result));
  }

  void fail(const Failure& failure) {
    result.result = failure.result;
    result.windows_error = failure.windowsError;
    result.sense = failure.sense;
    copyText(result.text, failure.text.empty() ? kiv_result_text(failure.result) : failure.text);
  }

  void addTo(UpdateReport& report) try {
    ComponentId ids;
    ids.initialize("Devlist.txt");
    const std::string id = ids.isValid(device.product) ? ids.getId4InquiryData(device.product) : "";
    report.add({addressOf(*device.target), device.product, id, device.target->getFirmwareVersion()},
               result.result);
  } catch (const Failure& failure) {
    logger->logError("MAIN", 0, "%s", failure.text.c_str());
    copyText(result.text, std::string(result.text) + " The report scsiExe.txt could not be written.");
  }

  FoundDevice& device;
  std::uint32_t flags;
  UpdateProgress progress;
  kiv_update_result result = {};
};

/// One update. What keeps it from beginning is its result, too.
kiv_update_result updateDevice(kiv_device device, std::uint32_t flags, kiv_progress_function progress,
                               void* user) {
  try {
    FoundDevice& found = foundDevice(device);
    requireDriveAndFlags(found, flags);
    return Update(found, flags, progress, user).run();
  } catch (...) {
    const kiv_error& error = keepThrown();
    kiv_update_result result = {};
    result.size = sizeof result;
    result.result = error.result;
    result.windows_error = error.windows_error;
    result.sense = error.sense;
    result.scsi_status = 0xFF;
    copyText(result.text, error.text);
    return result;
  }
}

}  // namespace

KIV_API std::int32_t kiv_update(kiv_device device, std::uint32_t flags, kiv_progress_function progress,
                                void* user, kiv_update_result* result) {
  return runCall([&] {
    if (result != nullptr) requireStructure(result, "The result");
    const kiv_update_result outcome = updateDevice(device, flags, progress, user);
    if (result != nullptr) *result = outcome;
    if (outcome.result != KIV_OK)
      throw Failure{outcome.result, outcome.text, outcome.windows_error, outcome.sense};
  });
}
