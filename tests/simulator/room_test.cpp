// The doors and what stands right behind them: handles, the port driver, pass-through, faults, time.
#include "simulator/room/room.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "simulator/devices/firmware_image.h"
#include "tests/simulator/conversation.h"
#include "tests/support/working_directory.h"

namespace simulator {
namespace {

using testing::ElementsAre;

constexpr const char* PORT = "\\\\.\\scsi0:";

TEST(Room, JournalsCallsAndCountsHandles) {
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5, .claimed = true});
  {
    Conversation tape("\\\\.\\TAPE0", drive.options());
    EXPECT_EQ(room.openHandles(), 1u);
    SCSI_ADDRESS address{};
    EXPECT_EQ(tape.receive(IOCTL_SCSI_GET_ADDRESS, address), NO_ERROR);
    EXPECT_EQ(tape.returned, sizeof address);
    EXPECT_EQ(address.TargetId, 5);
    EXPECT_EQ(tape.control(0x00123456, nullptr, 0, nullptr, 0), ERROR_INVALID_FUNCTION);
    EXPECT_EQ(tape.send("00 00 00 00 00 00"), "2/3A/00");
    EXPECT_EQ(tape.fetch("12 00 00 00 24 00"), "");
    calls::sleep(1500);
  }
  DeviceClient closed("\\\\.\\scsi1:");
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(room.openHandles(), 0u);
  EXPECT_THAT(
      room.journal().lines(),
      ElementsAre("CreateFileA \\\\.\\TAPE0 rw", "DeviceIoControl \\\\.\\TAPE0 SCSI_GET_ADDRESS",
                  "DeviceIoControl \\\\.\\TAPE0 0x00123456 -> error 1",
                  "CDB H0-B0-T5-L0 00 00 00 00 00 00 -> 2/3A/00", "CDB H0-B0-T5-L0 12 00 00 00 24 00",
                  "Sleep 1500", "CloseHandle \\\\.\\TAPE0", "CreateFileA \\\\.\\scsi1: rw -> error 2"));
  EXPECT_THAT(room.journal().cdbs(drive.address()),
              ElementsAre("00 00 00 00 00 00 -> 2/3A/00", "12 00 00 00 24 00"));
  EXPECT_EQ(room.journal().count("SCSI_GET_ADDRESS"), 1u);
  EXPECT_EQ(room.journal().count("12"), 1u);
  EXPECT_EQ(calls::time64(nullptr), Clock::start + 1);
  EXPECT_THROW(Room(), std::logic_error);
}

TEST(Room, HonoursTheAccessThatAHandleWasOpenedWith) {
  Room room;
  room.addDrive({.target = 5, .claimed = true});
  DeviceClient readOnly("\\\\.\\Tape0", GENERIC_READ);
  PassThrough request{};
  EXPECT_EQ(readOnly.exchange(IOCTL_SCSI_PASS_THROUGH_DIRECT, request), ERROR_ACCESS_DENIED);
  SCSI_ADDRESS address{};
  EXPECT_EQ(readOnly.receive(IOCTL_SCSI_GET_ADDRESS, address), NO_ERROR);
}

TEST(Room, PassesOrdinaryFilesOn) {
  WorkingDirectory here;
  std::ofstream("image.bin", std::ios::binary) << "0123456789";
  Room room;
  room.addFault({.call = "ReadFile", .transfer = 4});
  {
    DeviceClient file(".\\image.bin", GENERIC_READ);
    EXPECT_EQ(room.openHandles(), 1u);
    EXPECT_EQ(calls::getFileSize(file.handle, nullptr), 10u);
    char text[16]{};
    DWORD read = 0;
    EXPECT_TRUE(calls::readFile(file.handle, text, sizeof text, &read, nullptr));
    EXPECT_EQ(read, 4u) << "cut short by the fault";
    EXPECT_TRUE(calls::readFile(file.handle, text, sizeof text, &read, nullptr));
    EXPECT_EQ(std::string(text, read), "456789");
  }
  EXPECT_EQ(room.openHandles(), 0u);
}

TEST(Port, ListsWhatItFound) {
  Room room;
  room.addAdapter({.buses = 2});
  VirtualDrive& drive = room.addDrive({.bus = 1, .target = 5, .claimed = true});
  room.addDisk({.bus = 1, .target = 2});
  room.addDisk({.bus = 1, .target = 5, .lun = 1, .className = "PhysicalDrive9"});
  DeviceClient adapter(PORT);
  Bytes list(2048);
  const auto fetch = [&](std::size_t size) {
    return adapter.control(IOCTL_SCSI_GET_INQUIRY_DATA, nullptr, 0, list.data(), static_cast<DWORD>(size));
  };
  EXPECT_EQ(fetch(64), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(fetch(list.size()), NO_ERROR);
  // Two buses, three units on the second, and where the first of them stands: bus, target, unit, claimed.
  EXPECT_EQ(toHex(std::span(list).first(30)),
            "02 00 00 00 00 07 00 00 00 00 00 00 03 07 00 00 14 00 00 00 01 02 00 01 24 00 00 00 44 00");
  EXPECT_THAT(room.dosNames(),
              testing::IsSupersetOf({"Scsi0:", "Tape0", "PhysicalDrive0", "PhysicalDrive9"}));

  Conversation claimed(PORT, drive.options());
  EXPECT_EQ(claimed.send("00 00 00 00 00 00"), "error 5") << "the class driver has it";
  room.adapter(0).overrideInquiryList(Bytes{7, 0xFF});
  EXPECT_EQ(fetch(2), NO_ERROR);
  EXPECT_EQ(list[1], 0xFF);
}

TEST(RoomPassThrough, ChecksTheRequest) {
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5});
  room.adapter(0).options().maximumTransferLength = 4096;
  Conversation tape(PORT, drive.options());
  EXPECT_EQ(tape.fetch("12 00 00 00 24 00", 4096), "");
  EXPECT_EQ(tape.last.block.DataTransferLength, 36u) << "the residual";
  EXPECT_EQ(tape.fetch("12 00 00 00 24 00", 4097), "error 87");
  EXPECT_EQ(tape.fetch("12 00 00 00 24 00", 8), "");
  EXPECT_EQ(tape.data.size(), 8u);
  EXPECT_EQ(tape.send("12 00 00 00 24 00"), "error 1117") << "data came that the host did not expect";
  EXPECT_EQ(tape.send("15 10 00 00 0C 00", Bytes(4)), "error 1117") << "the device wants more data";

  struct {
    const char* what;
    std::function<void(PassThrough&)> spoil;
  } const cases[] = {
      {"length", [](PassThrough& r) { r.block.Length = 40; }},
      {"CDB length", [](PassThrough& r) { r.block.CdbLength = 17; }},
      {"direction", [](PassThrough& r) { r.block.DataIn = 3; }},
      {"sense in front", [](PassThrough& r) { r.block.SenseInfoOffset = 8; }},
      {"sense behind the buffer", [](PassThrough& r) { r.block.SenseInfoOffset = sizeof r - 8; }},
      {"no buffer", [](PassThrough& r) { r.block.DataTransferLength = 4; }},
  };
  for (const auto& row : cases) {
    PassThrough request{};
    request.block.Length = sizeof request.block;
    request.block.TargetId = 5;
    request.block.CdbLength = 6;
    request.block.DataIn = SCSI_IOCTL_DATA_UNSPECIFIED;
    request.block.SenseInfoLength = 13;
    request.block.SenseInfoOffset = offsetof(PassThrough, sense);
    request.block.TimeOutValue = 10;
    EXPECT_EQ(tape.exchange(IOCTL_SCSI_PASS_THROUGH_DIRECT, request), NO_ERROR) << row.what;
    EXPECT_EQ(request.block.SenseInfoLength, 13) << "sense is cut to its room";
    EXPECT_EQ(toHex(request.sense).substr(0, 44), "70 00 02 00 00 00 00 0A 00 00 00 00 3A 00 00");
    row.spoil(request);
    EXPECT_EQ(tape.exchange(IOCTL_SCSI_PASS_THROUGH_DIRECT, request), ERROR_INVALID_PARAMETER) << row.what;
  }
}

constexpr const char* READY_CDB = "00 00 00 00 00 00";
constexpr const char* INQUIRY_CDB = "12 00 00 00 24 00";

TEST(Fault, StrikesAtTheNthUse) {
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5});
  Conversation tape(PORT, drive.options());
  Conversation other(PORT, room.addDrive({.target = 6}).options());
  room.addFault({.cdb = "00",
                 .device = drive.address(),
                 .nth = 2,
                 .times = 2,
                 .sense = Sense{.key = 2, .asc = 4, .ascq = 1}});
  other.follow({{READY_CDB, "2/3A/00"}});
  tape.follow({{READY_CDB, "2/3A/00"}});
  other.follow({{READY_CDB, "2/3A/00"}});
  tape.follow({{READY_CDB, "2/04/01"}, {READY_CDB, "2/04/01"}, {READY_CDB, "2/3A/00"}});

  room.faults().clear();
  room.addFault({.cdb = "12 01 ??", .status = 8});
  tape.follow({{INQUIRY_CDB, "01 80"}, {"12 01 83 00 24 00", "status 08"}});
  room.addFault({.cdb = "12 01 80", .transfer = 6, .reply = bytes("01 80 00 03 41 42 43")});
  EXPECT_EQ(tape.fetch("12 01 80 00 24 00"), "");
  EXPECT_EQ(toHex(tape.data), "01 80 00 03 41 42");
  room.addFault({.call = "SCSI_RESCAN_BUS", .error = 31});
  EXPECT_EQ(tape.control(IOCTL_SCSI_RESCAN_BUS, nullptr, 0, nullptr, 0), ERROR_GEN_FAILURE);
  EXPECT_EQ(tape.control(IOCTL_SCSI_RESCAN_BUS, nullptr, 0, nullptr, 0), NO_ERROR);
  room.addFault({.call = "CreateFileA", .device = "\\\\.\\SCSI0:", .error = 5});
  EXPECT_EQ(DeviceClient(PORT).handle, INVALID_HANDLE_VALUE);
}

TEST(Fault, DelaysUpToTheTimeOutAndLetsADeviceVanish) {
  Room room;
  Conversation tape(PORT, room.addDrive({.target = 5}).options());
  tape.timeOut = 10;
  room.addFault({.cdb = "00", .delay = 10});
  room.addFault({.cdb = "00", .nth = 2, .delay = 11});
  tape.follow({{READY_CDB, "2/3A/00"}});
  EXPECT_EQ(room.clock().elapsed(), 10'000);
  tape.follow({{READY_CDB, "error 121"}});
  EXPECT_EQ(room.clock().elapsed(), 20'000) << "aborted when the time was up";
  room.addFault({.cdb = "12", .vanish = 30});
  tape.follow({{INQUIRY_CDB, "error 1117"}});
  calls::sleep(29'999);
  tape.follow({{READY_CDB, "error 1117"}});
  calls::sleep(1);
  tape.follow({{READY_CDB, "2/3A/00"}});
}

/// Downloads an image in two parts and returns how each ended.
std::string download(Conversation& tape, const Bytes& image, std::size_t cut = 4096) {
  std::string result;
  for (const auto& [from, to] : {std::pair{std::size_t{0}, cut}, std::pair{cut, image.size()}}) {
    Bytes cdb = bytes("3B 02 04 00 00 00 00 00 00 00");
    put24(cdb, 3, from);
    put24(cdb, 6, to - from);
    const auto begin = image.begin() + static_cast<std::ptrdiff_t>(from);
    result += "[" + tape.send(toHex(cdb), Bytes(begin, begin + static_cast<std::ptrdiff_t>(to - from))) + "]";
  }
  return result;
}

TEST(Drive, JudgesFirmware) {
  Room room;
  VirtualDrive& drive = room.addDrive({.target = 5, .level = "A1B2"});
  Conversation tape(PORT, drive.options());
  const Bytes good = makeFirmwareImage("C3D4", 5000);
  const auto spoilt = [&](std::size_t at) {
    Bytes image = good;
    image[at] ^= 1;
    return image;
  };
  EXPECT_EQ(download(tape, spoilt(0)), "[5/24/00][5/24/00]") << "no firmware at all";
  EXPECT_EQ(download(tape, makeFirmwareImage("C3D4", 5000, "OTHER")), "[5/82/83][5/24/00]");
  EXPECT_EQ(download(tape, spoilt(4999)), "[][5/26/00]") << "checksum";
  EXPECT_EQ(download(tape, Bytes(good.begin(), good.end() - 1)), "[][]") << "incomplete";
  EXPECT_EQ(drive.level(), "A1B2");
  drive.insertBlank();
  tape.follow({{READY_CDB, "6/28/00"}});
  EXPECT_EQ(download(tape, good), "[5/2C/00][5/2C/00]") << "a cartridge is loaded";
  drive.remove();
  EXPECT_EQ(download(tape, good), "[][]");
  EXPECT_EQ(drive.downloaded(), good);
  tape.follow({{INQUIRY_CDB, "error 1117"}});  // rebooting
  calls::sleep(40'000);
  tape.follow({{READY_CDB, "6/29/00"}, {READY_CDB, "6/3F/01"}, {READY_CDB, "2/04/01"}});
  calls::sleep(1000);
  tape.follow({{READY_CDB, "2/3A/00"}, {INQUIRY_CDB, "43 33 44 34", 32}});
}

TEST(Drive, IsLostUntilARescan) {
  Room room;
  VirtualDrive& drive =
      room.addDrive({.target = 5, .claimed = true}, {.afterDownload = AfterDownload::LostUntilRescan});
  DeviceClient adapter(PORT);
  const auto rescan = [&] { return adapter.control(IOCTL_SCSI_RESCAN_BUS, nullptr, 0, nullptr, 0); };
  drive.reboot();
  EXPECT_EQ(DeviceClient("\\\\.\\Tape0").handle, INVALID_HANDLE_VALUE);
  EXPECT_EQ(rescan(), NO_ERROR);
  calls::sleep(40'000);
  EXPECT_EQ(DeviceClient("\\\\.\\Tape0").handle, INVALID_HANDLE_VALUE) << "the rescan came too early";
  EXPECT_EQ(rescan(), NO_ERROR);
  EXPECT_NE(DeviceClient("\\\\.\\Tape0").handle, INVALID_HANDLE_VALUE);
}

}  // namespace
}  // namespace simulator
