#pragma once

#include <utility>

#include "kiv/scsi/command.h"

/// While one lives, a command that only asks is sent again when the device is busy, or first has to tell what
/// happened to it: neither may make a device look like another one. Without one nothing is ever sent twice.
class Patience {
 public:
  Patience() : before(std::exchange(active, true)) {}
  ~Patience() { active = before; }
  Patience(const Patience&) = delete;
  Patience& operator=(const Patience&) = delete;

  static bool isActive() { return active; }

 private:
  friend class Impatience;
  bool before;
  static inline bool active = false;
};

/// Suspends it.
class Impatience {
 public:
  Impatience() : before(std::exchange(Patience::active, false)) {}
  ~Impatience() { Patience::active = before; }
  Impatience(const Impatience&) = delete;
  Impatience& operator=(const Impatience&) = delete;

 private:
  bool before;
};

/// Whether a command that failed is worth another try; waits when that takes time.
bool isWorthAnotherTry(const ScsiCommand& command);

/// Runs `send` once, or as often as there is patience for.
template <typename Send>
ReturnCode sendPatiently(const ScsiCommand& command, Send send) {
  constexpr int MOST_TRIES = 5;
  const bool patient = Patience::isActive() && command.getDataDirection() != SCSI_DATA_OUT;
  const Impatience sendOnce;
  ReturnCode result = send();
  for (int tries = 1; patient && result != CMD_OK && tries < MOST_TRIES && isWorthAnotherTry(command);
       ++tries)
    result = send();
  return result;
}
