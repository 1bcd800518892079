#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kiv/device/controller.h"
#include "kiv/device/driver_target.h"
#include "kiv/kiv.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"
#include "tests/support/captured_output.h"
#include "tests/support/record.h"
#include "tests/support/scripted_driver.h"
#include "tests/support/working_directory.h"

using simulator::Bytes;
using simulator::Fault;
using simulator::Sense;

/// A test in a tape room of its own. In the end every handle is closed, and the library is as after its
/// loading.
class RoomTest : public testing::Test {
 protected:
  void TearDown() override {
    target.closeDevice();
    driver.closeDevice();
    controller.clearDeviceList();
    if (scriptedHandle != nullptr) room.closeHandle(scriptedHandle);
    logger->setLogLevel(LOG_NONE);
    kivFini();
    automationReadyMode = true;
    libraryMode = false;
    EXPECT_EQ(room.openHandles(), 0u);
  }

  static ReturnCode openAt(ScsiTarget& device, std::uint8_t host, std::uint8_t bus, std::uint64_t id,
                           std::uint64_t lun = 0) {
    return device.openDevice(host, id, bus, lun, nullptr, OPEN_READ_WRITE);
  }
  /// A drive of these options at H0-B0-T5-L0 with a cartridge, reached by `target` and, if the maker's driver
  /// presents it, by `driver`.
  simulator::VirtualDrive& openDrive(simulator::DeviceOptions identity, bool byDriver = false) {
    identity.target = 5;
    identity.claimed = byDriver;
    identity.driver = simulator::DriverOptions{};
    auto& drive = room.addDrive(identity, {.cartridge = true});
    if (byDriver) {
      EXPECT_EQ(driver.openDevice(R"(\\.\Tape0)", OPEN_READ_WRITE), CMD_OK);
    } else {
      EXPECT_EQ(openAt(target, 0, 0, 5), CMD_OK);
    }
    room.journal().clear();
    return drive;
  }
  /// A handle of the scripted driver.
  HANDLE scripted() {
    if (scriptedHandle == nullptr) scriptedHandle = script.open();
    return scriptedHandle;
  }
  /// The calls since the last look.
  std::vector<std::string> calls() {
    auto lines = room.journal().lines();
    room.journal().clear();
    return lines;
  }

  /// Records what an operation results in, the calls that it makes, the data that they send, and the log.
  template <typename Operation>
  void observe(const std::string& what, Operation operation) {
    room.journal().clear();
    ReturnCode result = CMD_ERROR;
    const auto log = logOf([&] { result = operation(); });
    std::vector<std::string> made;
    for (const auto& entry : room.journal().entries()) {
      made.push_back(entry.line());
      if (!entry.dataOut.empty()) made.push_back("  < " + hex(entry.dataOut));
    }
    record(what, result, made, log);
  }

  simulator::Room room;
  ScriptedDriver script;
  ScsiTarget target;
  QORScsiTarget driver;
  DeviceController controller;
  Record record;

 private:
  HANDLE scriptedHandle = nullptr;
};

/// The twin that a command makes for the maker's driver.
inline std::unique_ptr<QORScsiCommand> twinOf(GenericScsiCommand& command) {
  return std::unique_ptr<QORScsiCommand>(command.createQORCommand());
}

/// A room test in a working directory of its own, where firmware images and tables lie.
class UpdateTest : public RoomTest {
 protected:
  /// Lays down a firmware image that brings a drive to a level.
  void writeImage(const std::string& level, std::size_t size, const std::string& name = "image.bin") const {
    const Bytes image = simulator::makeFirmwareImage(level, size);
    directory.write(name, {reinterpret_cast<const char*>(image.data()), image.size()});
  }

  /// These lines with "(here)" for the working directory.
  static std::vector<std::string> here(std::vector<std::string> lines) {
    char name[512];
    const std::string path = _getcwd(name, sizeof name);
    for (std::string& line : lines) {
      if (const auto at = line.find(path); at != std::string::npos) line.replace(at, path.size(), "(here)");
    }
    return lines;
  }

  WorkingDirectory directory;
};
