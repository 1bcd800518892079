#pragma once

#include <cstdint>

#include "c_interface/failure.h"
#include "c_interface/outcome.h"
#include "platform/win32.h"
#include "update/update_observer.h"

/// Follows an update through its phases, tells the host of it, and keeps what the result says of the way.
class UpdateProgress : public UpdateObserver {
 public:
  /// The limit is that of the restart, in seconds; 0 for none.
  UpdateProgress(const ScsiTarget* target, kiv_progress_function progress, void* progressUser,
                 std::uint32_t restartSeconds);

  /// Throws a failure when the host stops the update here.
  void enter(kiv_phase next);
  void setTotal(ulong32 bytes) { total = bytes; }

  /// The host has stopped the update, in time.
  bool isStopped() const { return stopped; }
  /// The drive's time to come back is over.
  bool isTimeOver() const { return timeOver; }
  /// Why a step of the library did not succeed.
  Failure failureOf(int stepResult) const;
  /// Writes down what is known of the way.
  void finish(kiv_update_result& result);

  bool waits() override;
  void ejected() override { wasEjected = true; }
  void sent(ulong32 bytes) override;
  void failed(const ScsiCommand& command) override;

 private:
  bool canStop() const { return phase < KIV_PHASE_DOWNLOAD || (phase == KIV_PHASE_DOWNLOAD && written == 0); }
  std::uint32_t secondsInPhase() const;
  std::uint32_t chunks() const { return (total + CHUNK_LENGTH - 1) / CHUNK_LENGTH; }
  std::uint32_t failedChunk() const;
  void tell();

  const ScsiTarget* drive;
  kiv_progress_function function;
  void* user;
  std::uint32_t limit;

  kiv_phase phase = KIV_PHASE_CHECK;
  __time64_t phaseStart;
  std::uint32_t seconds[KIV_PHASE_COUNT] = {};
  ulong32 total = 0;
  ulong32 written = 0;
  bool stopped = false;
  bool stopTooLate = false;
  bool timeOver = false;
  bool wasEjected = false;
  bool hasFailed = false;
  Outcome outcome;  ///< of the first command of this phase that failed
};
