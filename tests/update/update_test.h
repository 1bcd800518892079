#pragma once

#include <gtest/gtest.h>

#include <string>

#include "kiv/device/controller.h"
#include "kiv/kiv.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"
#include "tests/support/working_directory.h"

/// A tape room and a working directory for one test; the library is as after its loading, before and after.
class UpdateTest : public testing::Test {
 protected:
  ~UpdateTest() override {
    logger->setLogLevel(LOG_NONE);
    kivFini();
    automationReadyMode = true;
    libraryMode = false;
    EXPECT_EQ(room.openHandles(), 0u);
  }

  /// Lays down a firmware image that brings a drive to a level.
  void writeImage(const std::string& level, std::size_t size, const std::string& name = "image.bin") const {
    const simulator::Bytes image = simulator::makeFirmwareImage(level, size);
    directory.write(name, {reinterpret_cast<const char*>(image.data()), image.size()});
  }

  simulator::Room room;
  WorkingDirectory directory;
};
