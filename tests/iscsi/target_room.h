#pragma once

#include <gmock/gmock.h>

#include <string>

#include "kiv/device/controller.h"
#include "kiv/kiv.h"
#include "kiv/sdk.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"
#include "tests/support/working_directory.h"

/// The tape room that with_tape_room serves: two drives on LUN 1 (with a cartridge) and LUN 2, a library on
/// LUN 3.
class TargetRoom : public testing::Test {
 protected:
  static constexpr std::uint64_t FIRST_DRIVE = 1;
  static constexpr std::uint64_t SECOND_DRIVE = 2;
  static constexpr std::uint64_t LIBRARY = 3;

  ~TargetRoom() override { kivFini(); }

  /// Opens a device. Its first command meets the unit attention of a new session, which the target keeps per
  /// LUN.
  static void open(ScsiTarget& target, std::uint64_t lun) {
    ASSERT_EQ(target.openDevice(0, 0, 0, lun, "", 1), CMD_OK);
    ScsiCmdTestUnitReady ready;
    target.scsiExecCDB(ready);
  }
  /// "key/ASC/ASCQ" of a command that failed, "good" of one that did not.
  static std::string outcome(ScsiTarget& target, GenericScsiCommand& command) {
    if (target.scsiExecCDB(command) == CMD_OK) return "good";
    if (!command.isSenseDataValid()) return "no sense";
    const std::uint8_t codes[] = {command.getSenseKey(), command.getASC(), command.getASCQ()};
    return hex(codes);
  }
};
