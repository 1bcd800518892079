#include "host/core/plan.h"

#include <fmt/format.h>

#include "host/core/checksum.h"
#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/core/text.h"

namespace host {
namespace {

struct Verdict {
  int library;  ///< kiv_verdict
  const char* name;
  int status;
  const char* advice = "";  ///< which option goes on all the same
};
// In the order in which they are looked for.
constexpr Verdict verdicts[] = {
    {KIV_PLAN_NOT_REACHABLE, "not reachable", KIV_NO_ACCESS},
    {KIV_PLAN_NOT_CONFIGURED, "not configured", KIV_CONFIG_ERROR},
    {KIV_PLAN_IMAGE_MISSING, "image missing", KIV_INVALID_FILE_NAME},
    {KIV_PLAN_IMAGE_UNUSABLE, "image unusable", KIV_FILE_CORRUPTED},
    {KIV_PLAN_RESERVED, "reserved", KIV_IN_USE},
    {KIV_PLAN_NOT_READY, "not ready", KIV_DEVICE_DISCONNECTED},
    {KIV_PLAN_DOWNGRADE, "downgrade", KIV_INVALID_UCODE, " Here that is --force."},
    {KIV_PLAN_CARTRIDGE_LOADED, "cartridge loaded", KIV_IN_USE, " Here that is --eject."},
    // Whether the cartridge comes out is seen when it is taken out.
    {KIV_PLAN_REMOVAL_PREVENTED, "update", KIV_OK, " It is updated only if the cartridge comes out by then."},
    {KIV_PLAN_CURRENT, "current", KIV_OK},
    {KIV_PLAN_UPDATE, "update", KIV_OK},
};
constexpr Verdict imageMismatch = {0, "image mismatch", KIV_IMAGE_MISMATCH};

const Verdict& verdictOf(int library) {
  for (const Verdict& verdict : verdicts)
    if (verdict.library == library) return verdict;
  throw HostError(
      exitUnforeseen,
      fmt::format("The library's verdict {} is unknown: use the kiv.dll that came with this kivhost.",
                  library));
}

}  // namespace

std::uint32_t UpdateFlags::bits() const {
  std::uint32_t flags = 0;
  if (force) flags |= KIV_FORCE;
  if (eject) flags |= KIV_EJECT;
  return flags;
}

Plan makePlan(const Device& drive, const UpdateFlags& flags) {
  kiv_plan_info info{};
  info.size = sizeof info;
  if (const int result = kiv_plan(drive.handle, flags.bits(), &info); result != KIV_OK)
    throw HostError(exitStatus(result), fmt::format("{}: {}", drive.name(), lastErrorText(result)));

  Plan plan;
  plan.level = text(info.level);
  plan.wanted = text(info.wanted);
  plan.windowsError = info.windows_error;
  plan.sense = info.sense;
  plan.why = text(info.text);
  plan.cartridge = info.cartridge != 0;
  Verdict verdict = verdictOf(info.verdict);
  // A reserved drive is called that even without an image.
  if (info.verdict > KIV_PLAN_IMAGE_MISSING && *info.image_path)
    plan.image = Image{text(info.image), info.image_bytes, ""};
  if (plan.image && info.verdict > KIV_PLAN_IMAGE_UNUSABLE) {
    const ImageCheck check = checkImage(toPath(text(info.image_path)));
    plan.image->sha256 = check.sha256;
    if (!check.complaint.empty()) {
      verdict = imageMismatch;
      plan.why = check.complaint;
    }
  }
  plan.why += verdict.advice;
  plan.verdict = verdict.name;
  plan.status = verdict.status;
  return plan;
}

}  // namespace host
