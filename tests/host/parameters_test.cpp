#include "host/core/parameters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/core/result.h"
#include "kiv/device/target.h"
#include "simulator/room/room.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(Assignment, IsReadWithItsRange) {
  struct Row {
    const char* text;
    ParamType type;
    std::uint32_t value;
  };
  for (const Row& row :
       {Row{"compression=on", PARAM_COMPRESSION, 1}, Row{"buffered-mode=NO", PARAM_WRITE_CACHE, 0},
        Row{"skip-sync=True", PARAM_SKIP_SYNC, 1}, Row{"data-safe-mode=0", PARAM_DATA_SAFE_MODE, 0},
        Row{"archive-mode-unthread=off", PARAM_ARCHIVE_MODE_UNTHREAD, 0},
        Row{"block-size=16777215", PARAM_BLOCK_LENGTH, 16777215},
        Row{"sleep-mode-timer=429496729", PARAM_SLEEP_MODE_TIMER, 429496729}}) {
    const host::Assignment assignment = host::parseAssignment(row.text);
    EXPECT_EQ(assignment.setting->type, row.type) << row.text;
    EXPECT_EQ(assignment.value, row.value) << row.text;
  }
}

TEST(Assignment, ThatMakesNoSenseIsRefusedWithTheChoices) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "write NAME=VALUE"},
      {"compression", "write NAME=VALUE"},
      {"=on", "choose one of compression, block-size, buffered-mode"},
      {"Compression=on", "There is no parameter \"Compression\""},
      {"compression=2", "choose on or off"},
      {"compression=", "choose on or off"},
      {"block-size=on", "choose 0 to 16777215 bytes"},
      {"block-size=16777216", "choose 0 to 16777215 bytes"},
      {"block-size=-1", "choose 0 to"},
      {"block-size=512k", "choose 0 to"},
      {"block-size=99999999999", "choose 0 to"},
      {"sleep-mode-timer=429496730", "choose 0 to 429496729 seconds"},
  };
  for (const auto& [text, sentence] : rows)
    EXPECT_THAT([&] { host::parseAssignment(text); }, ThrowsMessage<host::HostError>(HasSubstr(sentence)))
        << text;
}

struct DriveParameters : testing::Test {
  simulator::Room room;
  ScsiTarget target;

  simulator::VirtualDrive& open(const char* model) {
    simulator::VirtualDrive& drive = room.addDrive({.target = 2, .model = model, .serial = "S123456789"});
    EXPECT_EQ(target.openDevice(0, 2, 0, 0, nullptr, 1), CMD_OK);
    return drive;
  }
  void TearDown() override { EXPECT_EQ(room.openHandles(), 0u) << "the drive is left closed"; }

  std::string set(const char* text) { return host::setParameter(target, host::parseAssignment(text)); }
};

TEST_F(DriveParameters, AreShownWithWhatTheDriveDoesNotSupport) {
  open("ULTRIUM-PX5").addUnitAttention(0x2A, 0x01);
  EXPECT_EQ(host::parametersTable(target),
            "PARAMETER         VALUE  SETTING           CHOICES\n"
            "Compression       Yes    compression       on or off\n"
            "Block Size        0      block-size        0 to 16777215 bytes, 0 for blocks of any length\n"
            "Buffered Mode     Yes    buffered-mode     on or off\n"
            "Data Safe Mode    No     data-safe-mode    on or off\n"
            "Sleep Mode Timer  0      sleep-mode-timer  0 to 429496729 seconds, 0 for never\n"
            "The drive S123456789 does not support skip-sync, archive-mode-unthread.\n");

  room.addFault({.cdb = "1A 08 10 01", .sense = simulator::Sense{.key = 4, .asc = 0x44, .ascq = 0}});
  EXPECT_THAT([&] { host::parametersTable(target); },
              ThrowsMessage<host::HostError>(AllOf(HasSubstr("data-safe-mode"), HasSubstr("4/44/00"))));
}

TEST_F(DriveParameters, AreSetAndReadBack) {
  open("ULTRIUM-PX6");
  EXPECT_EQ(set("compression=off"), "Compression: No (was Yes)\n");
  EXPECT_EQ(set("block-size=65536"), "Block Size: 65536 (was 0)\n");
  room.addFault({.cdb = "15", .sense = simulator::Sense{.key = 6, .asc = 0x2A, .ascq = 1}});
  EXPECT_EQ(set("block-size=512"), "Block Size: 512 (was 65536)\n") << "repeated after a unit attention";
  EXPECT_EQ(set("buffered-mode=off"), "Buffered Mode: No (was Yes)\n");
  EXPECT_EQ(set("data-safe-mode=on"), "Data Safe Mode: Yes (was No)\n");
  EXPECT_EQ(set("skip-sync=on"), "Skip Sync: Yes (was No)\n");
  EXPECT_EQ(set("sleep-mode-timer=429496729"), "Sleep Mode Timer: 429496729 (was 0)\n");
  EXPECT_EQ(set("archive-mode-unthread=on"), "Archive Mode Unthread: Yes (was No)\n");
}

TEST_F(DriveParameters, ThatAreNotSetAreTold) {
  simulator::VirtualDrive& drive = open("ULTRIUM-PX6");
  const auto expectRefusal = [&](const char* text, const char* sentence) {
    EXPECT_THAT([&] { set(text); }, ThrowsMessage<host::HostError>(HasSubstr(sentence))) << text;
  };
  drive.modes().remove(0x30, 0x40);
  expectRefusal("skip-sync=on", "does not support skip-sync.");
  expectRefusal("block-size=16777215", "does not support this value of block-size (sense 5/26/00)");
  room.addFault({.cdb = "15", .sense = simulator::Sense{.key = 4, .asc = 0x44, .ascq = 0}});
  expectRefusal("compression=off", "did not set compression (sense 4/44/00)");
  room.addFault({.cdb = "1A", .status = std::uint8_t{8}});
  expectRefusal("compression=off", "does not tell compression (result 7)");
  simulator::Bytes off(20);
  off[0] = 19, off[4] = 0x0F, off[5] = 14;
  room.addFault({.cdb = "1A 08 0F", .nth = 3, .reply = off});
  expectRefusal("compression=on", "accepted the new value of compression and still reports No");
  room.addFault({.call = "CreateFileA", .times = 0, .error = 5});
  expectRefusal("compression=on", "S123456789 cannot be opened");
}

}  // namespace
