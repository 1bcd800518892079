#include <gmock/gmock.h>

#include "kiv/device/driver_target.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"
#include "tests/simulator/recorded_session.h"

using simulator::Room;
using testing::HasSubstr;

namespace {

std::unique_ptr<Room> driverRoom() {
  auto room = std::make_unique<Room>();
  auto& drive = room->addDrive({.target = 5,
                                .model = "ULTRIUM-PX6",
                                .serial = "1068000777",
                                .claimed = true,
                                .driver = simulator::DriverOptions{}});
  room->addChanger({.target = 6,
                    .model = "TAPELIB-40",
                    .serial = "00QR78M1399",
                    .claimed = true,
                    .driver = simulator::DriverOptions{}},
                   {.drives = {0x0100, 1},
                    .slots = {0x1000, 8},
                    .bays = {&drive},
                    .cartridges = {{0x0100, "QOR003L6"}, {0x1000, "QOR001L6"}}});
  return room;
}

std::string update(bool good) {
  simulator::Bytes image = simulator::makeFirmwareImage("E6Q4", 100'000);
  if (!good) image.back() ^= 1;
  return updated("QOR-ULTRIUM-PX6:SAS:AutomationReady",
                 {reinterpret_cast<const char*>(image.data()), image.size()});
}

/// Everything that goes through Windows' tape interface and the maker's driver.
std::string throughTheDriver() {
  std::string told;
  deviceController.rediscoverSCSIBus(true, "", "", "");
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    const auto run = [&](GenericScsiCommand&& command) { told += outcomeOf(*target, std::move(command)); };
    target->queryHostAdapterInformation();
    told += std::string(target->getProperty("HBA Vendor")) + "\n";
    target->openDevice();
    if (target->getDeviceTyp() == 8) {
      run(ChangerCmdReadElementStatus(ELEMENT_DATA_TRANSFER, 0x0100, 4, true, true, 4096));
      run(ChangerCmdReadElementStatus(ELEMENT_STORAGE, 0x1000, 8, true, false, 4096));
    } else {
      TapeCmdWrite6 write(300, 0, false);
      std::fill_n(write.getIoData(), 300, std::uint8_t{'a'});
      run(ScsiCmdTestUnitReady());
      run(TapeCmdRewind(false));
      run(std::move(write));
      run(TapeCmdWriteFileMarks(false, 1));
      run(TapeCmdLocate(false, 0));
      run(TapeCmdRead6(300, 0, true, false));
      run(TapeCmdRead6(300, 0, true, false));
      run(ScsiCmdLogSense(1, 0x0C, 0, 512));
      run(TapeCmdReadBlockLimits());
      run(TapeCmdReadPosition());
      run(TapeCmdReadAttribute(0, 0, 0, 0, 1024));
      run(TapeCmdErase(true, false));
      run(TapeCmdUnLoad(false, false));
    }
    target->closeDevice();
  }
  return told;
}

struct Recorded {
  const char* name;
  std::unique_ptr<Room> (*room)();  ///< null: recorded elsewhere
  Session session;
  std::vector<std::string> secrets{};  ///< beside those of the room
};
const Recorded sessions[] = {
    {"default_room_scan", Room::byDefault, scanned},
    {"default_room_update", Room::byDefault, [] { return update(true); }},
    {"default_room_failing_update", Room::byDefault, [] { return update(false); }},
    {"default_room_elements", Room::byDefault, scannedWithElements},
    {"makers_driver", driverRoom, throughTheDriver},
    {"independent_target", nullptr, withTheIndependentTarget, {"KIV001L6", "KIV002L6", "KIV003L6"}},
};
void PrintTo(const Recorded& recorded, std::ostream* out) { *out << recorded.name; }

class Recordings : public testing::TestWithParam<Recorded> {};

TEST_P(Recordings, Replay) {
  const auto& [name, makeRoom, session, secrets] = GetParam();
  if (makeRoom) {
    std::string told;
    std::string recording;
    {
      const auto room = makeRoom();
      recording = recorded(session, told);
    }
    EXPECT_EQ(replayed(session, recording), told) << "what was recorded just now";
    if (updatesRecordings()) keepRecording(name, recording, told);
  }
  EXPECT_EQ(replayed(session, contentOf(recordingPath(std::string(name) + ".jsonl"))),
            contentOf(recordingPath(std::string(name) + ".txt")));
}

// A call that no device is asked ends a replay as well as another one.
TEST(Player, EndsAtTheFirstDeparture) {
  const std::string recording = contentOf(recordingPath("default_room_scan.jsonl"));
  const auto lineWith = [&](const char* text) { return recording.rfind('\n', recording.find(text)) + 1; };
  const std::size_t serial = lineWith("12 01 80");
  const std::size_t serialEnd = recording.find('\n', serial) + 1;
  const std::string number = std::to_string(1 + std::count(&recording[0], &recording[serial], '\n'));
  const auto replace = [&](const char* from, const char* to) {
    std::string changed = recording;
    return changed.replace(changed.find(from, serial), std::string(from).size(), to);
  };
  const struct {
    std::string recording;
    std::vector<std::string> complaint;
  } rows[] = {
      {replace("12 01 80", "12 01 B0"),
       {"The replay departs from the recording in line " + number + ".\n  expected: DeviceIoControl {",
        "\"cdb\":\"12 01 B0 00 1E 00\"", "\n  actual:   DeviceIoControl {", "\"cdb\":\"12 01 80 00 1E 00\"",
        " recorded calls never came, the first in line " + number + ": DeviceIoControl {"}},
      {recording.substr(0, serial),
       {"The recording breaks off after line ", "expected: no further call\n  actual:   DeviceIoControl {"}},
      {replace("\"transferred\":14", "\"transferred\":\"\""),
       {"Line " + number + " of the recording has no number in \"transferred\"."}},
      {replace("\"data\":\"01 80", "\"data\":\"0180"),
       {"Line " + number + " of the recording has no bytes in \"data\"."}},
      {replace("\"length\":30,", "\"length\":20,"), {"departs", "\"length\":20"}},
      {recording.substr(0, serial) + recording.substr(serialEnd, recording.find("{\"end") - serialEnd),
       {"departs", "never came"}},
  };
  for (const auto& row : rows) {
    simulator::recording::Player player(read(row.recording));
    runSession(scanned);
    for (const std::string& part : row.complaint) EXPECT_THAT(player.complaint(), HasSubstr(part));
  }
}

TEST(Recording, IsNotReadFromWhatIsNone) {
  const std::string header = R"({"format":"kiv recording","version":1,"date":"2026-11-21T14:15:53.120Z"})"
                             "\n";
  const std::string call = R"({"call":"Sleep","asked":{},"answered":{},"at":0,"took":5})"
                           "\n";
  const struct {
    std::string file;
    std::string sentence;
  } rows[] = {
      {"", "Line 1 of the recording is missing"},
      {"<?xml version=\"1.0\"?>\n",
       "Line 1 of the recording is not the beginning of a recording: name a file"},
      {"[]\n", "Line 1 of the recording is not the beginning"},
      {R"({"format":"kiv recording","version":2})", "Line 1 of the recording tells of another version"},
      {R"({"format":"kiv recording","version":1,"date":"2026-13-01T00:00:00.000Z"})",
       "Line 1 of the recording has no date"},
      {header + call + call.substr(0, 40), "Line 3 of the recording is damaged or cut off"},
      {header + std::string(100'000, '['), "Line 2 of the recording is damaged or cut off"},
      {header + R"({"call":7})", "Line 2 of the recording has no text in \"call\""},
      {header + R"({"call":"Sleep","asked":[]})", "Line 2 of the recording lacks \"asked\""},
      {header + R"({"call":"Sleep","asked":{},"answered":{},"at":-1,"took":0})", "has no time in \"at\""},
      {header + call + "{\"end\":2}\n", "Line 3 of the recording counts other calls than there are"},
      {header + call + "{\"end\":1}\n" + call, "Line 4 of the recording stands behind the end"},
  };
  for (const auto& row : rows) {
    try {
      read(row.file);
      ADD_FAILURE() << row.sentence;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.sentence));
    }
  }
}

std::string inHex(const std::string& text) {
  return hex({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// What tells the devices and cartridges of a room from others, as text and as bytes in hexadecimal.
std::vector<std::string> secretsOf(const Recorded& recorded) {
  std::vector<std::string> texts = recorded.secrets;
  std::vector<std::string> secrets;
  if (const auto room = recorded.room ? recorded.room() : nullptr) {
    for (const auto& device : room->devices()) {
      simulator::Bytes name;
      simulator::put64(name, 0, device->options().worldWideName);
      secrets.push_back(hex(name));
      if (device->type() != simulator::typeDisk) texts.push_back(device->options().serial);
      const auto* changer = dynamic_cast<const simulator::VirtualChanger*>(device.get());
      if (!changer) continue;
      for (const auto& [address, element] : changer->elements())
        if (element.medium()) texts.push_back(element.medium()->options().barcode);
    }
  }
  for (const std::string& text : texts) {
    if (text.empty()) continue;
    secrets.push_back(text);
    secrets.push_back(inHex(text));
  }
  return secrets;
}

TEST_P(Recordings, ShowNoSecretsBehindAMask) {
  const auto& [name, makeRoom, session, secrets] = GetParam();
  const std::string recording = contentOf(recordingPath(std::string(name) + ".jsonl"));
  std::ostringstream out;
  simulator::recording::masked(read(recording)).write(out);
  const std::string masked = out.str();
  EXPECT_EQ(masked.size(), recording.size() + std::string(",\"masked\":true").size());
  std::size_t shown = 0;
  for (const std::string& secret : secretsOf(GetParam())) {
    shown += recording.find(secret) != std::string::npos;
    EXPECT_EQ(masked.find(secret), std::string::npos) << secret;
  }
  EXPECT_GT(shown, 0u);
  replayed(session, masked);
}

INSTANTIATE_TEST_SUITE_P(Sessions, Recordings, testing::ValuesIn(sessions),
                         [](const auto& recorded) { return recorded.param.name; });

}  // namespace
