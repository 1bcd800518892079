#include "host/core/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/core/progress_view.h"

namespace {

using host::Phase;
using host::ProgressReader;
using host::ProgressView;
using testing::ElementsAre;

std::string entry(const std::string& message) { return "DLFW0000D 'Thu Sep 19 10:02:03 2019' " + message; }

const std::string launched = entry("updateFirmware (3,1,0) launched");
const std::string product = entry("Product is ==>QOR-ULTRIUM-PX6:SAS<==");
const std::string files = entry("Microcode Filename is ==>px6.bin<== new ucode is ==>E6Q4<==");
const std::string waiting = entry("Download Firmware: wait4DriveReady");
const std::string chunk = entry("set CDB timeoutvalue 900 for opcode 3B set");

/// What a view writes for these log lines.
std::string shown(bool terminal, const std::vector<std::string>& lines) {
  std::string text;
  ProgressReader reader;
  ProgressView view([&](std::string_view more) { text += more; }, terminal);
  for (const std::string& line : lines)
    if (reader.read(line)) view.show(reader.progress());
  view.finish();
  return text;
}

TEST(ProgressReader, FollowsAnUpdateThroughItsPhases) {
  ProgressReader reader;
  const auto phaseAfter = [&](const std::string& line) {
    reader.read(line);
    return reader.progress().phase;
  };
  EXPECT_EQ(phaseAfter(launched), Phase::Starting);
  EXPECT_EQ(phaseAfter(product), Phase::Starting);
  EXPECT_EQ(phaseAfter(files), Phase::Starting);
  EXPECT_EQ(reader.progress().device, 3);
  EXPECT_EQ(reader.progress().product, "QOR-ULTRIUM-PX6:SAS");
  EXPECT_EQ(reader.progress().level, "E6Q4");
  EXPECT_EQ(phaseAfter(waiting), Phase::WaitingForDrive);
  EXPECT_EQ(phaseAfter(entry("Firmware download is not supported with a loaded cartrigde")),
            Phase::Unloading);
  EXPECT_EQ(phaseAfter(entry("Download Firmware: No Media is loaded")), Phase::ReadingImage);
  EXPECT_EQ(phaseAfter(entry("Firmware Filesize <my image.bin> is 65537")), Phase::ReadingImage);
  EXPECT_EQ(reader.progress().size, 65537u);
  EXPECT_EQ(phaseAfter(chunk), Phase::Downloading);
  EXPECT_EQ(phaseAfter(entry("Write Buffer completed!!!")), Phase::Rebooting);
  EXPECT_EQ(phaseAfter(entry("Download Firmware: Init Required")), Phase::Rebooting);
  EXPECT_EQ(phaseAfter(entry("Download Firmware  OK, New Firmware level is E6Q5")), Phase::Done);
  EXPECT_EQ(reader.progress().level, "E6Q5");

  // The next drive starts anew.
  EXPECT_EQ(phaseAfter(entry("updateFirmware (4,1,0) launched")), Phase::Starting);
  EXPECT_EQ(reader.progress().device, 4);
  EXPECT_EQ(reader.progress().size, 0u);
}

TEST(ProgressReader, CountsAChunkOnceItsSuccessorStarts) {
  ProgressReader reader;
  reader.read(launched);
  EXPECT_FALSE(reader.read(chunk)) << "no size is known";
  reader.read(entry("Firmware Filesize <a> is 65537"));
  std::vector<std::uint64_t> sent;
  for (int i = 0; i < 4; ++i) {
    reader.read(chunk);
    sent.push_back(reader.progress().sent);
  }
  EXPECT_THAT(sent, ElementsAre(0, 32768, 65536, 65537));
  EXPECT_EQ(reader.progress().percent(), 100u);
}

TEST(ProgressReader, IgnoresWhatIsNoStep) {
  ProgressReader reader;
  for (const std::string& line :
       {std::string(), std::string("   000  70 00"), std::string("' '"), std::string("x 'y"),
        waiting.substr(37), entry("set CDB timeoutvalue 30 for opcode 12 set"),
        entry("Write Buffer Failed at offset 0"), entry("")})
    EXPECT_FALSE(reader.read(line)) << line;
  for (const std::string& line :
       {entry("updateFirmware ("), entry("Product is ==>x"), entry("Firmware Filesize "),
        entry("Microcode Filename is "), entry("Firmware Filesize <a> is -1")})
    reader.read(line);
  EXPECT_EQ(reader.progress().size, 0u);
  EXPECT_EQ(reader.progress().percent(), 0u);
}

const std::vector<std::string> wholeUpdate = [] {
  std::vector<std::string> lines = {launched,
                                    product,
                                    files,
                                    waiting,
                                    entry("Download Firmware: No Media is loaded"),
                                    entry("Firmware Filesize <a> is 1310720")};
  lines.insert(lines.end(), 40, chunk);
  lines.push_back(entry("Write Buffer completed!!!"));
  lines.push_back(entry("TUR Loop 0 "));
  lines.push_back(entry("Download Firmware  OK, New Firmware level is E6Q4"));
  return lines;
}();

TEST(ProgressView, WritesALinePerPhaseAndTenPercentIntoAFile) {
  EXPECT_EQ(shown(false, wholeUpdate),
            "Drive 3: QOR-ULTRIUM-PX6:SAS to level E6Q4\n"
            "  waiting for the drive\n"
            "  reading the image\n"
            "  downloading   0 % 0 of 1310720 bytes\n"
            "  downloading  10 % 131072 of 1310720 bytes\n"
            "  downloading  20 % 262144 of 1310720 bytes\n"
            "  downloading  30 % 393216 of 1310720 bytes\n"
            "  downloading  40 % 524288 of 1310720 bytes\n"
            "  downloading  50 % 655360 of 1310720 bytes\n"
            "  downloading  60 % 786432 of 1310720 bytes\n"
            "  downloading  70 % 917504 of 1310720 bytes\n"
            "  downloading  80 % 1048576 of 1310720 bytes\n"
            "  downloading  90 % 1179648 of 1310720 bytes\n"
            "  rebooting\n"
            "  done: the drive runs level E6Q4\n");
}

TEST(ProgressView, DrawsOneLineAnewOnATerminal) {
  const std::string text = shown(true, wholeUpdate);
  EXPECT_THAT(text,
              testing::HasSubstr("\r  downloading [##########----------]  50 % 655360 of 1310720 bytes"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << "the heading and the end";
  EXPECT_THAT(text, testing::HasSubstr("\r  rebooting" + std::string(56, ' ') + "\r"))
      << "covers what was there";
}

TEST(ProgressView, ShowsEachDriveThatIsWrittenAndNoOther) {
  const std::vector<std::string> lines = {
      entry("updateFirmware (0,1,0) launched"),
      product,
      files,  // runs that level already
      entry("updateFirmware (1,1,0) launched"),
      product,
      files,
      waiting,
      entry("updateFirmware (2,1,0) launched"),
      product,
      files,
      waiting,
      entry("Firmware download is not supported with a loaded cartrigde")};
  const std::string heading = ": QOR-ULTRIUM-PX6:SAS to level E6Q4\n";
  EXPECT_EQ(shown(false, lines), "Drive 1" + heading + "  waiting for the drive\n" + "Drive 2" + heading +
                                     "  waiting for the drive\n  unloading the cartridge\n");
}

}  // namespace
