// What people read: reasons, outcomes, and what to do next.
#pragma once

#include <cstdint>
#include <string>

#include "host/core/plan.h"
#include "kiv/kiv_c.h"

namespace host {

/// What the library has to say about the call that has just failed.
std::string lastErrorText(int result);

/// "open by another program", "run as administrator", or Windows' own words.
std::string reasonForNoAccess(std::uint32_t windowsError);

/// After an update: what was done, or what failed at which step and what to do next, in the library's words.
std::string outcomeSentence(const Device& drive, const Plan& plan, const kiv_update_result& result);

/// What a drive runs now, as it was asked; `after` is empty when it did not answer.
std::string levelSentence(const std::string& before, const std::string& after);

}  // namespace host
