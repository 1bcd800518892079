// Every Windows call and every command of a scan, an update and an update of all drives fails once, in every
// way. No crash, no lost handle; result, report and what the drive received agree; the next run goes as if
// nothing had been.
#include <map>
#include <tuple>

#include "tests/support/room_test.h"

namespace {

enum Operation { Scan, UpdateOne, UpdateAll };

/// A way of failing. A call fails with an error, comes short, or answers with other bytes; a command also
/// with a status, with sense, or late.
struct Way {
  const char* name;
  bool ofCalls;  ///< of Windows calls as well as of commands
  Fault fault;
};
const Way ways[] = {
    {"AccessDenied", true, {.error = 5}},
    {"InsufficientBuffer", true, {.error = 122}},
    {"DeviceGone", false, {.error = 1117}},
    {"SemaphoreTimeOut", false, {.error = 121}},
    {"Busy", false, {.status = 0x08}},
    {"ReservationConflict", false, {.status = 0x18}},
    {"BecomingReady", false, {.sense = Sense{2, 0x04, 0x01}}},
    {"HardwareError", false, {.sense = Sense{4, 0x44, 0x00}}},
    {"InvalidField", false, {.sense = Sense{5, 0x24, 0x00}}},
    {"UnitAttention", false, {.sense = Sense{6, 0x29, 0x00}}},
    {"Late", false, {.delay = 200000}},
    {"Vanishing", false, {.vanish = 30}},
    {"Nothing", true, {.transfer = 0}},
    {"Short", true, {.transfer = 5}},
    {"Zeros", true, {.reply = Bytes(300)}},
    {"Garbage", true, {.reply = Bytes(300, 0xFF)}},
};

struct Outcome {
  int result;
  std::string report;
};

/// Two drives, one of them in a library, and what the library shall do with them.
class Scene {
 public:
  explicit Scene(const WorkingDirectory& place) : directory(place) {
    first = &room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "B200"}, {.cartridge = true});
    second = &room.addDrive({.target = 6, .model = "ULTRIUM-PX7", .level = "B200", .claimed = true});
    room.addChanger({.target = 8}, {.drives = {0x100, 1}, .bays = {first}});
    renew();
  }
  /// The drives as before the first run, and rested.
  void renew() {
    room.faults().clear();
    room.clock().advance(3'600'000);
    for (auto* drive : {first, second}) {
      drive->options().level = "B200";
      drive->rescanned();
      drive->clearUnitAttentions();
    }
  }
  Outcome run(Operation operation) {
    const char* const name = operation == Scan ? "scsiInv.txt" : "scsiExe.txt";
    directory.write(name, "nothing");
    const int result = operation == Scan        ? scanScsiBus(0)
                       : operation == UpdateOne ? updateFirmware(0, 0, false)
                                                : updateFirmwareAllDevices(0, false);
    return {result, directory.read(name)};
  }

  const WorkingDirectory& directory;
  simulator::Room room;
  simulator::VirtualDrive* first;
  simulator::VirtualDrive* second;
};

void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }

class Sweep : public testing::TestWithParam<std::tuple<Operation, Way>> {
 protected:
  Sweep() {
    directory.write("Config.txt",
                    "QOR-ULTRIUM-PX6:Fibre:Library image.bin C300\nQOR-ULTRIUM-PX7:Fibre image.bin C300\n");
    directory.write("Devlist.txt",
                    "LibraryCheck=true\n1 QOR-ULTRIUM-PX6:Fibre:Library\n2 QOR-ULTRIUM-PX7:Fibre\n");
    image = simulator::makeFirmwareImage("C300", 70000);
    directory.write("image.bin", {reinterpret_cast<const char*>(image.data()), image.size()});
  }
  ~Sweep() override {
    kivFini();
    libraryMode = false;
  }

  /// Runs the operation with a fault at one of its calls, and then without; the scene is then as before.
  void strike(Scene& scene, Operation operation, const Fault& fault, const Outcome& whole) {
    scene.room.addFault(fault);
    const Outcome struck = scene.run(operation);
    EXPECT_GE(struck.result, FW_NO_ERROR);
    EXPECT_LE(struck.result, FW_NO_MEMORY);
    EXPECT_TRUE(struck.report.ends_with(operation == Scan ? "</SVMInventory>\n" : "</SVMExecution>\n"));
    if (operation != Scan) agree(operation, struck, scene);
    kivFini();
    EXPECT_EQ(scene.room.openHandles(), 0u);

    scene.renew();
    ASSERT_EQ(scene.run(Scan).report, inventory);
    if (operation == Scan) return;
    const Outcome again = scene.run(operation);
    EXPECT_EQ(again.result, whole.result);
    EXPECT_EQ(again.report, whole.report);
    scene.renew();
    ASSERT_EQ(scene.run(Scan).report, inventory);
  }
  /// A success is told of a drive that has the new level and got the image whole, once; whatever arrived was
  /// the image's.
  void agree(Operation operation, const Outcome& outcome, const Scene& scene) {
    int succeeded = 0;
    for (const auto* drive : {scene.first, scene.second}) {
      const Bytes& got = drive->downloaded();
      EXPECT_TRUE(got.size() <= image.size() && std::equal(got.begin(), got.end(), image.begin()));
      succeeded += drive->level() == "C300" && got == image;
    }
    const auto count = [&](const std::string& wanted) {
      int result = 0;
      for (std::size_t at = 0; (at = outcome.report.find(wanted, at)) != std::string::npos; ++at) ++result;
      return result;
    };
    const int told = count("result=\"true\""), failures = count("result=\"false\"");
    EXPECT_LE(told, succeeded);
    if (operation == UpdateOne) {
      EXPECT_EQ(told, outcome.result == FW_NO_ERROR);
      EXPECT_EQ(failures, outcome.result != FW_NO_ERROR);
      EXPECT_NE(outcome.report.find("<Message id=\"" + std::to_string(outcome.result) + "\">"),
                std::string::npos);
    } else {
      EXPECT_EQ(failures > 0, outcome.result != FW_NO_ERROR);
    }
  }

  WorkingDirectory directory;
  Bytes image;
  std::string inventory;
};

TEST_P(Sweep, EndsWellWhereverItStrikes) {
  const auto& [operation, way] = GetParam();
  Scene scene(directory);
  const Outcome scan = scene.run(Scan);
  ASSERT_EQ(scan.result, FW_NO_ERROR);
  inventory = scan.report;
  scene.room.journal().clear();
  const Outcome whole = scene.run(operation);
  EXPECT_EQ(whole.result, FW_NO_ERROR);
  const auto entries = scene.room.journal().entries();
  scene.renew();
  scene.run(Scan);
  std::map<std::string, unsigned> uses;
  for (const auto& entry : entries) {
    if (entry.call == "Sleep" || entry.call == "CloseHandle") continue;
    Fault fault = way.fault;
    if (!entry.cdb.empty()) {
      fault.cdb = entry.text;
      fault.device = entry.address;
    } else {
      if (!way.ofCalls) continue;
      fault.call = entry.call == "DeviceIoControl" ? entry.text : entry.call;
      fault.device = entry.device;
    }
    fault.nth = ++uses[fault.cdb + fault.call + fault.device];
    SCOPED_TRACE(entry.line() + " #" + std::to_string(fault.nth));
    strike(scene, operation, fault, whole);
    if (HasFatalFailure()) return;
  }
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Operation, Way>>& sweep) {
  const char* const operations[] = {"AScan", "AnUpdate", "AnUpdateOfAll"};
  return operations[std::get<0>(sweep.param)] + std::string("With") + std::get<1>(sweep.param).name;
}
INSTANTIATE_TEST_SUITE_P(Of, Sweep,
                         testing::Combine(testing::Values(Scan, UpdateOne, UpdateAll),
                                          testing::ValuesIn(ways)),
                         nameOf);

}  // namespace
