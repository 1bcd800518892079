// What one more device, chunk, command or element costs, in counts: they need no quiet machine.
#include <functional>

#include "frame/log_dump.h"
#include "kiv/changer/element_status.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/update/update_firmware.h"
#include "tests/support/memory.h"
#include "tests/support/room_test.h"

namespace {

struct Cost {
  std::size_t opens;
  std::size_t commands;
  unsigned long allocations;  ///< at most
};

struct Work {
  const char* what;
  std::function<void(unsigned count)> prepare;
  std::function<void()> run;
  Cost ofOneMore;
};

class Counts : public RoomTest {
 protected:
  Cost costOf(const std::function<void()>& work) {
    room.journal().clear();
    {
      const MemoryShortage countOnly;
      work();
    }
    return {room.journal().count("CreateFileA"), room.journal().cdbs().size(), MemoryShortage::asked()};
  }
};

TEST_F(Counts, OfOneMoreDeviceChunkCommandAndElement) {
  unsigned drives = 0;
  Bytes bytes;
  unsigned times = 0;
  const auto addDrives = [&](unsigned count) {
    for (; drives < count; ++drives) room.addDrive({.target = static_cast<std::uint8_t>(drives + 6)});
  };
  const auto elements = [&](unsigned count) {
    // With a volume tag and, as a blank is 32, an identifier of 32 bytes.
    bytes.assign(16 + count * 84, ' ');
    for (auto [offset, width, value] :
         {std::tuple{8u, 1u, 2u}, {9u, 1u, 0x80u}, {10u, 2u, 84u}, {13u, 3u, count * 84}})
      writeBigEndian(bytes, offset, width, value);
  };
  const auto decode = [&](bool identifiers) {
    ChangerElementStatusData(bytes.data(), static_cast<ulong32>(bytes.size()), identifiers);
  };
  const auto repeat = [&](auto work) {
    return [&times, work] {
      for (unsigned i = 0; i < times; ++i) work();
    };
  };
  const auto setTimes = [&](unsigned count) { times = count; };
  ScsiCmdTestUnitReady ready;
  const Work works[] = {
      {"scan of an unclaimed device",
       addDrives,
       [&] { controller.rediscoverSCSIBus(false, "", "", ""); },
       {1, 4, 60}},
      {"chunk of a download",
       [&](unsigned count) {
         // Never the whole image, which would have the drive restart.
         bytes = simulator::makeFirmwareImage("B300", 64 * std::size_t{32768});
         bytes.resize(count * std::size_t{32768});
       },
       [&] {
         UpdateFirmware().performFirmwareUpdate(&target, bytes.data(), static_cast<ulong32>(bytes.size()));
       },
       {0, 1, 0}},
      {"command", setTimes, repeat([&] { target.scsiExecCDB(ready); }), {0, 1, 0}},
      {"element", elements, [&] { decode(false); }, {0, 0, 0}},
      {"element with an identifier", elements, [&] { decode(true); }, {0, 0, 1}},
      {"filtered dump",
       setTimes,
       repeat([&] { logDump("SCSI", "Standard Inquiry Page 0x00", bytes); }),
       {0, 0, 0}},
  };
  room.addDrive({.target = 5});
  ASSERT_EQ(openAt(target, 0, 0, 5), CMD_OK);
  for (const Work& work : works) {
    constexpr unsigned FEW = 4;
    constexpr unsigned MORE = 16;
    work.prepare(FEW);
    work.run();
    const Cost few = costOf(work.run);
    work.prepare(FEW + MORE);
    const Cost many = costOf(work.run);
    EXPECT_EQ(many.opens - few.opens, MORE * work.ofOneMore.opens) << work.what;
    EXPECT_EQ(many.commands - few.commands, MORE * work.ofOneMore.commands) << work.what;
    EXPECT_LE(many.allocations, few.allocations + MORE * work.ofOneMore.allocations) << work.what;
  }
}

}  // namespace
