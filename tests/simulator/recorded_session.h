// Sessions with a room that are recorded, and replayed from tests/data/recordings/NAME.jsonl. NAME.txt there
// is what the library told of it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "kiv/kiv.h"
#include "kiv/sdk.h"
#include "simulator/recording/mask.h"
#include "simulator/recording/player.h"
#include "simulator/recording/recorder.h"
#include "tests/support/hex.h"
#include "tests/support/working_directory.h"

using simulator::recording::Player;
using simulator::recording::Recordings;

/// What is done in a session. It returns what the library made of the room.
using Session = std::string (*)();

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
inline std::string dataFile(const std::string& name) { return KIV_TEST_DATA "/recordings/" + name; }

/// A session from the library's beginning to its end, in a working directory of its own.
inline std::string runSession(Session session) {
  const WorkingDirectory directory;
  kivInit();
  std::string told = session();
  kivFini();
  return told;
}

inline Recordings read(const std::string& recording) {
  std::istringstream in(recording);
  return simulator::recording::readRecordings(in);
}

/// Replays a session and expects that all comes as recorded.
inline std::string replayed(Session session, const std::string& recording) {
  const Player player(read(recording).at(0));
  std::string told = runSession(session);
  EXPECT_EQ(player.departure() + player.left().sentence(), "");
  return told;
}

/// Records a session in the room that stands, or without one in the real system, and replays it. With
/// KIV_UPDATE_DATA set the recording goes into the tree.
inline void recordAndReplay(Session session, const std::string& name) {
  std::ostringstream out;
  std::string told;
  {
    const simulator::recording::Recorder recorder(out, {{"library", getKivVersion()}});
    told = runSession(session);
  }
  EXPECT_EQ(replayed(session, out.str()), told);
  if (!std::getenv("KIV_UPDATE_DATA")) return;
  std::ofstream(dataFile(name + ".jsonl"), std::ios::binary) << out.str();
  std::ofstream(dataFile(name + ".txt"), std::ios::binary) << told;
}

/// Carries out commands, and tells the operation code, the result, and the data or sense data of each.
template <class... Commands>
std::string outcomesOf(ScsiTarget& target, Commands&&... commands) {
  std::string told;
  const auto carryOut = [&](GenericScsiCommand& command) {
    const ReturnCode result = target.scsiExecCDB(command);
    auto data = result == CMD_OK ? command.ioDataSpan() : command.senseSpan();
    if (result == CMD_OK && command.getDataDirection() != SCSI_DATA_IN) data = {};
    while (!data.empty() && data.back() == 0) data = data.first(data.size() - 1);
    const std::uint8_t code[] = {static_cast<std::uint8_t>(command.getCmdCode())};
    told += hex(code) + " -> " + std::to_string(result) + " " + hex(data) + "\n";
  };
  (carryOut(commands), ...);
  return told;
}

/// A scan, and its inventory.
inline std::string scanned() {
  const int result = scanScsiBus(0);
  return "scan " + std::to_string(result) + "\n" + contentOf("scsiInv.txt");
}

/// A scan, then what every tape library says of its elements, and a cartridge moved from slot to slot.
inline std::string scannedWithElements() {
  std::string told = scanned();
  for (ScsiTarget* target : deviceController.getDeviceList()) {
    if (target->getDeviceTyp() != 8) continue;
    target->openDevice();
    ChangerCmdElementInformation elements;
    target->scsiExecCDB(elements);
    const std::uint16_t slot = elements.getFirstStorageElementAddress();
    const auto other = static_cast<std::uint16_t>(slot + 7);
    ChangerCmdReadElementStatus slots(ELEMENT_STORAGE, 0, 100, true, false, 8192);
    ChangerCmdReadElementStatus bays(ELEMENT_DATA_TRANSFER, 0, 100, true, true, 8192);
    told += outcomesOf(*target, slots, ChangerMoveMedium(1, slot, other), slots, bays,
                       ChangerMoveMedium(1, other, slot));
    target->closeDevice();
  }
  return told;
}

/// A scan, an update of one of its drives to level E6Q4 with this image, and its report.
inline std::string updated(const std::string& product, const std::string& image, int drive = 0) {
  std::ofstream("Config.txt") << product << " image.bin E6Q4\n";
  std::ofstream("image.bin", std::ios::binary) << image;
  std::string told = scanned();
  const int result = updateFirmware(drive, 0, false);
  return told + "update " + std::to_string(result) + "\n" + contentOf("scsiExe.txt");
}

/// What tests/iscsi does with its target, which refuses the download.
inline std::string withTheIndependentTarget() {
  return scannedWithElements() + updated("QOR-ULTRIUM-PX6:Fibre", std::string(40'000, 'x'), 1);
}
