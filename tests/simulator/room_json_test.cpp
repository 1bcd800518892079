#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/room/room.h"

namespace simulator {
namespace {

using testing::IsSupersetOf;

TEST(RoomJson, BuildsWhatItDescribes) {
  const auto room = Room::fromJson(R"({
    "adapters": [{"buses": 2, "maximumPhysicalPages": 17}],
    "drives": [{"bus": 1, "target": 5, "model": "ULTRIUM-PX3", "interface": "SAS", "claimed": true,
                "serial": "S1", "loadId": "0xA1700D76", "cartridge": true, "afterDownload": "never returns"}],
    "changers": [{"target": 6, "className": "Changer7", "driver": {"version": "1.2"}, "bays": ["", "S1"],
                  "slots": {"first": "0x2000", "count": 2},
                  "cartridges": [{"element": "0x2001", "barcode": "QOR001L3"}]}],
    "dosNames": ["COM3"],
    "faults": [{"cdb": "00", "nth": 2, "sense": "02 04 01"}]
  })");
  EXPECT_EQ(room->adapter(0).options().buses, 2);
  ASSERT_EQ(room->devices().size(), 2u);
  const auto* drive = dynamic_cast<const VirtualDrive*>(room->devices()[0].get());
  ASSERT_TRUE(drive);
  EXPECT_TRUE(drive->loaded());
  EXPECT_EQ(drive->address(), "H0-B1-T5-L0");
  EXPECT_EQ(drive->options().level, "A1B2");
  const auto* library = dynamic_cast<const VirtualChanger*>(room->devices()[1].get());
  ASSERT_TRUE(library);
  EXPECT_EQ(library->options().driver->version, "1.2");
  EXPECT_EQ(library->elements().at(0x101).drive, drive);
  EXPECT_EQ(library->elements().at(0x2001).medium()->options().barcode, "QOR001L3");
  EXPECT_THAT(room->dosNames(), IsSupersetOf({"C:", "Scsi0:", "Tape0", "Changer7", "COM3"}));
}

TEST(RoomJson, NamesTheKeyAtFault) {
  const struct {
    const char* text;
    const char* sentence;
  } cases[] = {
      {"{\n\"drives\": [\n}", "The text is not JSON: look at line 3."},
      {"[]", "The text must be an object in {}."},
      {R"({"drive": []})", R"(The key "drive" is unknown.)"},
      {R"({"drives": {}})", R"(The key "drives" must be a list in [].)"},
      {R"({"drives": [1]})", R"(The key "drives[0]" must be an object in {}.)"},
      {R"({"drives": [{}, {"target": 1, "modle": "X"}]})", R"(The key "drives[1].modle" is unknown.)"},
      {R"({"drives": [{"target": 256}]})",
       R"(The key "drives[0].target" must be a whole number from 0 to 255.)"},
      {R"({"drives": [{"target": -1}]})",
       R"(The key "drives[0].target" must be a whole number from 0 to 255.)"},
      {R"({"drives": [{"loadId": "0xZ"}]})",
       R"(The key "drives[0].loadId" must be a whole number from 0 to 4294967295.)"},
      {R"({"drives": [{"claimed": "yes"}]})", R"(The key "drives[0].claimed" must be true or false.)"},
      {R"({"drives": [{"level": "A1B23"}]})", R"(The key "drives[0].level" must have at most 4 characters.)"},
      {R"({"drives": [{"interface": "USB"}]})",
       R"(The key "drives[0].interface" must be one of "FC", "SAS", "SCSI".)"},
      {R"({"drives": [{}], "disks": [{}]})",
       R"(The key "disks[0]" cannot be placed: there is a device at H0-B0-T0-L0 already.)"},
      {R"({"changers": [{"slots": {"last": 1}}]})", R"(The key "changers[0].slots.last" is unknown.)"},
      {R"({"changers": [{"bays": ["X"]}]})",
       R"(The key "changers[0].bays[0]" must be the serial number of a drive in "drives".)"},
      {R"({"changers": [{"cartridges": [{"element": 9}]}]})",
       R"(The key "changers[0]" cannot be placed: there is no element 9 for a cartridge.)"},
      {R"({"dosNames": [3]})", R"(The key "dosNames[0]" must be a text in double quotes.)"},
      {R"({"faults": [{"cdb": "12", "reply": "0"}]})",
       R"(The key "faults[0].reply" must be pairs of hexadecimal digits.)"},
      {R"({"faults": [{"error": 5}]})",
       R"(The key "faults[0].cdb" or the key "call" must say where the fault strikes.)"},
  };
  for (const auto& row : cases) {
    try {
      Room::fromJson(row.text);
      ADD_FAILURE() << row.text << " was accepted";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), row.sentence);
    }
    EXPECT_EQ(Room::current(), nullptr) << "a room that failed still stands";
  }
}

TEST(RoomJson, DefaultRoomHasSomethingOfEverything) {
  const auto room = Room::byDefault();
  unsigned drives = 0;
  unsigned claimed = 0;
  unsigned sas = 0;
  unsigned others = 0;
  for (const auto& device : room->devices()) {
    if (device->type() != typeTape) {
      ++others;
      continue;
    }
    ++drives;
    claimed += device->options().claimed;
    sas += device->options().interface == Interface::Sas;
  }
  EXPECT_GE(drives, 4u);
  EXPECT_GE(claimed, 1u);
  EXPECT_GE(sas, 1u);
  EXPECT_LT(sas, drives);
  EXPECT_EQ(others, 2u);
}

}  // namespace
}  // namespace simulator
