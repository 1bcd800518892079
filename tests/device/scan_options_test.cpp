// What a scan covers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/device/controller.h"
#include "tests/support/captured_output.h"

using testing::HasSubstr;

namespace {

TEST(ScanOptions, ChooseModeAndRange) {
  const std::string low = "H0-B0-T0-L0", high = "H255-B255-T4294967295-L4294967295", all = "0 ==> 255";
  const struct {
    bool driver;
    const char *start, *end, *exclude;
    int mode;
    std::string first, last, devices;
  } rows[] = {
      {true, "", "", "", 0, low, high, all},
      {false, "nonsense", "tape0", "", 1, low, high, all},
      {true, "", R"(\\.\CHANGER12)", "", 2, low, high, "0 ==> 12"},
      {false, R"(\\.\tape2)", R"(\\.\Tape0x10)", "", 2, low, high, "2 ==> 16"},
      {false, R"(\\.\tape)", R"(\\.\tape999)", "", 2, low, high, "0 ==> 255"},
      {true, R"(\\.\tape2)", "1 0 5 0", "", 2, low, high, "2 ==> 1"},
      {true, "1 0 5 0", "H1-B0-T6-L0", "", 3, "H1-B0-T5-L0", "H1-B0-T6-L0", all},
      {true, "H0x2-B3-T4-L5", "", "", 3, "H2-B3-T4-L5", high, all},
      {true, " 1   0  5 0  9 ", "H-B1-T-L2-X7", "", 3, "H1-B0-T5-L0", "H255-B1-T4294967295-L2", all},
      {true, "300 0 99999999999 0", "-1 1 2 3", "", 3, "H255-B0-T4294967295-L0", "H1-B1-T2-L3", all},
      {true, "", "", R"(\\.\tape0:name)", 0, low, high, all},
      {true, "", "", R"(\\.\tape0:1 0 5 0)", 3, low, high, all},
      {true, R"(\\.\tape2)", "", "H1-B0-T5-L0", 3, low, high, all},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.start << " ==> " << row.end << " without " << row.exclude);
    DeviceController controller;
    CapturedOutput output;
    {
      LogLevel level(LOG_INFO);
      controller.parseScanOptions(true, row.driver, row.start, row.end, row.exclude);
    }
    EXPECT_EQ(controller.getScanMode(), row.mode);
    EXPECT_TRUE(controller.isForceRescan());
    const char* const labels[] = {"FULL", "GENERIC", "PARTIAL QOR", "PARTIAL GENERIC"};
    EXPECT_THAT(
        output.text(),
        HasSubstr(std::string("Scan Mode:") + labels[row.mode] + "  from GENERIC: " + row.first + " ==> " +
                  row.last + "  from QOR device: " + row.devices + "  exclude==>" + row.exclude + "\n"));
  }
}

TEST(ScanOptions, TellNamesApart) {
  DeviceController controller;
  for (const char* name : {R"(\\.\tape0)", R"(\\.\Changer)", R"(\\.\TAPES)"})
    EXPECT_TRUE(controller.isQORDeviceName(name));
  for (const char* name : {"", "tape0", R"(\\.\scsi0:)", R"( \\.\tape0)"})
    EXPECT_FALSE(controller.isQORDeviceName(name));
  for (const char* name : {"1 2 3 4", "   ", "H1-B2-T3-L4", "H-B-T-L", "1 2 3 4 5"})
    EXPECT_TRUE(controller.isGenericDeviceName(name)) << name;
  for (const char* name : {"", "1 2 3", "h1-b2-t3-l4", "H1-B2-T3", "xH1-B2-T3-L4"})
    EXPECT_FALSE(controller.isGenericDeviceName(name)) << name;
}

TEST(ScanOptions, CompareAddressesAsTuples) {
  DeviceController controller;
  controller.parseScanOptions(false, false, "H1-B0-T5-L0", "H1-B0-T6-L0", "");
  const struct {
    std::uint8_t host, bus;
    std::uint64_t target, lun;
    bool inside;
  } rows[] = {{1, 0, 5, 0, true},  {1, 0, 5, 77, true}, {1, 0, 6, 0, true},  {1, 0, 6, 1, false},
              {1, 0, 4, 9, false}, {0, 0, 5, 0, false}, {1, 1, 5, 0, false}, {2, 0, 5, 0, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(controller.isGenericDevicePartOfScan(row.host, row.bus, row.target, row.lun), row.inside)
        << int{row.host} << int{row.bus} << row.target << row.lun;
  }
  controller.parseScanOptions(false, false, "", "", "");
  EXPECT_TRUE(controller.isGenericDevicePartOfScan(9, 9, 9, 9));
  controller.parseScanOptions(false, false, R"(\\.\tape0)", "", "");
  EXPECT_FALSE(controller.isGenericDevicePartOfScan(0, 0, 0, 0));
}

TEST(ScanOptions, Exclude) {
  DeviceController controller;
  CapturedOutput output;
  {
    LogLevel level(LOG_INFO);
    controller.parseScanOptions(false, false, "", "", R"(\\.\tape0:1 0  05 0x1:H2-B0-T5-L3)");
    EXPECT_FALSE(controller.isDeviceNotInExcludeList(R"(\\.\tape0)"));
  }
  EXPECT_TRUE(controller.isDeviceNotInExcludeList(R"(\\.\Tape0)"));
  EXPECT_TRUE(controller.isDeviceNotInExcludeList(R"(\\.\tape)"));
  EXPECT_FALSE(controller.isDeviceNotInExcludeList(1, 0, 5, 1));
  EXPECT_FALSE(controller.isGenericDevicePartOfScan(2, 0, 5, 3));
  EXPECT_TRUE(controller.isGenericDevicePartOfScan(2, 0, 5, 4));
  for (const char* entry : {R"(Parse exclude \\.\tape0)", "Parse exclude 1 0  05 0x1",
                            "Parse exclude H2-B0-T5-L3", "Parse exclude HBTL H2-B0-T5-L3",
                            "Parse exclude value 3", "Parse exclude parsed value HBTL H2-B0-T5-L3",
                            R"(SCSI Scan device is part of exclude list <\\.\tape0>)"})
    EXPECT_THAT(output.text(), HasSubstr(entry));

  controller.parseScanOptions(false, false, "", "", "");
  EXPECT_TRUE(controller.isDeviceNotInExcludeList(R"(\\.\tape0)")) << "the list of an earlier scan is gone";
}

TEST(ScanOptions, SelectDriverDevices) {
  DeviceController controller;
  controller.parseScanOptions(false, true, R"(\\.\tape2)", R"(\\.\tape4)", R"(\\.\tape3)");
  const std::pair<const char*, bool> rows[] = {
      {R"(\\.\tape2)", true},  {R"(\\.\Tape4)", true},     {R"(\\.\tape1)", false}, {R"(\\.\tape5)", false},
      {R"(\\.\tape3)", false}, {R"(\\.\changer2)", false}, {R"(\\.\tape)", false}};
  for (const auto& [name, inside] : rows) EXPECT_EQ(controller.isQORDevicePartOfScan(name), inside) << name;
  controller.parseScanOptions(false, true, "", R"(\\.\tape4)", "");
  EXPECT_FALSE(controller.isQORDevicePartOfScan(R"(\\.\tape2)")) << "the start text gives no prefix";
  controller.parseScanOptions(false, true, "", "", "");
  EXPECT_TRUE(controller.isQORDevicePartOfScan("anything"));
  controller.parseScanOptions(false, false, "", "", "");
  EXPECT_FALSE(controller.isQORDevicePartOfScan(R"(\\.\tape2)"));
}

}  // namespace
