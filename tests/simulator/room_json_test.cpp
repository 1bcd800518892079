#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/conversation.h"

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

// clang-format off
TEST(RoomJson, NamesTheKeyAtFault) {
  const struct {
    const char* text;  // with ' for "
    const char* key;  // empty: the whole sentence follows
    const char* complaint;
  } cases[] = {
    {"{\n'drives': [\n}", "", "The text is not JSON: look at line 3."},
    {"[]", "", "The text must be an object in {}."},
    {"{'drive': []}", "drive", "is unknown"},
    {"{'drives': {}}", "drives", "must be a list in []"},
    {"{'drives': [1]}", "drives[0]", "must be an object in {}"},
    {"{'drives': [{}, {'target': 1, 'modle': 'X'}]}", "drives[1].modle", "is unknown"},
    {"{'drives': [{'target': 256}]}", "drives[0].target", "must be a whole number from 0 to 255"},
    {"{'drives': [{'target': -1}]}", "drives[0].target", "must be a whole number from 0 to 255"},
    {"{'drives': [{'loadId': '0xZ'}]}", "drives[0].loadId", "must be a whole number from 0 to 4294967295"},
    {"{'drives': [{'claimed': 'yes'}]}", "drives[0].claimed", "must be true or false"},
    {"{'drives': [{'level': 'A1B23'}]}", "drives[0].level", "must have at most 4 characters"},
    {"{'drives': [{'interface': 'USB'}]}", "drives[0].interface", "must be one of 'FC', 'SAS', 'SCSI'"},
    {"{'drives': [{}], 'disks': [{}]}", "disks[0]", "cannot be placed: there is a device at H0-B0-T0-L0 already"},
    {"{'changers': [{'slots': {'last': 1}}]}", "changers[0].slots.last", "is unknown"},
    {"{'changers': [{'bays': ['X']}]}", "changers[0].bays[0]", "must be the serial number of a drive in 'drives'"},
    {"{'changers': [{'cartridges': [{'element': 9}]}]}",
     "changers[0]", "cannot be placed: there is no element 9 for a cartridge"},
    {"{'adapters': [{'buses': 0}]}", "adapters[0].buses", "must be a whole number from 1 to 255"},
    {"{'drives': [{'bus': 255}]}", "drives[0].bus", "must be a whole number from 0 to 254"},
    {"{'drives': [{'qualifier': 8}]}", "drives[0].qualifier", "must be a whole number from 0 to 7"},
    {"{'drives': [{'claimed': true}, {'target': 1, 'claimed': true, 'className': 'TAPE0'}]}",
     "drives[1]", "cannot be placed: there is a device TAPE0 already"},
    {"{'changers': [{'slots': {'first': 65530, 'count': 7}}]}",
     "changers[0]", "cannot be placed: there are elements beyond 65535"},
    {"{'changers': [{'slots': {'first': 250, 'count': 7}}]}",
     "changers[0]", "cannot be placed: two elements have the address 256"},
    {"{'changers': [{'robots': {'first': 10000, 'count': 128}}]}",
     "changers[0]", "cannot be placed: there are more than 127 robots"},
    {"{'drives': [{'serial': 'S1'}], 'changers': [{'target': 1, 'bays': ['S1', 'S1']}]}",
     "changers[0]", "cannot be placed: two bays have a drive with the serial number S1"},
    {"{'drives': [{'serial': 'S1'}], 'changers': [{'target': 1, 'bays': ['S1']}, {'target': 2, 'bays': ['S1']}]}",
     "changers[1]", "cannot be placed: two bays have a drive with the serial number S1"},
    {"{'changers': [{'cartridges': [{'element': 16}, {'element': 16}]}]}",
     "changers[0].cartridges[1].element", "has a cartridge already"},
    {"{'changers': [{'cartridges': [{'element': 16, 'barcode': 'A'}, {'element': 17, 'barcode': 'A'}]}]}",
     "changers[0].cartridges[1].barcode", "is on another cartridge already"},
    {"{'faults': [{'cdb': '12', 'nth': 0, 'delay': 1}]}",
     "faults[0].nth", "must be a whole number from 1 to 4294967295"},
    {"{'faults': [{'cdb': '12 0', 'delay': 1}]}",
     "faults[0].cdb", "must be pairs of hexadecimal digits, ?? for any byte"},
    {"{'faults': [{'call': 'Sleep', 'delay': 1}]}", "faults[0].call", "names no call that a fault can strike"},
    {"{'faults': [{'call': 'ReadFile', 'status': 8}]}",
     "faults[0].call", "cannot have a 'sense', 'status' or 'vanish'"},
    {"{'faults': [{'cdb': '12'}]}",
     "faults[0].cdb", "or 'call' has no effect: say one, such as 'sense' or 'error'"},
    {"{'dosNames': [3]}", "dosNames[0]", "must be a text in double quotes"},
    {"{'faults': [{'cdb': '12', 'reply': '0'}]}", "faults[0].reply", "must be pairs of hexadecimal digits"},
    {"{'faults': [{'error': 5}]}", "faults[0].cdb", "or the key 'call' must say where the fault strikes"},
  };
  // clang-format on
  for (const auto& row : cases) {
    const auto quoted = [](std::string text) {
      std::ranges::replace(text, '\'', '"');
      return text;
    };
    const std::string named = std::string("The key '") + row.key + "' " + row.complaint + ".";
    const std::string sentence = quoted(*row.key ? named : row.complaint);
    try {
      Room::fromJson(quoted(row.text));
      ADD_FAILURE() << row.text << " was accepted";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), sentence);
    }
    EXPECT_EQ(Room::current(), nullptr) << "a room that failed still stands";
  }
}

// BUSY and unit attentions at the nth use of any command, patterns with and without blanks, codes in any
// case.
TEST(RoomJson, FaultsStrikeWhatTheyName) {
  const auto room = Room::fromJson(R"({
    "drives": [{"reserved": true}, {"target": 1, "removalPrevented": true, "cartridge": true}],
    "faults": [{"device": "H0-B0-T1-L0", "cdb": "??", "nth": 2, "status": 8},
               {"device": "H0-B0-T1-L0", "cdb": "??", "nth": 3, "sense": "06 29 00"},
               {"cdb": "120180", "sense": "062900"}, {"call": "0x41010", "error": 5}]
  })");
  Conversation reserved("\\\\.\\scsi0:", room->devices()[0]->options());
  reserved.follow(
      {{"00 00 00 00 00 00", "status 18"}, {"12 01 80 00 FF 00", "6/29/00"}, {"12 01 80 00 FF 00", "01 80"}});
  Conversation prevented("\\\\.\\scsi0:", room->devices()[1]->options());
  prevented.follow({{"1B 00 00 00 00 00", "5/53/02"},
                    {"12 00 00 00 24 00", "status 08"},
                    {"4D 00 40 00 00 00 00 00 FF 00", "6/29/00"}});
  IO_SCSI_CAPABILITIES capabilities{};
  EXPECT_EQ(reserved.receive(IOCTL_SCSI_GET_CAPABILITIES, capabilities), DWORD{ERROR_ACCESS_DENIED});
}

TEST(RoomJson, DefaultRoomHasSomethingOfEverything) {
  const auto room = Room::byDefault();
  std::set<std::tuple<PeripheralType, bool, Interface>> kinds;
  for (const auto& device : room->devices()) {
    kinds.insert({device->type(), device->options().claimed, device->options().interface});
  }
  EXPECT_EQ(kinds.size(), 5u) << "drives on FC and SAS, claimed and not, a library, a disk";
}

}  // namespace
}  // namespace simulator
