#include "host/core/sentences.h"

#include <fmt/format.h>

#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {
namespace {

// Windows error numbers.
constexpr std::uint32_t accessDenied = 5, sharingViolation = 32, lockViolation = 33, busy = 170;

}  // namespace

std::string lastErrorText(int result) {
  kiv_error error{};
  error.size = sizeof error;
  const bool told = kiv_last_error(&error) == KIV_OK && error.result == result && error.text[0] != '\0';
  return told ? text(error.text) : kiv_result_text(result);
}

std::string reasonForNoAccess(std::uint32_t windowsError) {
  switch (windowsError) {
    case accessDenied:
      return "run as administrator";
    case sharingViolation:
    case lockViolation:
    case busy:
      return "open by another program";
    case 0:
      return "it does not answer";
    default:
      return fmt::format("{} (Windows error {})", platform::windowsWords(windowsError), windowsError);
  }
}

std::string levelSentence(const std::string& before, const std::string& after) {
  if (after.empty()) return "Asked for its level, it does not answer.";
  if (after == before) return fmt::format("Asked for its level, it still runs its old firmware, {}.", after);
  return fmt::format("Asked for its level, it runs {}.", after);
}

std::string outcomeSentence(const Device& drive, const Plan& plan, const kiv_update_result& result) {
  std::uint32_t seconds = 0;
  for (int phase = 0; phase < KIV_PHASE_COUNT; ++phase) seconds += result.seconds[phase];
  std::string sentence = fmt::format("{}: {}", drive.name(), text(result.text));
  if (result.ejected) sentence += " A cartridge was ejected.";
  if (plan.cartridge && !result.ejected && result.bytes_written > 0)
    sentence += " Its cartridge could not be ejected and is still inside.";
  if (result.result != KIV_OK && result.phase == KIV_PHASE_CHECK)
    return sentence + fmt::format(" Nothing was written, it still runs {}.", text(result.before));
  return sentence + fmt::format(" It took {} s.", seconds);
}

}  // namespace host
