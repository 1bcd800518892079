#pragma once

#include <regex>
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
  /// A sentence without the system's own wording of an error.
  static std::string said(const std::string& text) {
    return std::regex_replace(text, std::regex(R"([^(:;,]*\(Windows error)"), "text (Windows error");
  }
  static std::string senseOf(const kiv_sense& sense) {
    return sense.valid ? hex(std::array{sense.key, sense.asc, sense.ascq}) : "no sense";
  }
  /// Records how a call ended and, if it failed, what the last error tells.
  void tellResult(const std::string& what, std::int32_t result) {
    record(what, kiv_result_name(result));
    EXPECT_EQ(room.openHandles(), 0u) << what;
    if (result == KIV_OK) return;
    auto error = sized<kiv_error>();
    EXPECT_EQ(kiv_last_error(&error), KIV_OK);
    record("  error", kiv_result_name(error.result), error.windows_error, senseOf(error.sense),
           said(error.text));
  }
  void tellDevices(const std::string& what) {
    record(what);
    for (std::uint32_t i = 0; i < kiv_device_count(); ++i) {
      const kiv_info d = infoAt(i);
      record("  device", d.type, d.reachable, d.windows_error, d.through_driver, d.adapter, d.bus, d.target,
             d.lun, d.maximum_transfer, d.supported_index, d.configured, d.in_library, d.element);
      record("   ", d.library_serial, d.vendor, d.product, d.level, d.serial, d.interface_type,
             d.product_string, d.component, d.path);
    }
  }
};
