#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"

namespace {

/// A file of so many lines, each made of its number; removed at the end.
class NumberedFile {
 public:
  NumberedFile(std::int64_t lines, const char* before, const char* after)
      : path((std::filesystem::temp_directory_path() / "kiv_bench.txt").string()) {
    std::ofstream file(path, std::ios::binary);
    for (std::int64_t i = 0; i < lines; ++i) file << before << i << after << "\r\n";
  }
  ~NumberedFile() { std::remove(path.c_str()); }
  NumberedFile(const NumberedFile&) = delete;
  NumberedFile& operator=(const NumberedFile&) = delete;

  const std::string path;
};

template <typename Table>
void parse(benchmark::State& state, const char* before, const char* after) {
  const NumberedFile file(state.range(0), before, after);
  for (auto _ : state) {
    Table table;
    if (!table.initialize(file.path.c_str())) state.SkipWithError("not parsed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void parseConfig(benchmark::State& state) {
  parse<ConfigFilename>(state, "QOR-MODEL", ":Fibre \t image.bin  LEVEL one");
}
void parseDevlist(benchmark::State& state) { parse<ComponentId>(state, "1234 \t QOR-MODEL", ":SAS"); }
// Ten times the lines take about ten times as long.
BENCHMARK(parseConfig)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(parseDevlist)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
