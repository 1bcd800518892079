// Who is there: model, serial number, interface.
#include "tests/device/room_fixture.h"

using simulator::Bytes;
using simulator::Fault;
using simulator::Interface;
using testing::Contains;
using testing::ElementsAre;

namespace {

class TargetIdentify : public RoomTest {
 protected:
  /// Opens target 5 of adapter 0 and closes it again.
  void identify() {
    target = ScsiTarget();
    ASSERT_EQ(openAt(target, 0, 0, 5), CMD_OK);
    target.closeDevice();
  }
  static Bytes serialPage(std::uint8_t length, std::size_t bytes) {
    Bytes page{1, 0x80, 0, length};
    for (std::size_t i = 0; i < bytes; ++i) page.push_back(static_cast<std::uint8_t>('A' + i));
    return page;
  }

  ScsiTarget target;
};

TEST_F(TargetIdentify, KeepsTheInquiryFieldsAtTheirWidth) {
  room.addChanger({.target = 5, .vendor = "QOR", .model = "LIB", .level = "3.1", .serial = "SN 7  "});
  identify();
  EXPECT_TRUE(target.isInquiryDataValid());
  EXPECT_EQ(target.getDeviceTyp(), 8);
  EXPECT_STREQ(target.getVendorName(), "QOR     ");
  EXPECT_STREQ(target.getModelName(), "LIB             ");
  EXPECT_STREQ(target.getFirmwareVersion(), "3.1 ");
  EXPECT_STREQ(target.getSerialNumber(), "SN 7  ") << "trailing blanks stay";
  EXPECT_STREQ(target.getInterfaceType(), "N/A");
  EXPECT_EQ(target.getInquiryByte7(), 0x02);
}

TEST_F(TargetIdentify, AsksADiskForNothingMore) {
  room.addDisk({.target = 5});
  EXPECT_THAT(logOf([&] { identify(); }), Contains("D ScsiTarget::skip Inquiry page 0x80"));
  EXPECT_STREQ(target.getSerialNumber(), "");
  EXPECT_THAT(room.journal().cdbs(), ElementsAre("H0-B0-T5-L0 12 00 00 00 24 00"));
}

TEST_F(TargetIdentify, CutsTheSerialNumberToWhatArrived) {
  room.addDrive({.target = 5});
  const struct {
    const char* what;
    Bytes page;
    std::string serial;
  } rows[] = {{"shorter than the allocation", serialPage(10, 10), "ABCDEFGHIJ"},
              {"length below what follows", serialPage(4, 26), "ABCD"},
              {"one below the allocation", serialPage(25, 25), "ABCDEFGHIJKLMNOPQRSTUVWXY"},
              {"as long as the allocation", serialPage(26, 26), "ABCDEFGHIJKLMNOPQRSTUVWXYZ"},
              {"longer than the allocation", serialPage(60, 60), "ABCDEFGHIJKLMNOPQRSTUVWXYZ"},
              {"length 0", serialPage(0, 10), ""},
              {"length beyond the bytes delivered", serialPage(20, 3), "ABC"},
              {"header cut short", {1, 0x80, 0}, ""},
              {"nothing", {}, ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.addFault({.cdb = "12 01 80", .reply = row.page});
    identify();
    EXPECT_EQ(target.getSerialNumber(), row.serial);
  }
  room.addFault({.cdb = "12 01 80", .sense = simulator::Sense{.key = 5, .asc = 0x24}});
  EXPECT_THAT(logOf([&] { identify(); }), Contains("E ScsiTarget::Inquiry page 0x80 failed"));
  EXPECT_STREQ(target.getSerialNumber(), "");
}

TEST_F(TargetIdentify, TellsTheInterface) {
  // VPD page 0x83: bytes 3 and 7, then what stands at the second designator.
  const auto page = [](std::uint8_t length, std::uint8_t first, std::uint8_t second) {
    Bytes bytes(100);
    bytes[3] = length;
    bytes[7] = first;
    if (8u + first < bytes.size()) bytes[8u + first] = second;
    return bytes;
  };
  const struct {
    const char* what;
    const char* model;
    Interface interface;
    Bytes page;  // empty: the drive's own
    const char* result;
  } rows[] = {
      {"parallel", "ULTRIUM", Interface::ParallelScsi, {}, "SCSI"},
      {"Fibre Channel", "ULTRIUM", Interface::Fibre, {}, "Fibre"},
      {"SAS by its port", "ULTRIUM", Interface::Sas, {}, "SAS"},
      {"SAS by standard data", "PX6", Interface::Sas, page(4, 0, 0x60), "SAS"},
      {"standard data of others do not count", "ULTRIUM", Interface::Sas, page(4, 0, 0x60), "Fibre"},
      {"one designator only", "ULTRIUM", Interface::Fibre, page(12, 8, 0x61), "Fibre"},
      {"a second designator", "ULTRIUM", Interface::Fibre, page(13, 8, 0x61), "SAS"},
      {"of another protocol", "ULTRIUM", Interface::Fibre, page(13, 8, 0x16), "Fibre"},
      {"page length of SAS drives", "ULTRIUM", Interface::Fibre, page(0x52, 8, 0x00), "SAS"},
      {"first designator longer than the page", "ULTRIUM", Interface::Fibre, page(8, 250, 0x61), "Fibre"},
      {"second designator not delivered", "ULTRIUM", Interface::Fibre, page(255, 120, 0x61), "Fibre"},
      {"cut short", "ULTRIUM", Interface::Sas, {1, 0x83, 0}, "Fibre"},
  };
  auto& drive = room.addDrive({.target = 5});
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.faults().clear();
    drive.options().model = row.model;
    drive.options().interface = row.interface;
    if (!row.page.empty()) room.addFault({.cdb = "12 01 83", .reply = row.page});
    identify();
    EXPECT_STREQ(target.getInterfaceType(), row.result);
  }
}

TEST_F(TargetIdentify, TakesOnlyTheBytesThatArrived) {
  auto& drive =
      room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "A1B2", .interface = Interface::Sas});
  const Bytes bytes = drive.standardInquiry();
  const std::string full(bytes.begin(), bytes.end());
  for (std::size_t length = 0; length <= 36; ++length) {
    room.addFault({.cdb = "12 00 00 00 24", .transfer = static_cast<std::uint32_t>(length)});
    identify();
    const auto part = [&](std::size_t at, std::size_t width) {
      return full.substr(0, length).substr(std::min(at, length), width);
    };
    EXPECT_EQ(target.getVendorName(), part(8, 8)) << length;
    EXPECT_EQ(target.getModelName(), part(16, 16)) << length;
    EXPECT_EQ(target.getFirmwareVersion(), part(32, 4)) << length;
    EXPECT_EQ(target.getDeviceTyp(), 1) << "known from the port driver's list";
  }
  // Byte 38 of the longer INQUIRY tells the protocol; a drive that refuses page 0x83 tells no more.
  for (std::uint32_t length : {38u, 39u}) {
    room.addFault({.cdb = "12 00 00 00 60", .transfer = length});
    room.addFault({.cdb = "12 01 83", .sense = simulator::Sense{.key = 5, .asc = 0x24}});
    identify();
    EXPECT_STREQ(target.getInterfaceType(), length == 39 ? "SAS" : "Fibre");
  }
}

}  // namespace
