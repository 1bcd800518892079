// One story of a tape, told twice: by CDB and through the maker's driver. Its two files in tests/data are the
// same.
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/data_transfer.h"
#include "kiv/tape/information.h"
#include "kiv/tape/medium.h"
#include "kiv/tape/positioning.h"
#include "tests/support/room_test.h"

namespace {

class Story {
 public:
  Story(ScsiTarget& device, simulator::VirtualDrive& virtualDrive) : target(device), drive(virtualDrive) {}

  /// What happens, line by line: the command's operation code, what it brought, its sense data when it
  /// failed, and the number of the block that the tape then stands before.
  std::vector<std::string> told;

  void tell() {
    drive.medium()->format({4000, 1000});
    run(TapeCmdRewind(false));
    for (char c : {'a', 'b', 'c'}) write(40, c);
    run(TapeCmdWriteFileMarks(false, 2));
    write(60, 'd');
    run(TapeCmdWriteFileMarks(true, 1));
    run(TapeCmdRewind(true));
    read(40);
    read(64);  // a shorter block
    read(8);   // a longer one
    read(40);  // a filemark
    run(TapeCmdSpace(1, 1));
    read(60);
    run(TapeCmdSpace(0, -1));
    run(TapeCmdSpace(1, -2));
    run(TapeCmdSpace(1, -2));  // the beginning
    run(TapeCmdSpace(2, 2));   // two filemarks in a row: the driver cannot
    run(TapeCmdSpace(3, 0));
    read(60);  // the end of the data
    run(TapeCmdLocate(false, 1));
    read(40);
    run(TapeCmdLocate(false, 99));
    run(TapeCmdLocate16(false, 0, 1));
    for (int i = 0; i < 3; ++i) write(400, 'x');  // early warning in the third, for which there is no room
    write(190, 'y');
    run(TapeCmdLocate16(false, 5, 0));
    run(TapeCmdErase(true, false));
    run(TapeCmdSpace(0, 1));
    report();
    drive.medium()->options().writeProtected = true;
    write(1, 'z');
    run(TapeCmdUnLoad(false, false));
    run(TapeCmdRewind(false));
    run(TapeCmdLoad(true));
    drive.medium()->options().writeProtected = false;
    run(TapeCmdFormat(0, false));
  }

 private:
  template <typename Command>
  Command& run(Command&& command, std::string brought = "") {
    char line[64];
    const ReturnCode result = target.scsiExecCDB(command);
    std::snprintf(line, sizeof line, "%02X -> %u", command.getCmdCode(), unsigned{result});
    std::string text = line;
    if (result == CMD_OK && command.getDataDirection() == SCSI_DATA_IN)
      brought = std::string(command.ioDataSpan().begin(), std::ranges::find(command.ioDataSpan(), 0));
    if (!brought.empty()) text += " " + brought.substr(0, 1) + "*" + std::to_string(brought.size());
    if (result != CMD_OK && command.isSenseDataValid()) {
      std::snprintf(line, sizeof line, " %X/%02X/%02X", command.getSenseKey(), command.getASC(),
                    command.getASCQ());
      text += line;
    }
    told.push_back(text + " @" + position());
    return command;
  }
  void write(ulong32 length, char filling) {
    TapeCmdWrite6 command(length, 0, false);
    std::fill_n(command.getIoData(), length, static_cast<std::uint8_t>(filling));
    run(command, std::string(length, filling));
  }
  void read(ulong32 length) { run(TapeCmdRead6(length, 0, true, false)); }

  std::string position() {
    TapeCmdReadPosition command;
    if (target.scsiExecCDB(command) != CMD_OK) return "?";
    return std::to_string(command.getFirstBlockPosition()) + (command.posBOP() ? " BOP" : "") +
           (command.posEOP() ? " EOP" : "");
  }
  void report() {
    TapeCmdReadAttribute attributes(0, 0, 0, 0, 1024);
    ScsiCmdLogSense log(1, 0x00, 0, 64);
    TapeCmdReportDensitySupport densities(true, 256);
    TapeCmdReadBlockLimits limits;
    for (GenericScsiCommand* command :
         std::initializer_list<GenericScsiCommand*>{&attributes, &log, &densities, &limits})
      told.push_back(std::to_string(target.scsiExecCDB(*command)));
    told.push_back("attribute of " + std::to_string(attributes.getAttributeLength(0x0401)) + " bytes");
    told.push_back(log.getPageLength() > 0 ? "log pages" : "no log pages");
    told.push_back("densities of " + std::to_string(densities.getAvailableDensitySupportLength()) + " bytes");
    told.push_back("blocks of " + std::to_string(limits.getMinBlockLength()) + " to " +
                   std::to_string(limits.getMaxBlockLength()));
    for (const auto& partition : drive.medium()->partitions()) {
      std::string holds = "holds";
      for (const auto& object : partition.objects)
        holds += object.filemark ? " |" : std::string(" ") + static_cast<char>(object.data[0]);
      told.push_back(holds);
    }
  }

  ScsiTarget& target;
  simulator::VirtualDrive& drive;
};

class TapeStory : public RoomTest {};

TEST_F(TapeStory, ByCdb) {
  Story story(target, openDrive({.model = "ULTRIUM-PX6"}));
  story.tell();
  record("told", story.told);
  EXPECT_EQ(room.journal().count("SetTapePosition"), 0u);
}

TEST_F(TapeStory, ByDriver) {
  Story story(driver, openDrive({.model = "ULTRIUM-PX6"}, true));
  story.tell();
  record("told", story.told);
  for (const char* byDriver : {"01", "08", "0A", "10", "19", "2B", "4D", "92"})
    EXPECT_EQ(room.journal().count(byDriver), 0u) << byDriver;
  EXPECT_EQ(room.journal().count("SetTapePosition"), 11u);
  EXPECT_EQ(room.journal().count("11"), 1u) << "what the driver refuses";
}

}  // namespace
