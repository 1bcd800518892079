// The parts of kivhost's core that are worth a look from close by; the whole is tested in e2e/.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/core/checksum.h"
#include "host/core/config_lint.h"
#include "host/core/device.h"
#include "host/core/progress_view.h"
#include "host/core/text.h"
#include "kiv/kiv_c.h"
#include "tests/support/record.h"

namespace {

using testing::HasSubstr;

TEST(ConfigLint, TellsEveryLineThatIsNotReadAsItLooks) {
  using namespace std::string_literals;
  const std::string good = "# comment\r\n\r\n \t\nQOR-A:SAS\t a.bin  E6Q4\r\n\n  #x\nQOR-B b.bin 3.20";
  Record record;
  for (const std::string& text :
       {""s, good, "\xEF\xBB\xBF" + good, "\xFF\xFEQ\0O\0\n\0\n\0"s, "Q\0O\0\n\0\n\0"s,
        "\n\nQOR-A \"a.bin\" E6Q4\n"s, "QOR-A a.bin\n\nQOR-A\n"s, "QOR-A a.bin E6Q4 # new\n"s,
        "QOR-A my image.bin E6Q4\n"s, "QOR-A a.bin 1000\n\nQOR-A  a.bin 1000\n"s,
        "QOR-A a.bin 1\rQOR-B b.bin 1\r"s, "'QOR-A' o'b.bin E6Q4\nQOR-B o'b.bin E6Q\n"s,
        "#\xFC\nQOR-A \xFC.bin E6Q4\nQOR-B \u00FC.bin E6Q4\n"s,
        "LibraryCheck=true\nAutomationReadyCheck=false\n"s, "LibraryCheck = true\nLibraryChek=true\n"s,
        "AutomationReadyCheck=false\n1 QOR-A:SAS:AutomationReady\n"s}) {
    record(text);
    for (const host::Warning& w : host::lintConfig(text)) record("  Config.txt", w.line, w.message);
    for (const host::Warning& w : host::lintDevlist(text)) record("  Devlist.txt", w.line, w.message);
  }
  std::vector<host::ConfigEntry> entries;
  host::lintConfig(good, &entries);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].line, 7u);
  EXPECT_EQ(entries[1].product + entries[1].image + entries[1].level, "QOR-Bb.bin3.20");
}

TEST(Checksum, IsReadAsSha256sumWritesIt) {
  const std::string sum(64, 'a');
  const struct {
    std::string text;
    bool good;
  } rows[] = {{sum + "  px6.bin\n", true},
              {sum + " *px6.bin", true},
              {std::string(64, 'A') + "  images/PX6.BIN\r\n", true},
              {std::string(64, 'b') + "  px7.bin\n" + sum + "  px6.bin\n", true},
              {sum + "  C:\\images\\px6.bin\n", true},
              {sum, false},
              {sum + " px6.bin\n", false},
              {sum + "  px6.bin.old\n", false},
              {sum.substr(1) + "  px6.bin\n", false},
              {"g" + sum.substr(1) + "  px6.bin\n", false},
              {sum + "  px6.bin\n" + sum + "  px6.bin\n", false},
              {"", false}};
  for (const auto& [text, good] : rows)
    EXPECT_EQ(host::checksumFor("px6.bin", text), good ? sum : "") << text;
}

TEST(Address, IsFourNumbers) {
  EXPECT_EQ(host::parseAddress("2,0,15,1"), (host::Address{2, 0, 15, 1}));
  for (const char* text :
       {"", "1,2,3", "1,2,3,4,", "1,2,3,4,5", "1,2,,4", " 1,2,3,4", "1,2,3,-4", "1,2,3,4294967296"})
    EXPECT_FALSE(host::parseAddress(text)) << text;
}

/// What a view writes for an update of `total` bytes in chunks, and a restart of so many seconds.
std::string watched(bool terminal, std::uint64_t total, std::uint32_t seconds) {
  std::string text;
  host::ProgressView view([&](std::string_view more) { text += more; }, terminal, 1200);
  view.show({KIV_PHASE_CHECK, 0, 0, 0});
  for (std::uint64_t bytes = 0; bytes <= total; bytes += total / 64)
    view.show({KIV_PHASE_DOWNLOAD, bytes, total, 0});
  for (std::uint32_t second = 0; second <= seconds; ++second)
    view.show({KIV_PHASE_RESTART, total, total, second});
  view.leaveLine();
  return text;
}

TEST(ProgressView, WritesALineForTenPercentAndAMinute) {
  std::string expected = "  check\n";
  for (const char* step : {"  0 % 0", " 10 % 448", " 20 % 832", " 31 % 1280", " 40 % 1664", " 50 % 2048",
                           " 60 % 2496", " 70 % 2880", " 81 % 3328", " 90 % 3712", "100 % 4096"})
    expected += std::string("  download ") + step + "/4096\n";
  for (const char* minute : {"0:00", "1:00", "2:00"})
    expected += std::string("  restart ") + minute + " of at most 20:00, leave it switched on\n";
  EXPECT_EQ(watched(false, 4096, 130), expected);
}

TEST(ProgressView, DrawsOneLineOfLessThan60ColumnsOnATerminal) {
  const std::string text = watched(true, 1 << 24, 1199);
  EXPECT_THAT(text, HasSubstr("\r  download [##########----------]  50 % 8388608/16777216\r"));
  EXPECT_THAT(text, HasSubstr("\r  restart 19:59 of at most 20:00, leave it switched on"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  for (std::size_t at = 0; at != std::string::npos; at = text.find('\r', at + 1))
    EXPECT_LT(std::min(text.find('\r', at + 1), text.size()) - at, 61u);
}

TEST(Table, IsStraightWithNamesBeyondAscii) {
  EXPECT_EQ(host::formatTable({{"IMAGE", "LEVEL"}, {"prüf.bin", "E6Q4"}, {"a", ""}}),
            "IMAGE     LEVEL\nprüf.bin  E6Q4\na\n");
}

}  // namespace
