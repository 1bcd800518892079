#pragma once

#include <string>
#include <vector>

#include "kiv/kiv_c.h"
#include "tests/support/room_test.h"

/// A structure as a host hands it over.
template <typename Structure>
Structure sized() {
  Structure structure = {};
  structure.size = sizeof structure;
  return structure;
}

class CInterfaceTest : public UpdateTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(kiv_close(), KIV_OK);
    UpdateTest::TearDown();
  }
  static kiv_info infoAt(std::uint32_t index) {
    auto info = sized<kiv_info>();
    EXPECT_EQ(kiv_device_info(kiv_device_at(index), &info), KIV_OK);
    return info;
  }
};
