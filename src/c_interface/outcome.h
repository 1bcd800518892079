#pragma once

#include <cstdint>
#include <string>

#include "c_interface/failure.h"
#include "kiv/device/target.h"

/// How a command ended, as far as anything is known of it.
struct Outcome {
  std::uint8_t status = 0xFF;      ///< SCSI status (SAM-5); 0xFF when it did not come that far
  std::uint32_t windowsError = 0;  ///< 0 when it was the device that complained
  kiv_sense sense = {};
  bool timedOut = false;
};
Outcome outcomeOf(const ScsiTarget& target, const ScsiCommand& command);

/// "sense 5/24/00, Invalid field in CDB"; "busy"; "no answer in time"; Windows' words.
std::string outcomeText(const Outcome& outcome);
