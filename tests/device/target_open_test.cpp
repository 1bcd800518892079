// Which handle leads to a device, and what happens when none does.
#include <cstdlib>

#include "tests/support/room_test.h"

using testing::HasSubstr;

namespace {

class TargetOpen : public RoomTest {
 protected:
  /// What an attempt to open logs, asks and leaves.
  void open(const std::string& what, std::uint8_t host, std::uint8_t bus, std::uint64_t id,
            std::uint64_t lun = 0) {
    room.journal().clear();
    ReturnCode result = CMD_OK;
    const auto log = logOf([&] { result = openAt(target, host, bus, id, lun); });
    record(what, result, target.getDriverName(), target.getDeviceSpecialFile(), target.getTapeDrvVersion(),
           target.getSerialNumber(), log);
    record("calls", calls());
    EXPECT_EQ(target.isOpened(), result == CMD_OK);
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }
};

TEST_F(TargetOpen, StartsUnopenedWithoutAnAddress) {
  EXPECT_FALSE(target.isOpened());
  EXPECT_EQ(target.getDeviceHandle(), INVALID_HANDLE_VALUE);
  EXPECT_STREQ(target.getSerialNumber(), "       ");
  EXPECT_EQ(target.resetDevice(), CMD_NOT_SUPPORTED);
  EXPECT_EQ(target.GetMaximumTransferLength(), 0u);
  // Any number that is unset.
  room.addDrive({.target = 5});
  for (int missing = 0; missing < 5; ++missing) {
    target = ScsiTarget();
    if (missing != 0) target.setHostAdapterId(0);
    if (missing != 1) target.setTargetId(5);
    if (missing != 2) target.setLun(0);
    if (missing != 3) target.setBusNumber(0);
    EXPECT_EQ(target.openDevice(), missing == 4 ? CMD_OK : CMD_NO_ADDRESS);
  }
}

TEST_F(TargetOpen, TakesThePortForADeviceThatNobodyClaimed) {
  room.addDisk({.target = 1});
  room.addDrive({.target = 5, .lun = 1, .serial = "another"});
  room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "A1B2", .serial = "0123456789"});
  open("first", 0, 0, 5);
  EXPECT_EQ(target.openDevice(), CMD_OK);
  EXPECT_EQ(target.openDevice(), CMD_OK) << "open already";
  EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
  EXPECT_EQ(room.openHandles(), 1u) << "the earlier handle is closed";
  open("identified once, it is not asked again", 0, 0, 5);
}

TEST_F(TargetOpen, LooksForTheClassDeviceOfAClaimedDevice) {
  // Class devices whose addresses differ in one number each; Tape4 is the one.
  room.addAdapter({.buses = 2});
  room.addDrive({.target = 3, .claimed = true});
  room.addDrive({.target = 5, .lun = 1, .claimed = true});
  room.addDrive({.bus = 1, .target = 5, .claimed = true});
  room.addDrive({.adapter = 1, .target = 5, .claimed = true});
  room.addDrive({.target = 5, .serial = "S5", .claimed = true});
  open("by class device", 0, 0, 5);
}

TEST_F(TargetOpen, LooksAmongTheDosDevicesInTheEnd) {
  for (const char* name : {"Tape999", "Changer999", "PhysicalDrive999", "CdRom999", "Tap"})
    room.addName(name);
  room.addDrive({.target = 5, .claimed = true, .className = "TapeOfTheMonth"});
  const auto log = logOf([&] { EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK); });
  record("log", log);
  EXPECT_EQ(room.journal().count("CreateFileA"), 1u + 256u + 5u);
}

TEST_F(TargetOpen, TriesTheClassDevicesOfTheDeviceType) {
  for (const std::uint8_t type : std::initializer_list<std::uint8_t>{0, 1, 2, 4, 5, 8, 0x21}) {
    auto& adapter = room.addAdapter();
    adapter.overrideInquiryList(
        Bytes{1, 0, 0, 0, 1, 7, 0, 0, 12, 0, 0, 0, /* record */ 0, 5, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, type});
    room.journal().clear();
    record("type " + std::to_string(type), logOf([&] { openAt(target, adapter.number(), 0, 5); }));
    const auto lines = calls();
    record("calls", lines.size(), lines[std::min<std::size_t>(3, lines.size() - 1)]);
  }
}

TEST_F(TargetOpen, LeavesThePortAsTheDriverNameWhenItFails) {
  room.addDrive({.target = 5});
  room.addDrive({.target = 6, .claimed = true});
  const auto always = [](const char* call, std::uint32_t error) {
    return Fault{.call = call, .times = 0, .error = error};
  };
  const struct {
    const char* what;
    Fault fault;
    std::uint8_t host, bus, id;
  } rows[] = {
      {"no such adapter", {}, 4, 2, 5},
      {"no such bus", {}, 0, 1, 5},
      {"no bus at all", {}, 0, 0xFF, 5},
      {"not listed", {}, 0, 0, 9},
      {"list refused", always("SCSI_GET_INQUIRY_DATA", 1), 0, 0, 5},
      {"address refused", always("SCSI_GET_ADDRESS", 50), 0, 0, 6},
      {"address cut short", {.call = "SCSI_GET_ADDRESS", .times = 0, .transfer = 7}, 0, 0, 6},
      {"address of another",
       {.call = "SCSI_GET_ADDRESS", .times = 0, .reply = Bytes{8, 0, 0, 0, 1, 0, 6, 0}},
       0,
       0,
       6},
      {"INQUIRY refused", {.cdb = "12", .sense = Sense{.key = 4, .asc = 0x44, .ascq = 1}}, 0, 0, 5},
      {"no address by name", {}, 0xFE, 0, 5},
  };
  for (const auto& row : rows) {
    room.faults().clear();
    room.addFault(row.fault);
    target = ScsiTarget();
    ReturnCode result = CMD_OK;
    const auto log = logOf([&] { result = openAt(target, row.host, row.bus, row.id); }, LOG_INFO);
    record(row.what, result, target.getDriverName(), log);
    EXPECT_EQ(room.openHandles(), 0u);
  }
  record("by name", logOf([&] {
           EXPECT_EQ(target.openDevice(0xFF, 0xFFFFFFFF, 0xFF, 0xFFFFFFFF, R"(\\.\tape0)", 1), CMD_ERROR);
           EXPECT_EQ(target.openDevice(1, 2, 3, 4, R"(\\.\tape0)", 1), CMD_ERROR);
         }));
}

TEST_F(TargetOpen, NeedsAMaximumTransferLength) {
  for (const auto& [length, pages] :
       {std::pair{1u << 20, 17u}, {65536u, 257u}, {1u << 20, 0u}, {1u << 20, 0xFFFFFFFFu}, {1u << 20, 1u}}) {
    const auto host =
        room.addAdapter({.maximumTransferLength = length, .maximumPhysicalPages = pages}).number();
    room.addDrive({.adapter = host, .target = 5});
    const ReturnCode result = target.openDeviceNoInq(host, 5, 0, 0, nullptr, 1);
    record("length, pages", length, pages, result, target.isOpened(), target.GetMaximumTransferLength());
    target.closeDevice();
  }
}

TEST_F(TargetOpen, CopesWithAPortDriverThatRefuses) {
  room.addDrive({.target = 5});
  // The ninth attempt comes with 18432 bytes and is the last.
  room.addFault({.call = "SCSI_GET_INQUIRY_DATA", .times = 8, .error = ERROR_INSUFFICIENT_BUFFER});
  room.addFault({.call = "STORAGE_QUERY_PROPERTY", .error = 1});
  open("ninth attempt", 0, 0, 5);
  EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
  room.addFault({.call = "STORAGE_QUERY_PROPERTY", .transfer = 19});
  room.addFault({.call = "SCSI_GET_CAPABILITIES", .error = 50});
  record("no length", logOf([&] { EXPECT_EQ(target.GetMaximumTransferLength(), 0u); }));
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
  } rows[] = {
      {"first record outside", 8, 200},
      {"first record far outside", 11, 0xFF},
      {"first record among the counts", 8, 3},
      {"no room for a record", 20, 30},
      {"a loop", 20, 12},
      {"inquiry data cut short", 16, 200},
      {"inquiry data far too long", 19, 0xFF},
      {"without inquiry data", 32, 0},
      {"device type unknown", 40, 0xFF},
      {"an empty bus", 8, 0},
      {"255 buses", 0, 255},
  };
  for (const auto& row : rows) {
    Bytes list = good;
    list[row.at] = row.value;
    auto& adapter = room.addAdapter();
    adapter.overrideInquiryList(list);
    const auto bus = static_cast<std::uint8_t>(row.value == 255 && row.at == 0 ? 200 : 0);
    record(row.what, logOf([&] { EXPECT_EQ(openAt(target, adapter.number(), bus, 6), CMD_ERROR); }));
  }
  auto& adapter = room.addAdapter();
  for (std::size_t length = 0; length < good.size(); ++length) {
    adapter.overrideInquiryList(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_EQ(openAt(target, adapter.number(), 0, 6), CMD_ERROR) << length;
  }
}

TEST_F(TargetOpen, ReadsTheDosDeviceNames) {
  for (const auto& [times, error] : {std::pair{2u, DWORD{ERROR_INSUFFICIENT_BUFFER}},
                                     {1u, DWORD{ERROR_ACCESS_DENIED}},
                                     {0u, DWORD{ERROR_INSUFFICIENT_BUFFER}}}) {
    room.journal().clear();
    room.addFault({.call = "QueryDosDeviceA", .times = times, .error = error});
    char* list = nullptr;
    const auto size = getDosDevices(&list);
    record("times, error", times, error, room.journal().count("QueryDosDeviceA"), std::string(list, size));
    std::free(list);
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
  other.setBusyBit(1), other.setLengthTargetId(2), other.setLengthLun(3);
  EXPECT_EQ(other.getBusyBit() * 100 + other.getLengthTargetId() * 10 + other.getLengthLun(), 123);
  EXPECT_EQ(other.setProperty("key", "value"), CMD_OK);
  EXPECT_EQ(other.setProperty(nullptr, "value"), CMD_ERROR);
  EXPECT_EQ(other.setProperty("key", nullptr), CMD_ERROR);
  EXPECT_STREQ(ScsiTarget(other).getProperty("key"), "value");
  EXPECT_EQ(other.getProperty("none"), nullptr);
}

}  // namespace
