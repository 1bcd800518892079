#include <benchmark/benchmark.h>

#include "bench/allocation_count.h"
#include "kiv/frame/logger.h"

namespace {

/// A log call that the level filters out: what every command pays.
void filteredLogCall(benchmark::State& state) {
  logger->setLogLevel(LOG_NONE);
  const auto logCall = [](int number) {
    return logger->logDebug("SCSI", 0, "set CDB timeoutvalue %d for opcode %02X set", number, 0x3B);
  };
  int number = 0;
  for (auto _ : state) benchmark::DoNotOptimize(logCall(++number));

  const std::size_t before = allocationCount();
  logCall(number);
  if (allocationCount() != before) state.SkipWithError("a filtered log call allocates");
}
BENCHMARK(filteredLogCall);

}  // namespace
