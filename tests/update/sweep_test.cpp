// Every Windows call, every command and every allocation of a scan, an update and an update of all drives
// fails once, in every way. No crash, no lost handle; result, report and what the drive received agree; the
// next run goes as if nothing had been.
#include <map>
#include <set>
#include <tuple>

#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"
#include "tests/support/memory.h"
#include "tests/support/room_test.h"

namespace {

enum Operation { Scan, UpdateOne, UpdateAll };
enum Path { ByPort, ByDriver };

/// A way of failing. A call fails with an error, comes short, or answers with other bytes; a command also
/// with a status, with sense, or late; allocations are refused.
struct Way {
  const char* name;
  bool ofCalls;  ///< of Windows calls as well as of commands
  Fault fault;
  unsigned long refusals = 0;  ///< of so many allocations in a row, and of nothing else
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
    {"OutOfMemory", false, {}, 1},
    {"OutOfMemoryForAWhile", false, {}, 50},
};

/// What returns nothing that could fail, or leaves a handle open when it fails.
const std::set<std::string> closing = {"Sleep", "CloseHandle", "RegCloseKey", "SetupDiDestroyDeviceInfoList"};

struct Outcome {
  int result;
  std::string report;
};

/// Two drives, one of them in a library, and what the library shall do with them.
class Scene {
 public:
  Scene(const WorkingDirectory& place, Path wanted) : directory(place), path(wanted) {
    const auto identity = [&](std::uint8_t target, const char* model, bool claimed) {
      simulator::DeviceOptions options{.target = target, .model = model, .level = "B200", .claimed = claimed};
      if (path == ByDriver) options.driver = simulator::DriverOptions{};
      return options;
    };
    first = &room.addDrive(identity(5, "ULTRIUM-PX6", path == ByDriver), {.cartridge = true});
    second = &room.addDrive(identity(6, "ULTRIUM-PX7", true));
    room.addChanger(identity(8, "LIBRARY", path == ByDriver), {.drives = {0x100, 1}, .bays = {first}});
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
  Outcome run(Operation operation, unsigned long firstRefused = 0, unsigned long refusals = 0) {
    const char* const name = operation == Scan ? "scsiInv.txt" : "scsiExe.txt";
    directory.write(name, "nothing");
    listOfSupportedDevices.reserve(10);
    room.journal().clear();
    const auto act = [&] {
      const MemoryShortage shortage(firstRefused, refusals);
      return operation == Scan        ? scan()
             : operation == UpdateOne ? UpdateFirmware().updateFirmware(0, 0, false)
                                      : UpdateFirmware().updateFirmwareAllDevices(0, false);
    };
    const int result = act();
    return {result, directory.read(name)};
  }

  /// The scan of a host that takes the maker's driver where it can is put together from the same pieces.
  int scan() const {
    if (path == ByPort) return ScanBus().scanScsiBus(0);
    listOfSupportedDevices.clear();
    ComponentId ids;
    const bool whole =
        ids.initialize("Devlist.txt") && deviceController.rediscoverSCSIBus(true, "", "", "") == CMD_OK;
    for (ScsiTarget* target : deviceController.getDeviceList()) {
      if (whole && target->getDeviceTyp() == simulator::typeTape) listOfSupportedDevices.push_back(target);
    }
    ScanBus().showScanResult(0, ids);
    deviceController.closeHandleOfAllDevices();
    return whole ? FW_NO_ERROR : FW_NO_MEMORY;
  }

  const WorkingDirectory& directory;
  const Path path;
  simulator::Room room;
  simulator::VirtualDrive* first;
  simulator::VirtualDrive* second;
};

int count(const std::string& text, const std::string& wanted) {
  int result = 0;
  for (std::size_t at = 0; (at = text.find(wanted, at)) != std::string::npos; ++at) ++result;
  return result;
}

void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }

class Sweep : public testing::TestWithParam<std::tuple<Operation, Path, Way>> {
 protected:
  Sweep() {
    std::string config =
        "QOR-ULTRIUM-PX6:Fibre:Library image.bin C300\nQOR-ULTRIUM-PX7:Fibre image.bin C300\n";
    // What a drive would get that seems to stand outside of its library.
    if (way.refusals > 0) config += "QOR-ULTRIUM-PX6:Fibre other.bin C300\n";
    directory.write("Config.txt", config);
    directory.write("Devlist.txt",
                    "LibraryCheck=true\n1 QOR-ULTRIUM-PX6:Fibre:Library\n2 QOR-ULTRIUM-PX7:Fibre\n");
    for (const char* const name : {"other.bin", "image.bin"}) {
      image = simulator::makeFirmwareImage("C300", *name == 'i' ? 40000 : 20000);
      directory.write(name, {reinterpret_cast<const char*>(image.data()), image.size()});
    }
  }
  ~Sweep() override {
    kivFini();
    libraryMode = false;
  }

  /// What holds after a run that something struck; the scene is then as before, and a scan finds it so.
  void endedWell(const Outcome& struck) {
    EXPECT_GE(struck.result, FW_NO_ERROR);
    EXPECT_LE(struck.result, FW_NO_MEMORY);
    EXPECT_TRUE(struck.report.ends_with(operation == Scan ? "</SVMInventory>\n" : "</SVMExecution>\n"))
        << struck.report;
    if (operation != Scan) agree(struck);
    if (way.refusals > 0) tellOfShortage(struck);
    deviceController.closeHandleOfAllDevices();
    EXPECT_EQ(scene.room.openHandles(), 0u);

    scene.renew();
    // Looked at now and then: the time is better spent on strikes.
    if (++strikes % 4 != 0) return;
    kivFini();
    ASSERT_EQ(scene.run(Scan).report, inventory);
  }
  /// Once all were struck, nothing has stayed behind.
  void TearDown() override {
    scene.renew();
    kivFini();
    EXPECT_EQ(scene.run(Scan).report, inventory);
    const Outcome again = scene.run(operation);
    EXPECT_EQ(again.result, whole.result);
    EXPECT_EQ(again.report, whole.report);
  }
  /// A success is told of a drive that has the new level and got the image whole, once; whatever arrived was
  /// the image's.
  void agree(const Outcome& outcome) {
    const int told = count(outcome.report, "result=\"true\""),
              failures = count(outcome.report, "result=\"false\"");
    EXPECT_LE(told, updated());
    if (way.refusals > 1) {
      EXPECT_LE(told + failures, 2) << "an entry may be lost with all memory";
    } else if (operation == UpdateOne) {
      EXPECT_EQ(told, outcome.result == FW_NO_ERROR);
      EXPECT_EQ(failures, outcome.result != FW_NO_ERROR);
      EXPECT_NE(outcome.report.find("<Message id=\"" + std::to_string(outcome.result) + "\">"),
                std::string::npos);
    } else {
      EXPECT_EQ(failures > 0, outcome.result != FW_NO_ERROR);
    }
  }
  /// How many drives got the image whole.
  int updated() {
    int result = 0;
    for (const auto* drive : {scene.first, scene.second}) {
      const Bytes& got = drive->downloaded();
      EXPECT_TRUE(got.size() <= image.size() && std::equal(got.begin(), got.end(), image.begin()));
      result += drive->level() == "C300" && got == image;
    }
    return result;
  }
  /// One refused allocation costs the device that it meets, and all of them only before the first is met;
  /// nothing that was not done passes for done, and want of memory not for anything else.
  void tellOfShortage(const Outcome& outcome) {
    constexpr int DEVICES = 2;
    const int done = operation == Scan ? count(outcome.report, "<Device ") : updated();
    const bool tooEarly = scene.room.journal().cdbs().empty() && outcome.result == FW_NO_MEMORY;
    EXPECT_GE(done, way.refusals > 1 || operation == UpdateOne || tooEarly ? 0 : DEVICES - 1);
    EXPECT_TRUE(operation != UpdateAll || outcome.result != FW_NO_ERROR || done == DEVICES);
    EXPECT_EQ(count(outcome.report, "componentID=\"\""), 0) << outcome.report;
    EXPECT_TRUE(outcome.result == FW_NO_ERROR || outcome.result == FW_NO_MEMORY) << outcome.result;
  }

  const Operation operation = std::get<0>(GetParam());
  const Path path = std::get<1>(GetParam());
  const Way way = std::get<2>(GetParam());
  WorkingDirectory directory;
  Scene scene{directory, path};
  Bytes image;
  std::string inventory;
  Outcome whole;
  unsigned strikes = 0;
};

TEST_P(Sweep, EndsWellWhereverItStrikes) {
  const Outcome scan = scene.run(Scan);
  ASSERT_EQ(scan.result, FW_NO_ERROR);
  inventory = scan.report;
  scene.room.journal().clear();
  whole = scene.run(operation);
  EXPECT_EQ(whole.result, FW_NO_ERROR);
  const auto entries = scene.room.journal().entries();
  scene.renew();
  scene.run(Scan);
  // A while overlaps with the next. What an update of one and of all drives share is struck one by one once.
  const bool sharesSteps = (operation == UpdateAll) == (path == ByDriver) && operation != Scan;
  const unsigned long step = way.refusals > 1 ? 10 : sharesSteps ? 4 : 1;
  for (unsigned long nth = 1; way.refusals > 0; nth += step) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    const Outcome struck = scene.run(operation, nth, way.refusals);
    if (MemoryShortage::asked() < nth) return;
    endedWell(struck);
    if (HasFatalFailure()) return;
  }
  std::map<std::string, unsigned> uses;
  for (const auto& entry : entries) {
    if (closing.contains(entry.call)) continue;
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
    scene.room.addFault(fault);
    endedWell(scene.run(operation));
    if (HasFatalFailure()) return;
  }
}

std::string nameOf(const testing::TestParamInfo<Sweep::ParamType>& sweep) {
  const auto& [operation, path, way] = sweep.param;
  const char* const operations[] = {"AScan", "AnUpdate", "AnUpdateOfAll"};
  return operations[operation] + std::string(path == ByPort ? "" : "ByDriver") + "With" + way.name;
}
INSTANTIATE_TEST_SUITE_P(Of, Sweep,
                         testing::Combine(testing::Values(Scan, UpdateOne, UpdateAll),
                                          testing::Values(ByPort, ByDriver), testing::ValuesIn(ways)),
                         nameOf);

}  // namespace
