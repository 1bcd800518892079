// Who is there: model, serial number, interface.
#include "tests/support/room_test.h"

using simulator::Interface;

namespace {

class TargetIdentify : public RoomTest {
 protected:
  /// Opens target 5 of adapter 0 and closes it again.
  void identify() {
    target = ScsiTarget();
    EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
    target.closeDevice();
  }
  void tell(const std::string& what) {
    record(what, target.getDeviceTyp(), target.getVendorName(), target.getModelName(),
           target.getFirmwareVersion(), target.getSerialNumber(), target.getInterfaceType(),
           target.getInquiryByte6(), target.getInquiryByte7());
  }
};

TEST_F(TargetIdentify, AsksByDeviceType) {
  room.addChanger({.target = 5, .vendor = "QOR", .model = "LIB", .level = "3.1", .serial = "SN 7  "});
  room.addDisk({.target = 6});
  identify();
  EXPECT_TRUE(target.isInquiryDataValid());
  tell("changer");
  record("disk", logOf([&] {
           target = ScsiTarget();
           EXPECT_EQ(openAt(target, 0, 0, 6), CMD_OK);
         }));
  tell("disk");
  record("commands", room.journal().cdbs());
}

TEST_F(TargetIdentify, CutsTheSerialNumberToWhatArrived) {
  room.addDrive({.target = 5});
  for (const auto& [length, arriving] :
       {std::pair{10, 10}, {4, 26}, {25, 25}, {26, 26}, {60, 60}, {0, 10}, {20, 3}, {0, -1}, {0, -4}}) {
    Bytes page{1, 0x80, 0, static_cast<std::uint8_t>(length)};
    for (int i = 0; i < arriving; ++i) page.push_back(static_cast<std::uint8_t>('A' + i));
    page.resize(static_cast<std::size_t>(4 + arriving));
    room.addFault({.cdb = "12 01 80", .reply = page});
    identify();
    record("length, bytes", length, arriving, target.getSerialNumber());
  }
  room.addFault({.cdb = "12 01 80", .sense = Sense{.key = 5, .asc = 0x24}});
  record("refused", logOf([&] { identify(); }, LOG_ERROR));
  EXPECT_STREQ(target.getSerialNumber(), "");
}

TEST_F(TargetIdentify, TellsTheInterface) {
  // Byte 2, 6 and 7 of the standard data, the high nibble of its byte 38, and VPD page 0x83: bytes 3 and 7,
  // then what stands at the second designator.
  const struct {
    const char* what;
    const char* model;
    std::uint8_t version, byte6, byte7, protocol, length, first, second;
  } rows[] = {
      {"nothing", "ULTRIUM", 6, 0, 0, 0, 12, 8, 0},
      {"parallel by byte 6", "ULTRIUM", 6, 0x01, 0, 6, 13, 8, 0x61},
      {"parallel by byte 7", "ULTRIUM", 6, 0, 0x20, 6, 13, 8, 0x61},
      {"neighbours of those bits", "ULTRIUM", 6, 0xFE, 0xDF, 0, 12, 8, 0},
      {"SAS by standard data", "PX6", 6, 0, 0, 6, 4, 0, 0},
      {"of an RX", "RX6", 6, 0, 0, 6, 4, 0, 0},
      {"of others does not count", "ULTRIUM", 6, 0, 0, 6, 4, 0, 0x60},
      {"of another version neither", "PX6", 5, 0, 0, 6, 4, 0, 0},
      {"of another protocol neither", "PX6", 6, 0, 0, 7, 4, 0, 0},
      {"one designator only", "ULTRIUM", 6, 0, 0, 0, 12, 8, 0x61},
      {"a second designator", "ULTRIUM", 6, 0, 0, 0, 13, 8, 0x61},
      {"of another protocol", "ULTRIUM", 6, 0, 0, 0, 13, 8, 0x16},
      {"page length of SAS drives", "ULTRIUM", 6, 0, 0, 0, 0x52, 8, 0x00},
      {"first designator longer than the page", "ULTRIUM", 6, 0, 0, 0, 8, 250, 0x61},
      {"second designator not delivered", "ULTRIUM", 6, 0, 0, 0, 255, 120, 0x61},
  };
  auto& drive = room.addDrive({.target = 5});
  for (const auto& row : rows) {
    room.faults().clear();
    drive.options().model = row.model;
    Bytes standard = drive.standardInquiry(), page(100);
    standard.resize(96);
    standard[2] = row.version, standard[6] = row.byte6, standard[7] = row.byte7;
    standard[38] = static_cast<std::uint8_t>(row.protocol << 4);
    page[3] = row.length, page[7] = row.first;
    if (8u + row.first < page.size()) page[8u + row.first] = row.second;
    room.addFault({.cdb = "12 00", .times = 0, .reply = standard});
    room.addFault({.cdb = "12 01 83", .reply = page});
    record("log", logOf([&] { identify(); }));
    record(row.what, target.getInterfaceType());
  }
  room.faults().clear();
  for (const Interface interface : {Interface::ParallelScsi, Interface::Fibre, Interface::Sas}) {
    drive.options().interface = interface;
    identify();
    record("a real drive", target.getInterfaceType());
  }
  room.addFault({.cdb = "12 01 83", .reply = Bytes{1, 0x83, 0}});
  identify();
  record("page cut short", target.getInterfaceType());
  // Byte 38 of the longer INQUIRY tells the protocol; a drive that refuses page 0x83 tells no more.
  drive.options().model = "PX6";
  for (const std::uint32_t length : {38u, 39u}) {
    room.addFault({.cdb = "12 00 00 00 60", .transfer = length});
    room.addFault({.cdb = "12 01 83", .sense = Sense{.key = 5, .asc = 0x24}});
    record("log", logOf([&] { identify(); }));
    record("bytes of standard data", length, target.getInterfaceType());
  }
}

TEST_F(TargetIdentify, TakesOnlyTheBytesThatArrived) {
  room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "A1B2", .interface = Interface::Sas});
  for (std::uint32_t length = 0; length <= 36; ++length) {
    room.addFault({.cdb = "12 00 00 00 24", .transfer = length});
    identify();
    tell(std::to_string(length) + " bytes");
  }
}

}  // namespace
