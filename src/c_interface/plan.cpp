#include "c_interface/plan.h"

#include <cstring>
#include <optional>
#include <utility>

#include "c_interface/call.h"
#include "c_interface/code_page.h"
#include "c_interface/questions.h"
#include "c_interface/structure.h"
#include "frame/directory.h"
#include "kiv/api.h"
#include "kiv/config/config_filename.h"
#include "kiv/kiv.h"
#include "kiv/update/update_firmware.h"
#include "update/firmware_image.h"

namespace {

constexpr std::uint32_t FLAGS = KIV_FORCE | KIV_EJECT | KIV_REPORT_APPEND;

/// The result code that fits each verdict.
std::int32_t resultOf(std::int32_t verdict) {
  switch (verdict) {
    case KIV_PLAN_NOT_REACHABLE:
      return KIV_NO_ACCESS;
    case KIV_PLAN_NOT_CONFIGURED:
      return KIV_CONFIG_ERROR;
    case KIV_PLAN_IMAGE_MISSING:
      return KIV_INVALID_FILE_NAME;
    case KIV_PLAN_IMAGE_UNUSABLE:
      return KIV_FILE_CORRUPTED;
    case KIV_PLAN_NOT_READY:
      return KIV_DEVICE_DISCONNECTED;
    case KIV_PLAN_DOWNGRADE:
      return KIV_INVALID_UCODE;
    case KIV_PLAN_RESERVED:
    case KIV_PLAN_CARTRIDGE_LOADED:
    case KIV_PLAN_REMOVAL_PREVENTED:
      return KIV_IN_USE;
    default:
      return KIV_OK;
  }
}

/// Why an open drive does not pass for the one that the scan has seen; nothing when it does.
std::optional<Failure> differentDrive(const FoundDevice& device, ScsiTarget& drive) {
  const Answer serial = askSerialNumber(drive);
  const std::string now = deviceText(serial.text);
  if (now == device.info.serial) return std::nullopt;
  if (serial.given)
    return Failure{KIV_STALE_DEVICE,
                   "A drive with the serial number \"" + now + "\" stands in its place: scan again."};
  return Failure{KIV_NO_ACCESS,
                 "Does not tell its serial number any more (" + outcomeText(serial.outcome) +
                     "): check power and cabling, and scan again.",
                 serial.outcome.windowsError, serial.outcome.sense};
}

/// The checks of one plan, in the order of the verdicts. Each settles the verdict, or leaves it open.
class Planning {
 public:
  Planning(const FoundDevice& found, std::uint32_t updateFlags) : device(found), flags(updateFlags) {
    plan.info.size = sizeof plan.info;
    // What is known without asking, for drives that do not answer.
    copyText(plan.info.level, device.info.level);
  }

  Plan run() {
    if (device.target == nullptr) {
      settle(KIV_PLAN_NOT_REACHABLE,
             "Windows does not open it: " + windowsErrorText(device.info.windows_error) +
                 ". End other programs that use it, or run as administrator.");
      plan.info.windows_error = device.info.windows_error;
      readConfiguration();
      return plan;
    }
    const std::optional<OpenDevice> drive = open();
    if (drive) askIdentity(**drive);
    readConfiguration();
    readImage();
    if (drive && isOpen()) {
      askState(**drive);
      compareLevels();
      if (isOpen() && plan.info.cartridge) askRemoval(**drive);
      if (isOpen() && isCurrent()) settle(KIV_PLAN_CURRENT, "Runs the wanted level " + wanted() + ".");
      settle(KIV_PLAN_UPDATE,
             "Will be updated from " + std::string(plan.info.level) + " to " + wanted() + ".");
    }
    return plan;
  }

 private:
  bool isOpen() const { return plan.info.verdict == 0; }
  bool has(std::uint32_t flag) const { return (flags & flag) != 0; }
  std::string wanted() const { return plan.info.wanted; }
  bool isCurrent() const { return !has(KIV_FORCE) && plan.wanted == plan.level; }

  /// The first verdict stays.
  void settle(kiv_verdict verdict, const std::string& sentence, const Outcome& outcome = {}) {
    if (!isOpen()) return;
    plan.info.verdict = verdict;
    plan.info.result = resultOf(verdict);
    plan.info.sense = outcome.sense;
    plan.info.windows_error = outcome.windowsError;
    copyText(plan.info.text, sentence);
  }

  void settleReserved(const Outcome& outcome) {
    settle(KIV_PLAN_RESERVED, "Reserved: end the job that uses it, here or on another host.", outcome);
  }

  std::optional<OpenDevice> open() try {
    return std::optional<OpenDevice>(std::in_place, device);
  } catch (const Failure& failure) {
    settle(KIV_PLAN_NOT_REACHABLE, failure.text);
    plan.info.windows_error = failure.windowsError;
    return std::nullopt;
  }

  void askIdentity(ScsiTarget& drive) {
    const Answer level = askLevel(drive);
    if (!level.given) {
      settle(KIV_PLAN_NOT_REACHABLE, "Does not answer INQUIRY: check power and cabling, and scan again.",
             level.outcome);
      return;
    }
    if (const auto failure = differentDrive(device, drive)) {
      settle(KIV_PLAN_NOT_REACHABLE, failure->text,
             {.windowsError = failure->windowsError, .sense = failure->sense});
      plan.info.result = failure->result;
      return;
    }
    plan.level = deviceText(level.text);
    copyText(plan.info.level, plan.level);
    if (device.reserved) settleReserved({});
  }

  void readConfiguration() {
    ConfigFilename configuration;
    configuration.initialize("Config.txt");
    if (!configuration.isValid(device.product)) {
      settle(KIV_PLAN_NOT_CONFIGURED, "Config.txt does not name " + std::string(device.info.product_string) +
                                          ": add a line with this product, its image and its level.");
      return;
    }
    plan.image = configuration.getFilename4ProductId(device.product);
    plan.wanted = configuration.getUCodeLevel4ProductId(device.product);
    copyText(plan.info.image, fromCodePage(plan.image));
    copyText(plan.info.wanted, fromCodePage(plan.wanted));
  }

  void readImage() {
    if (plan.image.empty()) return;
    std::string name = plan.image;
    {
      const Handle file = findImage(name);
      if (!file) {
        Outcome why;
        why.windowsError = GetLastError();
        settle(KIV_PLAN_IMAGE_MISSING,
               "The image " + std::string(plan.info.image) +
                   " cannot be opened: " + windowsErrorText(why.windowsError) + ". Put it beside Config.txt.",
               why);
        return;
      }
    }
    copyText(plan.info.image_path, fromCodePage(inDirectory(name)));
    FirmwareImage image;
    const int result =
        UpdateFirmware().loadBinaryMicrocodeFile(plan.image.c_str(), &image.bytes, &image.length);
    if (result == FW_NO_MEMORY) throw Failure{KIV_NO_MEMORY, {}};
    if (result != FW_NO_ERROR) {
      settle(KIV_PLAN_IMAGE_UNUSABLE,
             "The image " + std::string(plan.info.image) +
                 " is empty, larger than 16 MiB, or cannot be read to its end: fetch it "
                 "again.");
    }
    plan.info.image_bytes = image.length;
  }

  void askState(ScsiTarget& drive) {
    Outcome outcome;
    switch (askReadiness(drive, outcome)) {
      case Readiness::Loaded:
        plan.info.cartridge = 1;
        return;
      case Readiness::Empty:
        return;
      case Readiness::Reserved:
        return settleReserved(outcome);
      case Readiness::NotReady:
        return settle(KIV_PLAN_NOT_READY, "Not ready (" + outcomeText(outcome) + "): wait and try again.",
                      outcome);
      case Readiness::Unreachable:
        return settle(
            KIV_PLAN_NOT_REACHABLE,
            "Does not answer (" + outcomeText(outcome) + "): check power and cabling, and scan again.",
            outcome);
    }
  }

  void compareLevels() {
    if (!has(KIV_FORCE) && plan.wanted < plan.level)
      settle(KIV_PLAN_DOWNGRADE, "Runs " + std::string(plan.info.level) + ", which is higher than " +
                                     wanted() + ": force the update to write the lower level.");
  }

  void askRemoval(ScsiTarget& drive) {
    if (!has(KIV_EJECT)) {
      settle(KIV_PLAN_CARTRIDGE_LOADED, "Holds a cartridge: take it out, or let the update eject it.");
    } else if (!isCurrent() && isRemovalPrevented(drive)) {
      settle(KIV_PLAN_REMOVAL_PREVENTED, "Holds a cartridge that a host keeps in: end the job that uses it.");
    }
  }

  const FoundDevice& device;
  std::uint32_t flags;
  Plan plan = {};
};

}  // namespace

Plan planUpdate(const FoundDevice& device, std::uint32_t flags) { return Planning(device, flags).run(); }

void requireDriveAndFlags(const FoundDevice& device, std::uint32_t flags) {
  if ((flags & ~FLAGS) != 0)
    throw Failure{KIV_BAD_ARGUMENT,
                  "An update knows the flags KIV_FORCE, KIV_EJECT and KIV_REPORT_APPEND only."};
  // What a device is that does not open, the port driver may know.
  if (device.info.type == KIV_TYPE_LIBRARY ||
      (device.target != nullptr && device.info.type != KIV_TYPE_DRIVE))
    throw Failure{KIV_NOT_SUPPORTED, nameOf(device) + " is no tape drive: only tape drives are updated."};
}

void requireSameDrive(const FoundDevice& device, ScsiTarget& drive) {
  if (auto failure = differentDrive(device, drive)) throw std::move(*failure);
}

KIV_API std::int32_t kiv_plan(kiv_device device, std::uint32_t flags, kiv_plan_info* info) {
  return runCall([&] {
    requireStructure(info, "The plan");
    const FoundDevice& found = foundDevice(device);
    requireDriveAndFlags(found, flags);
    *info = planUpdate(found, flags).info;
  });
}
