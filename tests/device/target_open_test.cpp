// Which handle leads to a device, and what happens when none does.
#include <cstdlib>

#include "tests/device/room_fixture.h"

using simulator::Bytes;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

namespace {

class TargetOpen : public RoomTest {
 protected:
  ScsiTarget target;
};

TEST_F(TargetOpen, StartsUnopenedWithoutAnAddress) {
  EXPECT_FALSE(target.isOpened());
  EXPECT_EQ(target.getDeviceHandle(), INVALID_HANDLE_VALUE);
  EXPECT_STREQ(target.getSerialNumber(), "       ");
  EXPECT_EQ(target.resetDevice(), CMD_NOT_SUPPORTED);
  EXPECT_EQ(target.GetMaximumTransferLength(), 0u);

  target.setHostAdapterId(0);
  target.setTargetId(5);
  target.setLun(0);
  EXPECT_EQ(target.openDevice(), CMD_NO_ADDRESS) << "the bus is still unset";
  EXPECT_THAT(room.journal().lines(), ElementsAre());
}

TEST_F(TargetOpen, TakesThePortForADeviceThatNobodyClaimed) {
  room.addDisk({.target = 1});
  room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "A1B2", .serial = "0123456789"});
  EXPECT_THAT(
      logOf([&] { EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK); }),
      ElementsAre(R"(I Before ScsiTarget::openDevice H0-B0-T5-L0)",
                  "D ScsiTarget::openDevice Host (0) Bus (0) Target (5) Lun (0)",
                  "D Generic Port Driver will be used", "D Compare 0-1-0", "D Compare 0-5-0",
                  R"(D \\.\scsi0:: Adapter Descriptor: MaximumTransferLength (1048576) )"
                  "MaximumPhysicalPages (257) AlignmentMask (3)",
                  R"(D \\.\scsi0:: Adapter Capabilities: MaximumTransferLength (1048576))",
                  "D retrieveInitialInquiryData() Inquiry passed", "D Check Interface Typ by Inquiry Page 0",
                  "D Port Identification descriptor is available. length is 0x3E value 0x01",
                  "D ScsiTarget::open Inquiry cmd OK [QOR     -ULTRIUM-PX6     ]",
                  "D retrieveInitialInquiryData() returned CMD_OK!",
                  "I Set timeout for model: ULTRIUM-PX6     ", "D Common timeout values for LTO",
                  "D Setting tape specific timeoutvalues for model ULTRIUM-PX6     ",
                  "I After ScsiTarget::openDevice H0-B0-T5-L0 rc:0"));
  EXPECT_STREQ(target.getDriverName(), R"(\\.\scsi0:)");
  EXPECT_STREQ(target.getDeviceSpecialFile(), R"(\\.\scsi0:)");
  EXPECT_STREQ(target.getTapeDrvVersion(), "WinDefault");
  EXPECT_EQ(target.openDevice(), CMD_OK) << "open already";
  target.closeDevice();
  EXPECT_FALSE(target.isOpened());
  EXPECT_THAT(
      room.journal().lines(),
      ElementsAre(R"(CreateFileA \\.\scsi0: rw)", R"(DeviceIoControl \\.\scsi0: SCSI_GET_INQUIRY_DATA)",
                  R"(DeviceIoControl \\.\scsi0: STORAGE_QUERY_PROPERTY)", "CDB H0-B0-T5-L0 12 00 00 00 24 00",
                  "CDB H0-B0-T5-L0 12 01 80 00 1E 00", "CDB H0-B0-T5-L0 12 00 00 00 60 00",
                  "CDB H0-B0-T5-L0 12 01 83 00 64 00", R"(CloseHandle \\.\scsi0:)"));

  // Identified once, it is not asked again.
  room.journal().clear();
  EXPECT_THAT(logOf([&] { EXPECT_EQ(target.openDevice(), CMD_OK); }),
              IsSupersetOf({R"(I Before ScsiTarget::openDevice H0-B0-T5-L0 \\.\scsi0:)",
                            R"(D Driver Name: \\.\scsi0:)",
                            "D retrieveInitialInquiryData() Inquiry Data are already set"}));
  EXPECT_EQ(room.journal().count("12"), 0u);
  EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
  EXPECT_EQ(room.openHandles(), 1u) << "the earlier handle is closed";
  target.closeDevice();
}

TEST_F(TargetOpen, LooksForTheClassDeviceOfAClaimedDevice) {
  room.addDrive({.target = 3, .claimed = true});  // Tape0
  room.addDrive({.target = 5, .serial = "S5", .claimed = true});
  EXPECT_THAT(logOf([&] { EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK); }),
              IsSupersetOf(
                  {"D ScsiTarget::openDevice Device is claimed!", R"(D Class Driver opened \\.\tape0)",
                   R"(D ScsiTarget::openDevice Compare Scsi Address failed: )"
                   R"(Host:0 Bus:0 Target:3 Lun:0 \\.\tape0)",
                   R"(D Class Driver opened \\.\tape1)", R"(D drivername for claimed device is \\.\tape1)"}));
  EXPECT_STREQ(target.getDriverName(), R"(\\.\tape1)");
  EXPECT_STREQ(target.getSerialNumber(), "S5");
  target.closeDevice();
  const auto lines = room.journal().lines();
  EXPECT_THAT(
      std::vector(lines.begin(), lines.begin() + 9),
      ElementsAre(R"(CreateFileA \\.\scsi0: rw)", R"(DeviceIoControl \\.\scsi0: SCSI_GET_INQUIRY_DATA)",
                  R"(CloseHandle \\.\scsi0:)", R"(CreateFileA \\.\tape0 rw)",
                  R"(DeviceIoControl \\.\tape0 SCSI_GET_ADDRESS)", R"(CloseHandle \\.\tape0)",
                  R"(CreateFileA \\.\tape1 rw)", R"(DeviceIoControl \\.\tape1 SCSI_GET_ADDRESS)",
                  R"(DeviceIoControl \\.\tape1 STORAGE_QUERY_PROPERTY)"));
}

TEST_F(TargetOpen, LooksAmongTheDosDevicesInTheEnd) {
  room.addDrive({.target = 5, .claimed = true, .className = "TapeOfTheMonth"});
  room.addName("Tape999");
  EXPECT_THAT(logOf([&] { EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK); }),
              IsSupersetOf({"D ScsiTarget::openDevice Check DosDevices",
                            "D ScsiTarget::openDevice QueryDosDevice Checking TapeOfTheMonth",
                            R"(D drivername for claimed device is \\.\TapeOfTheMonth)"}));
  target.closeDevice();
  EXPECT_EQ(room.journal().count("CreateFileA"), 1u + 256u + 1u);
}

TEST_F(TargetOpen, TriesTheClassDevicesOfTheDeviceType) {
  const struct {
    std::uint8_t type;
    const char* first;
  } rows[] = {{0, R"(\\.\PhysicalDrive0)"}, {1, R"(\\.\tape0)"},    {4, R"(\\.\cdrom0)"},
              {5, R"(\\.\cdrom0)"},         {8, R"(\\.\changer0)"}, {0x21, nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(int{row.type});
    Bytes list = {1, 0, 0, 0, 1, 7, 0, 0, 12, 0, 0, 0,       /* record */ 0,
                  5, 0, 1, 1, 0, 0, 0, 0, 0,  0, 0, row.type};
    room.addAdapter().overrideInquiryList(list);
    room.journal().clear();
    const auto log = logOf([&] { openAt(target, room.adapters().back()->number(), 0, 5); });
    const auto lines = room.journal().lines();
    if (row.first != nullptr) {
      EXPECT_EQ(lines[3], "CreateFileA " + std::string(row.first) + " rw -> error 2");
    } else {
      EXPECT_THAT(log, Contains("E ScsiTarget::open try to open unsupporteddevice typ:33"));
    }
    EXPECT_EQ(room.journal().count("CreateFileA"), row.first != nullptr ? 1u + 256u : 1u);
  }
}

TEST_F(TargetOpen, LeavesThePortAsTheDriverNameWhenItFails) {
  room.addDrive({.target = 5});
  room.addDrive({.target = 6, .claimed = true});
  const auto always = [](const char* call, std::uint32_t error) {
    return simulator::Fault{.call = call, .times = 0, .error = error};
  };
  const simulator::Fault shortAddress{.call = "SCSI_GET_ADDRESS", .times = 0, .transfer = 7};
  const simulator::Fault otherAddress{
      .call = "SCSI_GET_ADDRESS", .times = 0, .reply = Bytes{8, 0, 0, 0, 1, 0, 6, 0}};
  const simulator::Sense sense{.key = 4, .asc = 0x44, .ascq = 1};
  const struct {
    const char* what;
    simulator::Fault fault;
    std::uint8_t host, bus, id;
    const char* log;
  } rows[] = {
      {"no such adapter", {}, 4, 0, 5, "association failed Host (4) Bus (0) Target (5) Lun (0) generic:0"},
      {"no such bus", {}, 0, 1, 5, "number of buses invalid 1<-> 1"},
      {"not listed", {}, 0, 0, 9, "IOCTL_SCSI_GET_INQUIRY_DATA Device not part of list"},
      {"list refused", always("SCSI_GET_INQUIRY_DATA", 1), 0, 0, 5, "INQUIRY_DATA failed, errno=1 ("},
      {"address refused", always("SCSI_GET_ADDRESS", 50), 0, 0, 6, R"(for \\.\tape0 failed, errno=50 ()"},
      {"address cut short", shortAddress, 0, 0, 6, R"(for \\.\tape0 failed, errno=0 ()"},
      {"address of another", otherAddress, 0, 0, 6, R"(Host:1 Bus:0 Target:6 Lun:0 \\.\tape0)"},
      {"INQUIRY refused", {.cdb = "12", .sense = sense}, 0, 0, 5, "Inquiry cmd failed: (4-68-1)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.faults().clear();
    room.addFault(row.fault);
    target = ScsiTarget();
    ReturnCode result = CMD_OK;
    const auto log = logOf([&] { result = openAt(target, row.host, row.bus, row.id); });
    EXPECT_EQ(result, CMD_ERROR);
    EXPECT_THAT(log, Contains(HasSubstr(row.log)));
    EXPECT_THAT(log.back(), HasSubstr(" rc:2"));
    EXPECT_EQ(room.openHandles(), 0u);
    EXPECT_STREQ(target.getDriverName(), ("\\\\.\\scsi" + std::to_string(row.host) + ":").c_str());
  }
}

TEST_F(TargetOpen, DoesNotOpenByName) {
  room.addDrive({.target = 5, .claimed = true});
  CapturedOutput output;
  {
    LogLevel level(LOG_DEBUG);
    EXPECT_EQ(target.openDevice(0xFF, 0xFFFFFFFF, 0xFF, 0xFFFFFFFF, R"(\\.\tape0)", 1), CMD_ERROR);
    EXPECT_EQ(openAt(target, 0xFE, 0, 5), CMD_ERROR);
  }
  const std::string failed = "ScsiTarget::Drive association failed ";
  for (const std::string& entry :
       {std::string("Generic TapeDriver will be used\n"),
        failed + R"(Host (255) Bus (255) Target (-1) Lun (-1) generic:1 [\\.\tape0])" + "\n",
        failed + "Host (254) Bus (0) Target (5) Lun (0) generic:1\n",
        failed + "detailed information: \n========>ScsiTarget::openDevice Host:254 Bus :0 Target:5 "
                 "Lun:0\n<========"})
    EXPECT_THAT(output.text(), HasSubstr(entry));
  EXPECT_THAT(room.journal().lines(), ElementsAre());
}

TEST_F(TargetOpen, NeedsAMaximumTransferLength) {
  const struct {
    const char* what;
    std::uint32_t length, pages;
    ulong32 result;
  } rows[] = {{"limited by pages", 1 << 20, 17, 65536},
              {"limited by length", 65536, 257, 65536},
              {"pages unknown", 1 << 20, 0, 1 << 20},
              {"pages beyond 32 bits of bytes", 1 << 20, 0xFFFFFFFF, 1 << 20},
              {"a single page", 1 << 20, 1, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const auto host =
        room.addAdapter({.maximumTransferLength = row.length, .maximumPhysicalPages = row.pages}).number();
    room.addDrive({.adapter = host, .target = 5});
    EXPECT_EQ(target.openDeviceNoInq(host, 5, 0, 0, nullptr, 1), row.result != 0 ? CMD_OK : CMD_ERROR);
    EXPECT_EQ(target.GetMaximumTransferLength(), row.result);
    EXPECT_EQ(target.isOpened(), row.result != 0);
    target.closeDevice();
  }
}

TEST_F(TargetOpen, CopesWithAPortDriverThatRefuses) {
  room.addDrive({.target = 5});
  // The ninth attempt comes with 18432 bytes and is the last.
  room.addFault({.call = "SCSI_GET_INQUIRY_DATA", .times = 8, .error = ERROR_INSUFFICIENT_BUFFER});
  room.addFault({.call = "STORAGE_QUERY_PROPERTY", .error = 1});
  EXPECT_THAT(logOf([&] { EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK); }),
              Contains(R"(D \\.\scsi0:: Adapter Capabilities: MaximumTransferLength (1048576) )"
                       "MaximumPhysicalPages (257) AlignmentMask (3)"));
  room.addFault({.call = "STORAGE_QUERY_PROPERTY", .transfer = 19});
  room.addFault({.call = "SCSI_GET_CAPABILITIES", .error = 50});
  EXPECT_THAT(logOf([&] { EXPECT_EQ(target.GetMaximumTransferLength(), 0u); }),
              ElementsAre(R"(E \\.\scsi0:: Failed ot get scsi adapter capabilities (50))"));
  target.closeDevice();
}

TEST_F(TargetOpen, SurvivesEveryTruncationOfTheInquiryList) {
  room.addDisk({.target = 1});
  room.addDrive({.bus = 1, .target = 5});
  room.addDrive({.bus = 1, .target = 6});
  auto& adapter = room.adapter(0);
  const Bytes list = adapter.inquiryList();
  for (std::size_t length = 0; length <= list.size(); ++length) {
    adapter.overrideInquiryList(Bytes(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_EQ(openAt(target, 0, 1, 6), length == list.size() ? CMD_OK : CMD_ERROR) << length;
    target.closeDevice();
  }
}

TEST_F(TargetOpen, EndsTheWalkThroughABrokenInquiryList) {
  // One bus with records at 12 and 28; the drive that is looked for is the second.
  const Bytes good = {1, 0, 0, 0, 1, 7, 0, 0, 12, 0, 0, 0,              //
                      0, 5, 0, 0, 1, 0, 0, 0, 28, 0, 0, 0, 1, 0, 0, 0,  //
                      0, 6, 0, 0, 1, 0, 0, 0, 0,  0, 0, 0, 1};
  const struct {
    const char* what;
    std::size_t at;
    std::uint8_t value;
    const char* log;
  } rows[] = {
      {"first record outside", 8, 200, "record at 200 lies outside of the 41 bytes returned"},
      {"first record far outside", 11, 0xFF, "record at 4278190092 lies outside of the 41 bytes returned"},
      {"first record among the counts", 8, 3, "record at 3 lies outside of the 41 bytes returned"},
      {"no room for a record", 20, 30, "record at 30 lies outside of the 41 bytes returned"},
      {"a loop", 20, 12, "record at 12 comes a second time"},
      {"inquiry data cut short", 16, 200, "record at 12 is cut short"},
      {"inquiry data far too long", 19, 0xFF, "record at 12 is cut short"},
      {"without inquiry data", 32, 0, "Device not part of list"},
      {"device type unknown", 40, 0xFF, "Device not part of list"},
      {"an empty bus", 8, 0, "Device not part of list"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Bytes list = good;
    list[row.at] = row.value;
    auto& adapter = room.addAdapter();
    adapter.overrideInquiryList(list);
    const auto log = logOf([&] { EXPECT_EQ(openAt(target, adapter.number(), 0, 6), CMD_ERROR); });
    EXPECT_THAT(log, Contains(HasSubstr(row.log)));
  }
  // More buses than the list has room for.
  auto& adapter = room.addAdapter();
  adapter.overrideInquiryList(Bytes{255, 0, 0, 0, 1, 7, 0, 0, 0, 0, 0, 0});
  EXPECT_THAT(logOf([&] { EXPECT_EQ(openAt(target, adapter.number(), 200, 6), CMD_ERROR); }),
              Contains("W Inquiry list: bus 200 lies beyond the 12 bytes returned"));
}

TEST_F(TargetOpen, ReadsTheDosDeviceNames) {
  const struct {
    const char* what;
    std::uint32_t error;
    unsigned times, calls;
    bool read;
  } rows[] = {{"larger than the buffer", ERROR_INSUFFICIENT_BUFFER, 2, 3, true},
              {"another error", ERROR_ACCESS_DENIED, 1, 1, false},
              {"never enough", ERROR_INSUFFICIENT_BUFFER, 0, 9, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.journal().clear();
    room.addFault({.call = "QueryDosDeviceA", .times = row.times, .error = row.error});
    char* list = nullptr;
    const auto size = getDosDevices(&list);
    EXPECT_EQ(size != 0, row.read);
    if (row.read) {
      EXPECT_THAT(std::string(list, size),
                  AllOf(StartsWith(std::string("C:\0", 3)), EndsWith(std::string(2, '\0'))));
    }
    std::free(list);
    EXPECT_EQ(room.journal().count("QueryDosDeviceA"), row.calls);
  }
}

TEST(Target, IsOrderedByBusLast) {
  const std::uint8_t ordered[][4] = {{0, 1, 1, 9}, {0, 2, 0, 9}, {0, 2, 1, 0}, {0, 2, 1, 1}, {1, 0, 0, 0}};
  const auto at = [&](std::size_t i) {
    ScsiTarget target;
    target.setHostAdapterId(ordered[i][0]);
    target.setTargetId(ordered[i][1]);
    target.setLun(ordered[i][2]);
    target.setBusNumber(ordered[i][3]);
    return target;
  };
  for (std::size_t i = 0; i + 1 < std::size(ordered); ++i) {
    EXPECT_TRUE(at(i) < at(i + 1) && !(at(i + 1) < at(i)) && !(at(i) < at(i))) << i;
    EXPECT_TRUE(at(i) == at(i) && !(at(i) == at(i + 1))) << i;
  }
  ScsiTarget other = at(0);
  other.setModelName("other");
  EXPECT_FALSE(other == at(0));
  other.setProperty("key", "value");
  EXPECT_STREQ(ScsiTarget(other).getProperty("key"), "value");
  EXPECT_EQ(other.getProperty("none"), nullptr);
}

}  // namespace
