// Sessions with a room that are recorded, and replayed from tests/data/recordings/NAME.jsonl. NAME.txt there
// is what the library told of it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "kiv/kiv.h"
#include "kiv/sdk.h"
#include "simulator/recording/mask.h"
#include "simulator/recording/player.h"
#include "simulator/recording/recorder.h"
#include "tests/support/hex.h"
#include "tests/support/working_directory.h"

/// What is done in a session. It returns what the library made of the room.
using Session = std::function<std::string()>;

inline std::string recordingPath(const std::string& name) { return KIV_TEST_DATA "/recordings/" + name; }
inline bool updatesRecordings() { return std::getenv("KIV_UPDATE_DATA") != nullptr; }
inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A session from the library's beginning to its end, in a working directory of its own.
inline std::string runSession(const Session& session) {
  const WorkingDirectory directory;
  kivInit();
  std::string told = session();
  kivFini();
  return told;
}

/// Records a session in the room that stands, or without one in the real system.
inline std::string recorded(const Session& session, std::string& told) {
  std::ostringstream out;
  {
    const simulator::recording::Recorder recorder(out, {{"library", getKivVersion()}});
    told = runSession(session);
  }
  return out.str();
}

inline simulator::recording::Recording read(const std::string& recording) {
  std::istringstream in(recording);
  return simulator::recording::Recording::read(in);
}

/// Replays a session and expects that all comes as recorded.
inline std::string replayed(const Session& session, const std::string& recording) {
  simulator::recording::Player player(read(recording));
  std::string told = runSession(session);
  EXPECT_EQ(player.complaint(), "");
  return told;
}

/// Writes a recording and what the library told of it into the tree.
inline void keepRecording(const std::string& name, const std::string& recording, const std::string& told) {
  std::ofstream(recordingPath(name + ".jsonl"), std::ios::binary) << recording;
  std::ofstream(recordingPath(name + ".txt"), std::ios::binary) << told;
}

/// Carries out a command, and tells its operation code, its result, and its data or sense data.
inline std::string outcomeOf(ScsiTarget& target, GenericScsiCommand&& command) {
  const ReturnCode result = target.scsiExecCDB(command);
  auto data = result == CMD_OK ? command.ioDataSpan() : command.senseSpan();
  if (result == CMD_OK && command.getDataDirection() != SCSI_DATA_IN) data = {};
  while (!data.empty() && data.back() == 0) data = data.first(data.size() - 1);
  const std::uint8_t code[] = {static_cast<std::uint8_t>(command.getCmdCode())};
  return hex(code) + " -> " + std::to_string(result) + " " + hex(data) + "\n";
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
    for (const bool moved : {false, true}) {
      if (moved) told += outcomeOf(*target, ChangerMoveMedium(1, slot, static_cast<std::uint16_t>(slot + 7)));
      told += outcomeOf(*target, ChangerCmdReadElementStatus(ELEMENT_STORAGE, 0, 100, true, false, 8192));
    }
    told += outcomeOf(*target, ChangerCmdReadElementStatus(ELEMENT_DATA_TRANSFER, 0, 100, true, true, 8192));
    told += outcomeOf(*target, ChangerMoveMedium(1, static_cast<std::uint16_t>(slot + 7), slot));
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
