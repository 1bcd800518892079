#include "tests/iscsi/target_room.h"

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

constexpr const char* PRODUCT = "QOR-ULTRIUM-PX6:Fibre";

class ScanAndUpdate : public TargetRoom {
 protected:
  void configure(const std::string& file, const std::string& level) {
    directory.write("Devlist.txt", "110 " + std::string(PRODUCT) + "\n120 QOR-VX100\nLibraryCheck=true\n");
    directory.write("Config.txt", std::string(PRODUCT) + " " + file + " " + level + "\n");
  }
  std::string message(int id, const char* text) {
    return "<Message id=\"" + std::to_string(id) + "\">" + text + "</Message>";
  }

  WorkingDirectory directory;
};

// The target pads its serial number page to 36 bytes on the left, so that all a drive tells of its serial
// number in the 26 bytes that are read is blanks; its bays do name the drive, and nothing pairs.
TEST_F(ScanAndUpdate, FindsTheDrivesAndTheLibrary) {
  directory.write("Devlist.txt", "110 " + std::string(PRODUCT) + "\n120 QOR-VX100\nLibraryCheck=true\n");
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_EQ(directory.read("scsiInv.txt"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<SVMInventory lang=\"en\">\n"
            "  <Device componentID=\"110\" enum=\"0,0,0,1\" display=\"QOR-ULTRIUM-PX6\">\n"
            "    <Application display=\"QOR-ULTRIUM-PX6:Fibre\" componentType=\"FRMW\" "
            "version=\"A1B1\"></Application>\n"
            "  </Device>\n"
            "  <Device componentID=\"110\" enum=\"0,0,0,2\" display=\"QOR-ULTRIUM-PX6\">\n"
            "    <Application display=\"QOR-ULTRIUM-PX6:Fibre\" componentType=\"FRMW\" "
            "version=\"A1B2\"></Application>\n"
            "  </Device>\n"
            "  <Device componentID=\"120\" enum=\"0,0,0,3\" display=\"QOR-VX100\">\n"
            "    <Application display=\"QOR-VX100\" componentType=\"FRMW\" version=\"0010\"></Application>\n"
            "  </Device>\n"
            "</SVMInventory>\n");
  const auto lines = output.lines();
  EXPECT_THAT(lines, Contains("CLCO0000D getElementAddressRanges: Library Element "
                              "Addresses:[01h][1],[1000h][8],[10h][2],[100h][2]"));
  EXPECT_THAT(lines, Contains("CLCO0000D ChangerDriveMapping::getMapping ElementCount: 2"));
  EXPECT_THAT(lines, Contains("MAIN0000D Drive/Libray Map contains 0 "));
}

// The target knows no WRITE BUFFER, as a drive that refuses the download would answer.
TEST_F(ScanAndUpdate, ReportsADriveThatRefusesTheDownload) {
  configure("image.fmr", "B000");
  directory.write("image.fmr", std::string(40000, 'x'));
  ASSERT_EQ(scanScsiBus(0), FW_NO_ERROR);
  ASSERT_THAT(listOfSupportedDevices, SizeIs(2));
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(updateFirmware(1, 0, false), FW_UPDATE_FAILED);
  const auto lines = output.lines();
  EXPECT_THAT(lines, Contains("DLFW0000D Download Firmware: No Media is loaded"));
  EXPECT_THAT(lines, Contains(HasSubstr("Write Buffer Failed at offset 0")));
  EXPECT_THAT(lines, Contains("MAIN0000D Error - Update failed"));
  EXPECT_THAT(directory.read("scsiExe.txt"),
              AllOf(HasSubstr("enum=\"0,0,0,2\""), HasSubstr("<SPStatus result=\"false\">"),
                    HasSubstr(message(4, "Firmware update failed"))));
}

TEST_F(ScanAndUpdate, UnloadsACartridgeBeforeTheDownload) {
  configure("image.fmr", "B000");
  directory.write("image.fmr", "x");
  ASSERT_EQ(scanScsiBus(0), FW_NO_ERROR);
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  // The target leaves the cartridge ready after an UNLOAD that it accepts: the drive never gets free for the
  // download.
  EXPECT_EQ(updateFirmware(0, 0, false), FW_DEVICE_DISCONNECTED);
  const auto lines = output.lines();
  EXPECT_THAT(lines, Contains("DLFW0000D Media succesfully unloaded"));
  EXPECT_THAT(lines, Contains("DLFW0000D Download Firmware: End of TUR Loop"));
  EXPECT_THAT(directory.read("scsiExe.txt"),
              HasSubstr(message(1, "Device temporary disconnected - RESCAN REQUIRED")));
}

TEST_F(ScanAndUpdate, RefusesALowerLevel) {
  configure("image.fmr", "A000");
  ASSERT_EQ(scanScsiBus(0), FW_NO_ERROR);
  EXPECT_EQ(updateFirmware(0, 0, false), FW_INVALID_UCODE);
  EXPECT_THAT(directory.read("scsiExe.txt"), HasSubstr(message(7, "Invalid Microcode level")));
}

}  // namespace
