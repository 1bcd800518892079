#pragma once

#include <cstdint>
#include <string>

#include "kiv/kiv_c.h"

/// Why a call of the host fails. Thrown inside the interface; its edge turns it into a result code and the
/// last error.
struct Failure {
  std::int32_t result;
  std::string text;  ///< a sentence, in UTF-8; empty for that of the result code
  std::uint32_t windowsError = 0;
  kiv_sense sense = {};
};

/// "sense 5/24/00, Invalid field in CDB"; "no sense data" when there are none.
std::string senseText(const kiv_sense& sense);
