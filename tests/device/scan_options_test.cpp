// What a scan covers.
#include "tests/support/room_test.h"

namespace {

class ScanOptions : public RoomTest {};

TEST_F(ScanOptions, ChooseModeAndRange) {
  const struct {
    bool driver;
    const char *start, *end, *exclude;
  } rows[] = {
      {true, "", "", ""},
      {false, "nonsense", "tape0", ""},
      {true, "", R"(\\.\CHANGER12)", ""},
      {false, R"(\\.\tape2)", R"(\\.\Tape0x10)", ""},
      {false, R"(\\.\tape)", R"(\\.\tape999)", ""},
      {true, R"(\\.\tape2)", "1 0 5 0", ""},
      {true, "1 0 5 0", "H1-B0-T6-L0", ""},
      {true, "H0x2-B3-T4-L5", "", ""},
      {true, " 1   0  5 0  9 ", "H-B1-T-L2-X7", ""},
      {true, "300 0 99999999999 0", "-1 1 2 3", ""},
      {true, "", "", R"(\\.\tape0:name)"},
      {true, "", "", R"(\\.\tape0:1 0 5 0)"},
      {true, R"(\\.\tape2)", "", "H1-B0-T5-L0"},
      {false, "", "", R"(\\.\tape0:1 0  05 0x1:H2-B0-T5-L3)"},
  };
  for (const auto& row : rows) {
    record("from '" + std::string(row.start) + "' to '" + row.end + "' but '" + row.exclude + "'",
           logOf([&] { controller.parseScanOptions(true, row.driver, row.start, row.end, row.exclude); }));
    record("  mode, first, last", controller.getScanMode(), controller.isForceRescan(),
           controller.getFirstHostAdapter2Scan(), controller.getFirstBusNumber2Scan(),
           controller.getFirstTargetId2Scan(), controller.getFirstLun2Scan(),
           controller.getFirstQORDevice2Scan(), controller.getLastHostAdapter2Scan(),
           controller.getLastBusNumber2Scan(), controller.getLastTargetId2Scan(),
           controller.getLastLun2Scan(), controller.getLastQORDevice2Scan());
  }
}

TEST_F(ScanOptions, TellNamesApart) {
  for (const char* name : {R"(\\.\tape0)", R"(\\.\Changer)", R"(\\.\TAPES)", "", "tape0", R"(\\.\scsi0:)",
                           R"( \\.\tape0)", "1 2 3 4", "   ", "H1-B2-T3-L4", "H-B-T-L", "1 2 3 4 5", "1 2 3",
                           "h1-b2-t3-l4", "H1-B2-T3", "xH1-B2-T3-L4"})
    record(name, controller.isQORDeviceName(name), controller.isGenericDeviceName(name));
}

TEST_F(ScanOptions, SelectDevices) {
  const char* const scans[][3] = {{"H1-B0-T5-L0", "H1-B0-T6-L0", ""},
                                  {"", "", ""},
                                  {R"(\\.\tape0)", "", ""},
                                  {R"(\\.\tape2)", R"(\\.\tape4)", R"(\\.\tape3)"},
                                  {"", R"(\\.\tape4)", ""},
                                  {"", "", R"(\\.\tape0:1 0  05 0x1:H2-B0-T5-L3)"},
                                  {"", "", ""}};  // the list of an earlier scan stays
  const std::uint8_t addresses[][4] = {{1, 0, 5, 0}, {1, 0, 5, 77}, {1, 0, 6, 0}, {1, 0, 6, 1}, {1, 0, 4, 9},
                                       {0, 0, 5, 0}, {1, 1, 5, 0},  {2, 0, 5, 0}, {1, 0, 5, 1}, {1, 1, 5, 1},
                                       {0, 0, 5, 1}, {2, 0, 5, 3},  {2, 0, 5, 4}};
  for (const auto& [start, end, exclude] : scans) {
    for (const bool withDriver : {false, true}) {
      controller.parseScanOptions(false, withDriver, start, end, exclude);
      std::string devices;
      for (const auto& [host, bus, id, lun] : addresses) {
        devices += controller.isGenericDevicePartOfScan(host, bus, id, lun)  ? " in"
                   : controller.isDeviceNotInExcludeList(host, bus, id, lun) ? " out"
                                                                             : " excluded";
      }
      for (const char* name : {R"(\\.\tape2)", R"(\\.\Tape4)", R"(\\.\tape1)", R"(\\.\tape5)", R"(\\.\tape3)",
                               R"(\\.\changer2)", R"(\\.\tape)", R"(\\.\tape0)", "anything"}) {
        devices += controller.isQORDevicePartOfScan(name)      ? " in"
                   : controller.isDeviceNotInExcludeList(name) ? " out"
                                                               : " excluded";
      }
      record("'" + std::string(start) + "' '" + end + "' '" + exclude +
             (withDriver ? "' with driver:" : "':") + devices);
    }
  }
  controller.parseScanOptions(false, true, "", "", R"(\\.\tape0)");
  record("excluded", logOf([&] { controller.isDeviceNotInExcludeList(R"(\\.\tape0)"); }));
}

}  // namespace
