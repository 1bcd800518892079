#include <gmock/gmock.h>

#include <regex>

#include "kiv/device/driver_target.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"
#include "tests/simulator/recorded_session.h"

using simulator::Room;
using testing::HasSubstr;

namespace {

std::unique_ptr<Room> driverRoom() {
  return Room::fromJson(R"({
    "drives": [{"target": 5, "model": "ULTRIUM-PX6", "serial": "1068000777", "claimed": true, "driver": {}}],
    "changers": [{"target": 6, "model": "TAPELIB-40", "serial": "00QR78M1399", "claimed": true, "driver": {},
                  "drives": {"first": 256, "count": 1}, "slots": {"first": 4096, "count": 8},
                  "bays": ["1068000777"], "cartridges": [{"element": 256, "barcode": "QOR003L6"},
                                                         {"element": 4096, "barcode": "QOR001L6"}]}]})");
}

template <bool good>
std::string update() {
  simulator::Bytes image = simulator::makeFirmwareImage("E6Q4", 100'000);
  if (!good) image.back() ^= 1;
  return updated("QOR-ULTRIUM-PX6:SAS:AutomationReady",
                 {reinterpret_cast<const char*>(image.data()), image.size()});
}

/// What goes through Windows' tape interface and the maker's driver.
std::string throughTheDriver() {
  std::string told;
  deviceController.rediscoverSCSIBus(true, "", "", "");
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    target->queryHostAdapterInformation();
    told += std::string(target->getProperty("HBA Vendor")) + "\n";
    target->openDevice();
    ChangerCmdReadElementStatus bays(ELEMENT_DATA_TRANSFER, 0x0100, 4, true, true, 4096);
    ChangerCmdReadElementStatus slots(ELEMENT_STORAGE, 0x1000, 8, true, false, 4096);
    TapeCmdWrite6 write(300, 0, false);
    std::fill_n(write.getIoData(), 300, std::uint8_t{'a'});
    TapeCmdRead6 next(300, 0, true, false);
    told += target->getDeviceTyp() == 8
                ? outcomesOf(*target, bays, slots)
                : outcomesOf(*target, ScsiCmdTestUnitReady(), TapeCmdRewind(false), write,
                             TapeCmdWriteFileMarks(false, 1), TapeCmdLocate(false, 0), next, next,
                             ScsiCmdLogSense(1, 0x0C, 0, 512), TapeCmdReadBlockLimits(),
                             TapeCmdReadPosition(), TapeCmdReadAttribute(0, 0, 0, 0, 1024),
                             TapeCmdErase(true, false), TapeCmdUnLoad(false, false));
    target->closeDevice();
  }
  return told;
}

struct Recorded {
  std::string name;
  std::unique_ptr<Room> (*room)();  ///< null: recorded elsewhere
  Session session;
};
const Recorded sessions[] = {
    {"default_room_scan", Room::byDefault, scanned},
    {"default_room_update", Room::byDefault, update<true>},
    {"default_room_failing_update", Room::byDefault, update<false>},
    {"default_room_elements", Room::byDefault, scannedWithElements},
    {"makers_driver", driverRoom, throughTheDriver},
    {"independent_target", nullptr, withTheIndependentTarget},
};

class Recording : public testing::TestWithParam<Recorded> {};

TEST_P(Recording, Replays) {
  const auto& [name, makeRoom, session] = GetParam();
  if (const auto room = makeRoom ? makeRoom() : nullptr) recordAndReplay(session, name);
  EXPECT_EQ(replayed(session, contentOf(dataFile(name + ".jsonl"))), contentOf(dataFile(name + ".txt")));
}

/// The texts and bytes of all calls.
std::string wordsOf(const std::string& recording) {
  std::string words;
  const Recordings recordings = read(recording);
  for (const auto& line : recordings.at(0).lines) {
    for (const auto* fields : {&line.asked, &line.answered}) {
      for (const auto& field : *fields) {
        const std::string text = field.is_string() ? field.get<std::string>() : "";
        const auto data = simulator::recording::fromHex(text);
        words += data ? std::string(data->begin(), data->end()) : text;
      }
    }
  }
  return words;
}

TEST_P(Recording, ShowsNoSecretsBehindAMask) {
  const std::string recording = contentOf(dataFile(GetParam().name + ".jsonl"));
  std::ostringstream out;
  simulator::recording::masked(read(recording)).at(0).write(out);
  EXPECT_EQ(out.str().size(), recording.size() + std::string(",\"masked\":true").size());
  // Serial numbers of drives, libraries and cartridges, barcodes, world wide names.
  const std::regex secret(
      R"(1[012]\d{8}|00QR78M\d{4}|LIBRARY001|QM99\d+|(QOR|KIV|CLN)\w{3}L\d|P\x06\x0B[\s\S]{5})");
  const std::string before = wordsOf(recording);
  const std::string after = out.str() + wordsOf(out.str());
  std::size_t count = 0;
  for (std::sregex_iterator found(before.begin(), before.end(), secret), end; found != end; ++found, ++count)
    EXPECT_EQ(after.find(found->str()), std::string::npos) << found->str();
  EXPECT_GT(count, 3u);
  replayed(GetParam().session, out.str());
}

INSTANTIATE_TEST_SUITE_P(Of, Recording, testing::ValuesIn(sessions),
                         [](const auto& recorded) { return recorded.param.name; });

/// What is wrong with a scan that is answered from this file.
std::string complaintAbout(const std::string& file) {
  try {
    const Player player(read(file).at(0));
    runSession(scanned);
    return player.departure() + "\n" + player.left().sentence();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TEST(Replay, EndsWithTheLineAtFault) {
  const std::string scan = contentOf(dataFile("default_room_scan.jsonl"));
  const std::size_t serial = scan.rfind('\n', scan.find("12 01 80")) + 1;
  const auto line = std::count(scan.begin(), scan.begin() + static_cast<std::ptrdiff_t>(serial), '\n') + 1;
  const std::string number = std::to_string(line);
  const std::string left = std::to_string(std::count(scan.begin(), scan.end(), '\n') - line);
  const auto with = [&](const std::string& from, const std::string& to) {
    return std::string(scan).replace(scan.find(from, serial), from.size(), to);
  };
  const std::string header = scan.substr(0, scan.find('\n') + 1);
  const std::string call = "{\"call\":\"Sleep\",\"asked\":{},\"answered\":{},\"at\":0,\"took\":5}\n";
  const struct {
    std::string file;
    std::vector<std::string> complaint;
  } rows[] = {
      {with("12 01 80", "12 01 B0"),
       {"The replay departs from the recording in line " + number + ".\n  expected: DeviceIoControl {",
        "\"cdb\":\"12 01 B0 00 1E 00\"", "\n  actual:   DeviceIoControl {", "\"cdb\":\"12 01 80 00 1E 00\"",
        left + " recorded calls never came, the first in line " + number + ": DeviceIoControl {"}},
      {scan.substr(0, serial + 9),
       {"The recording breaks off after line " + std::to_string(line - 1) +
        ".\n  expected: no further call\n  actual:   DeviceIoControl {"}},
      {with("\"transferred\":14", "\"transferred\":\"\""),
       {"Line " + number + " of the recording has no number in \"transferred\"."}},
      {"", {"Line 1 of the recording is missing"}},
      {"<?xml version=\"1.0\"?>\n",
       {"Line 1 of the recording is not the beginning of a recording: name a file"}},
      {R"({"format":"kiv recording","version":2})", {"Line 1 of the recording tells of another version"}},
      {header + call + call.substr(0, 40) + "\n" + call, {"Line 3 of the recording is damaged"}},
      {header + std::string(100'000, '['), {"Line 2 of the recording is nested too deeply"}},
      {header + R"({"call":7})", {"Line 2 of the recording has no text in \"call\""}},
      {header + call + "{\"end\":2}\n", {"Line 3 of the recording counts other calls than there are"}},
      {header + call + "{\"end\":1}\n" + call, {"Line 4 of the recording stands behind the end"}},
  };
  for (const auto& row : rows) {
    const std::string complaint = complaintAbout(row.file);
    for (const std::string& part : row.complaint) EXPECT_THAT(complaint, HasSubstr(part));
  }

  // Every process has its recording; one that was ended has torn its last line.
  const Recordings recordings = read(header + call + "{\"ca\n" + header + call + "{\"end\":1}\n" + header);
  ASSERT_EQ(recordings.size(), 3u);
  EXPECT_EQ(recordings[0].lastNumber(), 2u);
  EXPECT_EQ(recordings[1].lastNumber(), 6u);
}

}  // namespace
