#include "kiv/tape/partitions.h"

#include "kiv/tape/driver_partitions.h"
#include "kiv/tape/positioning.h"
#include "tests/support/room_test.h"

namespace {

constexpr std::uint8_t SENSE = 24;

/// Partitions of 100, 101, ... units, the last of which takes what is left.
struct Layout : TapeCmdCreatePartition {
  Layout(ScsiTarget& device, std::uint8_t additional, std::uint8_t method, std::uint8_t type = 2)
      : TapeCmdCreatePartition(&device, SENSE) {
    setAdditionalPartitionsDefined(additional);
    setDataPartitionType(method);
    setPartitionType(type);
    setPartitionUnits(0xF9);
    for (std::uint16_t i = 0; i < additional; ++i) setSize(i, static_cast<std::uint16_t>(100 + i));
    setSize(additional, 0xFFFF);
    setSize(static_cast<std::uint16_t>(additional + 1), 8);
  }
};

class Partitions : public RoomTest {
 protected:
  void create(const std::string& what, Layout command) {
    command.gotParameters = false;
    observe("create " + what, [&] { return command.createPartitions(); });
    TELL(command.gotParameters, command.numberPartitions, command.getExecutionStatus(),
         command.getSenseDataLength());
  }
  void query(const std::string& what, CmdQueryTapePartition command) {
    observe("query " + what, [&] { return command.getParameters(); });
    std::uint8_t most = 99, active = 99, method = 99, units = 99, type = 99;
    std::uint16_t additional = 99, number = 99;
    TELL(command.getMaxAddPartitions(most), command.getAdditionalPartitionsDefined(additional),
         command.getNumberOfPartitions(number), command.getActivePartition(active));
    TELL(command.getDataPartitionType(method), command.getPartitionUnits(units),
         command.getPartitionType(type));
    TELL(command.getSenseDataLength(), most, additional, number, active, method, units, type);
    for (std::uint16_t i = 0; i <= number % 99 + 1; ++i) {
      std::uint16_t size = 99;
      const ReturnCode result = command.getSize(i, size);
      TELL(i, result, size);
    }
  }
};

TEST_F(Partitions, AreCreatedAndReadBack) {
  auto& drive = openDrive({.model = "ULTRIUM-PX6"});
  for (std::uint8_t additional = 0; additional <= 3; ++additional) {
    create("as the drive has it", Layout(target, additional, 0));
    query("", {&target, SENSE});
  }
  for (const std::uint8_t method : std::initializer_list<std::uint8_t>{1, 2, 3})
    create("method", Layout(target, 1, method));
  // The partition that the tape stands in.
  TapeCmdLocate16 locate(false, 0, 1);
  EXPECT_EQ(target.scsiExecCDB(locate), CMD_OK);
  query("in the second", {&target, SENSE});
  for (const bool labelled : {false, true})
    record("values", logOf([&] { Layout(target, 1, 3).printValues(labelled); }));
  TELL(drive.medium()->partitions().size());
  for (int setter = 0; setter < 7; ++setter) {  // a record that anything was put into holds values
    TapeCmdCreatePartition made(&target, SENSE);
    if (setter == 1) made.setAdditionalPartitionsDefined(1);
    if (setter == 2) made.setDataPartitionType(1);
    if (setter == 3) made.setPartitionType(1);
    if (setter == 4) made.setNumberPartitions(1);
    if (setter == 5) made.setSize(256, 1);
    if (setter == 6) made.setPartitionUnits(1);
    TELL(setter, made.gotParameters);
  }
}

TEST_F(Partitions, ExtendTheUnitsOfAnR477) {
  openDrive({.model = "R477-W14"});
  for (const std::uint8_t type : std::initializer_list<std::uint8_t>{2, 1})
    create("type", Layout(target, 0, 0, type));
}

TEST_F(Partitions, EndWhereACommandFails) {
  openDrive({.model = "ULTRIUM-PX6"});
  for (const Sense& sense : {Sense{5, 0x26, 0x00}, Sense{1, 0x37, 0x00}}) {
    for (const char* failing : {"1A 08 11", "15", "04", "1A 08 10"}) {
      room.addFault({.cdb = failing, .sense = sense});
      create(failing, Layout(target, 1, 1));
      query(failing, {&target, SENSE});
      room.faults().clear();
    }
  }
}

/// Absent, cut before its sizes, another page, longer than what arrived: the medium is left alone.
TEST_F(Partitions, BelieveNoPageThatDidNotArrive) {
  openDrive({.model = "ULTRIUM-PX6"});
  for (const char* reply :
       {"00", "0A 00 10 00 91 0E 03 FF 3C 03 09", "0F 00 10 00 90 0E 03 FF 3C 03 39 00 00 01 00 02",
        "0F 00 10 00 91 0E 03 FF 3C 03 39 00 00 01 00 02",
        "FF 00 10 00 91 FF 03 FF 3C 03 39 00 00 01 00 02"}) {
    room.addFault({.cdb = "1A 08 11", .times = 2, .reply = bytes(reply)});
    create(reply, Layout(target, 1, 1));
    query(reply, {&target, SENSE});
    room.faults().clear();
  }
}

TEST_F(Partitions, GoThroughTheDriver) {
  auto& drive = openDrive({.model = "R477-W14"}, true);
  const auto failOnce = [&] { room.addFault({.call = "0x001FE098", .error = ERROR_NOT_SUPPORTED}); };
  failOnce();
  create("with the partition type", Layout(driver, 1, 1));
  query("", {&driver, SENSE});
  // Neither a record without a method nor the retry with a partition type of 0 may only format.
  create("without a method", Layout(driver, 1, 0, 0));
  create("of the first type", Layout(driver, 1, 1, 1));
  query("", {&driver, SENSE});
  failOnce();
  create("again", Layout(driver, 1, 1, 0));
  TELL(drive.medium()->partitions().size(), QORTapeCmdCreatePartition(Layout(driver, 1, 1)).getTimeOut());

  for (const std::uint32_t partition : {1u, 7u}) {
    QORTapeCmdChangePartition change(partition, 0);
    observe("change", [&] { return driver.scsiExecCmd(change); });
    TELL(partition, change.getTimeOut(), drive.partitionNumber());
    query("", {&driver, SENSE});
  }
  room.addFault({.call = "DeviceIoControl", .times = 0, .error = ERROR_NOT_READY});
  create("refused", Layout(driver, 1, 1));
  query("refused", {&driver, SENSE});
}

}  // namespace
