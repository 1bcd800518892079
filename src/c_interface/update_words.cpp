#include "c_interface/update_words.h"

#include "scsi/sense.h"
#include "scsi/status.h"

namespace {

bool is(const kiv_sense& sense, const SenseTriple& triple) {
  return sense.valid && sense.key == triple.key && sense.asc == triple.asc && sense.ascq == triple.ascq;
}

Failure failure(std::int32_t result, std::string text, const Outcome& outcome = {}) {
  return {result, std::move(text), outcome.windowsError, outcome.sense};
}

/// What the outcomes mean that any command may have; empty for one whose cause depends on the step.
std::string commonCause(const Outcome& outcome) {
  if (outcome.status == STATUS_BUSY) return "is busy: end the job that uses it, and try again";
  if (outcome.sense.valid && outcome.sense.key == UNIT_ATTENTION)
    return "tells that something happened to it meanwhile: try again";
  if (!outcome.sense.valid && outcome.status == 0xFF)
    return "cannot be reached any more: check power and cabling, scan, and try again";
  return {};
}

Failure ejectFailure(const FailedStep& step) {
  if (is(step.outcome.sense, REMOVAL_PREVENTED))
    return failure(KIV_IN_USE,
                   "A host keeps the cartridge in: end the job that uses it. Nothing was written.",
                   step.outcome);
  if (const std::string cause = commonCause(step.outcome); !cause.empty())
    return failure(step.result,
                   "Before the download the drive " + cause + " (" + outcomeText(step.outcome) +
                       "). Nothing was written.",
                   step.outcome);
  return failure(step.result,
                 "The drive did not get ready for a download (" + outcomeText(step.outcome) +
                     "): take out its cartridge, or power-cycle it, and try again. Nothing was written.",
                 step.outcome);
}

/// What a refused chunk says of its cause.
std::string refusal(const Outcome& outcome) {
  const kiv_sense& sense = outcome.sense;
  if (is(sense, INVALID_FIELD_IN_CDB) || is(sense, BAD_MICROCODE) || is(sense, INVALID_FIELD_IN_LIST))
    return "refused the image: check that Config.txt names the image for this product, and fetch it again";
  if (sense.valid && sense.key == HARDWARE_ERROR) return "reports a hardware error: have it serviced";
  const std::string cause = commonCause(outcome);
  return cause.empty() ? "refused it: mend what it complains of, and try again" : cause;
}

Failure downloadFailure(const FailedStep& step) {
  const std::string where =
      "At chunk " + std::to_string(step.chunk) + " of " + std::to_string(step.chunks) + " the drive ";
  return failure(step.result, where + refusal(step.outcome) + " (" + outcomeText(step.outcome) + ").",
                 step.outcome);
}

}  // namespace

Failure stepFailure(const FailedStep& step) {
  if (step.result == KIV_NO_MEMORY) return failure(step.result, {});
  if (step.outcome.status == STATUS_RESERVATION_CONFLICT)
    return failure(KIV_IN_USE,
                   "Another host has reserved the drive: end the job that uses it, and try again.",
                   step.outcome);
  switch (step.phase) {
    case KIV_PHASE_EJECT:
      return ejectFailure(step);
    case KIV_PHASE_DOWNLOAD:
      return downloadFailure(step);
    case KIV_PHASE_RESTART:
      return failure(step.result,
                     "The whole image was sent, but the drive does not answer after its restart (" +
                         outcomeText(step.outcome) +
                         "): leave it switched on for ten minutes more, scan, and power-cycle it only then.",
                     step.outcome);
    default:
      return failure(step.result, {}, step.outcome);
  }
}

Failure notBackInTime(std::uint32_t seconds) {
  return failure(KIV_NOT_BACK_IN_TIME, "The whole image was sent, but the drive was not back within " +
                                           std::to_string(seconds) +
                                           " seconds: do not switch it off, and scan again later.");
}

Failure notAnswering() {
  return failure(
      KIV_REBOOT_FAILED,
      "The whole image was sent and the drive was back, but does not tell its level any more: scan "
      "again.");
}

Failure levelNotReached(const std::string& level, const std::string& wanted) {
  return failure(KIV_LEVEL_NOT_REACHED, "The drive took the whole image and came back with " + level +
                                            " instead of " + wanted +
                                            ": check that the image brings the level that Config.txt names.");
}

std::string levelText(const kiv_update_result& result) {
  const std::string after = result.after;
  if (after.empty()) return "It does not tell its level now.";
  return (after == result.before ? "It still runs " : "It runs ") + after + ".";
}
