#include "kiv/frame/logger.h"

#include <gmock/gmock.h>

#include <cstdio>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "tests/support/captured_output.h"
#include "tests/support/working_directory.h"

using testing::ElementsAre;

namespace {

/// What has left the process through its standard output.
auto bytesOut() {
#ifdef _WIN32
  return _lseek(1, 0, SEEK_CUR);
#else
  return lseek(1, 0, SEEK_CUR);
#endif
}

TEST(Logger, WritesNothingAtFirst) {
  CapturedOutput output;
  EXPECT_FALSE(logger->logError("MAIN", 0, "error"));
  EXPECT_FALSE(logger->logDebug("MAIN", 0, "%d", 1));
  EXPECT_FALSE(logger->logBinary("MAIN", 0, "data", "abc", 3));
  EXPECT_EQ(output.text(), "");
}

TEST(Logger, FiltersByLevel) {
  LogLevel level(LOG_WARNING);
  CapturedOutput output;
  EXPECT_TRUE(logger->logError("MAIN", 0, "error %d", 1));
  EXPECT_TRUE(logger->logWarning("MAIN", 0, std::string("warning")));
  EXPECT_FALSE(logger->logInfo("MAIN", 0, "info"));
  EXPECT_FALSE(logger->logDebug("MAIN", 0, std::string("debug")));
  EXPECT_FALSE(logger->logBinary("MAIN", 0, "data", "abc", 3));
  EXPECT_GT(bytesOut(), 60) << "a host that dies has its log";
  EXPECT_THAT(output.lines(), ElementsAre("MAIN0000E error 1", "MAIN0000W warning"));
}

TEST(Logger, PadsItsFields) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  logger->logDebug("UF", 7, "short");
  logger->logInfo("LONGER", 12345, "long");
  EXPECT_THAT(output.text(), testing::MatchesRegex("UF__0007D '... ... .. ..:..:.. ....' short\n"
                                                   "LONGER12345I '... ... .. ..:..:.. ....' long\n"));
}

TEST(Logger, FormatsTextOfAnyLength) {
  LogLevel level(LOG_DEBUG);
  for (std::size_t length : {0u, 99u, 100u, 101u, 5000u}) {
    CapturedOutput output;
    logger->logDebug("MAIN", 0, "%s", std::string(length, 'x').c_str());
    EXPECT_THAT(output.lines(), ElementsAre("MAIN0000D " + std::string(length, 'x')));
  }
}

// The number format of the shared stream changes with the first row of a process.
TEST(Logger, DumpsEightBytesARow) {
  LogLevel level(LOG_INFO);
  CapturedOutput output;
  logger->logBinary("TSTS", 0, "empty", "", 0);
  logger->logBinary("TSTS", 0, "nine", "\x01\x7A\x7B\x7F\x80\xFFyz9", 9);
  logger->logBinary("TSTS", 21, "sixteen", "0123456789ABCDEF", 16);
  EXPECT_THAT(output.lines(),
              ElementsAre("TSTS0000B empty (0 bytes):",  //
                          "TSTS0000B nine (9 bytes):",   //
                          testing::AnyOf("    0   01 7A 7B 7F  80 FF 79 7A     . z . . . . y z ",
                                         "  000   01 7A 7B 7F  80 FF 79 7A     . z . . . . y z "),
                          "  008   39                           9 ",                //
                          "TSTS0021B sixteen (10 bytes):",                          //
                          "  000   30 31 32 33  34 35 36 37     0 1 2 3 4 5 6 7 ",  //
                          "  008   38 39 41 42  43 44 45 46     8 9 A B C D E F "));
}

TEST(Logger, ClearEmptiesTheNamedFileFromWarningsOn) {
  WorkingDirectory directory;
  logger->setFileName("mine.txt");
  for (auto [level, content] : {std::pair{LOG_ERROR, "old"}, {LOG_WARNING, ""}}) {
    directory.write("mine.txt", "old");
    LogLevel scope(level);
    logger->clear();
    EXPECT_EQ(directory.read("mine.txt"), content);
  }
  LogLevel scope(LOG_DEBUG);
  logger->setFileName("no/such/directory.txt");
  logger->clear();
  EXPECT_FALSE(directory.holds("no"));
  logger->setFileName("logfile.txt");
}

}  // namespace
