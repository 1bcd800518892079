#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench/allocation_count.h"
#include "kiv/kiv.h"
#include "kiv/update/update_firmware.h"

namespace {

constexpr std::size_t CHUNK_LENGTH = 32768;

/// A drive that takes every chunk at once.
class SwiftDrive : public ScsiTarget {
 public:
  ReturnCode scsiExecCDB(GenericScsiCommand& command) override {
    benchmark::DoNotOptimize(command.getIoData());
    benchmark::ClobberMemory();
    command.setExecutionStatus(CMD_OK);
    return CMD_OK;
  }
};

std::size_t allocationsOfDownload(ScsiTarget& drive, std::vector<unsigned char>& image) {
  const std::size_t before = allocationCount();
  if (UpdateFirmware().performFirmwareUpdate(&drive, image.data(), static_cast<ulong32>(image.size())) !=
      FW_NO_ERROR)
    std::abort();
  return allocationCount() - before;
}

/// An image of so many full chunks. What one chunk allocates shows against the download of a single one.
void download(benchmark::State& state) {
  const auto chunks = static_cast<std::size_t>(state.range(0));
  std::vector<unsigned char> image(chunks * CHUNK_LENGTH, 0x5A);
  std::vector<unsigned char> oneChunk(CHUNK_LENGTH, 0x5A);
  SwiftDrive drive;
  for (auto _ : state) benchmark::DoNotOptimize(allocationsOfDownload(drive, image));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(image.size()));
  const auto perChunk = (static_cast<double>(allocationsOfDownload(drive, image)) -
                         static_cast<double>(allocationsOfDownload(drive, oneChunk))) /
                        static_cast<double>(chunks);
  state.counters["allocations_per_chunk"] = perChunk;
  if (perChunk != 0) state.SkipWithError("the download loop allocates");
}
BENCHMARK(download)->Arg(16)->Arg(512);

}  // namespace
