#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/measure.h"
#include "bench/rows.h"
#include "bench/scratch_directory.h"
#include "kiv/config/config_filename.h"

namespace {

enum Order : unsigned { IN_ORDER = 1, SHUFFLED = 7919 };

std::string configuration(unsigned lines, Order step) {
  std::string text;
  for (unsigned i = 0; i < lines; ++i)
    text += "QOR-MODEL" + std::to_string(1'000'000 + std::uint64_t{i} * step % 1'000'003) +
            ":Fibre \t image.bin  N9B0\r\n";
  return text;
}

struct Entry {
  std::string_view product, file, level;
};

/// The least that reading the table can do: views into the text, then a sort.
void parseLeanly() {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Close> file(std::fopen("Config.txt", "rb"));
  std::fseek(file.get(), 0, SEEK_END);
  std::string text(static_cast<std::size_t>(std::ftell(file.get())), '\0');
  std::rewind(file.get());
  if (std::fread(text.data(), 1, text.size(), file.get()) != text.size()) return;

  constexpr std::string_view BLANKS = " \t\r";
  std::vector<Entry> entries;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const auto field = [&] {
      line.remove_prefix(std::min(line.find_first_not_of(BLANKS), line.size()));
      const auto word = line.substr(0, line.find_first_of(BLANKS));
      line.remove_prefix(word.size());
      return word;
    };
    const auto product = field();
    const auto name = field();
    entries.push_back({product, name, field()});
  }
  std::ranges::sort(entries, {}, &Entry::product);
  keep(entries);
}

void parse() {
  ConfigFilename table;
  table.initialize("Config.txt");
  keep(table);
}

}  // namespace

void configurationRows() {
  const ScratchDirectory directory;
  for (const auto& [order, work] : {std::pair{IN_ORDER, "Config.txt, 1 million lines in order"},
                                    std::pair{SHUFFLED, "Config.txt, 1 million lines in no order"}}) {
    const auto write = [&directory, step = order](unsigned lines) {
      directory.write("Config.txt", configuration(lines, step));
    };
    const auto exponentOf = [&](void (*reader)()) {
      write(100'000);
      const double tenth = shortestOf(reader, 3);
      write(1'000'000);
      return std::log10(shortestOf(reader, 3) / tenth);
    };
    const double exponent = exponentOf(parse);
    // A sort takes more than ten times as long, and its misses of the cache make it more still.
    const double leanExponent = exponentOf(parseLeanly);
    print({work, "views into the text, then a sort", "<= 2", ratioOf(parse, parseLeanly, 3)});
    print({"    exponent from 100,000 lines on", "theirs: " + std::to_string(leanExponent).substr(0, 4),
           "<= 1.1", exponent});
  }
}
