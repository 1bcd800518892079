#include "c_interface/update_progress.h"

#include <algorithm>

#include "c_interface/update_words.h"

UpdateProgress::UpdateProgress(const ScsiTarget* target, kiv_progress_function progress, void* progressUser,
                               std::uint32_t restartSeconds)
    : drive(target),
      function(progress),
      user(progressUser),
      limit(restartSeconds),
      phaseStart(_time64(nullptr)) {}

void UpdateProgress::enter(kiv_phase next) {
  seconds[phase] += secondsInPhase();
  phase = next;
  phaseStart = _time64(nullptr);
  hasFailed = false;
  outcome = {};
  tell();
  if (stopped) throw Failure{KIV_INTERRUPTED, {}};
}

std::uint32_t UpdateProgress::secondsInPhase() const {
  // The clock may be set back meanwhile.
  return static_cast<std::uint32_t>(std::max<__time64_t>(_time64(nullptr) - phaseStart, 0));
}

void UpdateProgress::tell() {
  if (function == nullptr) return;
  const bool stoppable = canStop();
  const kiv_progress progress{sizeof progress, phase, written, total, secondsInPhase(), stoppable};
  if (function(&progress, user) == 0) return;
  (stoppable ? stopped : stopTooLate) = true;
}

bool UpdateProgress::waits() {
  tell();
  if (phase == KIV_PHASE_RESTART && limit != 0 && secondsInPhase() >= limit) timeOver = true;
  return !stopped && !timeOver;
}

void UpdateProgress::sent(ulong32 bytes) {
  written = bytes;
  tell();
}

void UpdateProgress::failed(const ScsiCommand& command) {
  if (hasFailed || drive == nullptr) return;
  hasFailed = true;
  outcome = outcomeOf(*drive, command);
}

std::uint32_t UpdateProgress::failedChunk() const {
  return phase == KIV_PHASE_DOWNLOAD && hasFailed ? written / CHUNK_LENGTH + 1 : 0;
}

Failure UpdateProgress::failureOf(int stepResult) const {
  return stepFailure({phase, stepResult, outcome, failedChunk(), chunks()});
}

void UpdateProgress::finish(kiv_update_result& result) {
  seconds[phase] += secondsInPhase();
  phaseStart = _time64(nullptr);
  std::copy(std::begin(seconds), std::end(seconds), result.seconds);
  result.phase = phase;
  result.stop_too_late = stopTooLate;
  result.ejected = wasEjected;
  result.chunk = failedChunk();
  result.chunks = chunks();
  result.bytes_written = written;
  result.scsi_status = outcome.status;
}
