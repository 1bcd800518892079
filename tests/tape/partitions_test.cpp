#include "kiv/tape/partitions.h"

#include <gmock/gmock.h>

#include "kiv/device/driver_target.h"
#include "kiv/tape/driver_partitions.h"
#include "simulator/room/room.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr std::uint8_t SENSE = 32;

class Partitions : public testing::Test {
 protected:
  simulator::VirtualDrive& addDrive(const char* model) {
    auto& drive = room.addDrive({.target = 5, .model = model, .driver = simulator::DriverOptions{}},
                                {.cartridge = true});
    EXPECT_EQ(target.openDevice(0, 5, 0, 0, "", 1), CMD_OK);
    room.journal().clear();
    return drive;
  }
  /// The bytes of the last MODE SELECT list.
  std::string selected() {
    std::string list;
    for (const auto& entry : room.journal().entries()) {
      if (!entry.cdb.empty() && entry.cdb[0] == 0x15) list = hex(entry.dataOut);
    }
    return list;
  }
  ~Partitions() override {
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }

  simulator::Room room;
  ScsiTarget target;
};

TEST_F(Partitions, CreatesAndReadsThemBack) {
  auto& drive = addDrive("ULTRIUM-PX6");
  for (std::uint8_t count = 1; count <= 4; ++count) {
    TapeCmdCreatePartition create(&target, SENSE);
    create.setAdditionalPartitionsDefined(static_cast<std::uint8_t>(count - 1));
    create.setDataPartitionType(1);
    create.setPartitionUnits(9);
    for (std::uint16_t i = 0; i + 1 < count; ++i) create.setSize(i, static_cast<std::uint16_t>(100 + i));
    create.setSize(static_cast<std::uint16_t>(count - 1), 0xFFFF);
    EXPECT_EQ(create.createPartitions(), CMD_OK);
    EXPECT_THAT(drive.medium()->partitions(), SizeIs(count));

    CmdQueryTapePartition query(&target, SENSE);
    std::uint16_t partitions = 0;
    EXPECT_EQ(query.getNumberOfPartitions(partitions), NO_PARTITION_VALUES);
    EXPECT_EQ(partitions, 0) << "left alone";
    ASSERT_EQ(query.getParameters(), CMD_OK);
    EXPECT_EQ(query.getNumberOfPartitions(partitions), CMD_OK);
    EXPECT_EQ(partitions, count);
    std::uint16_t size = 0;
    EXPECT_EQ(query.getSize(0, size), CMD_OK);
    if (count > 1) {
      EXPECT_EQ(size, 100);
    }
    EXPECT_EQ(query.getSize(count, size), CMD_OK) << "an index equal to the number is accepted";
    EXPECT_EQ(query.getSize(static_cast<std::uint16_t>(count + 1), size), NO_PARTITION_VALUES);
    std::uint8_t most = 0;
    EXPECT_EQ(query.getMaxAddPartitions(most), CMD_OK);
    EXPECT_EQ(most, 3);
  }
}

TEST_F(Partitions, SelectsTheLayout) {
  addDrive("ULTRIUM-PX6");
  struct Row {
    std::uint8_t method;
    const char* list;
  };
  // Header with the medium type, page 11h: maximum 3, defined 1, method flags, recognition 3, units 9, sizes.
  for (const Row& row : {Row{0, "00 68 10 00 11 0E 03 01 3C 03 09 00 00 07 FF FF 00 00 00 00"},
                         Row{1, "00 68 10 00 11 0E 03 01 3C 03 09 00 00 07 FF FF 00 00 00 00"},
                         Row{2, "00 68 10 00 11 0E 03 01 5C 03 09 00 00 07 FF FF 00 00 00 00"},
                         Row{3, "00 68 10 00 11 0E 03 01 9C 03 09 00 00 07 FF FF 00 00 00 00"}}) {
    TapeCmdCreatePartition create(&target, SENSE);
    create.setAdditionalPartitionsDefined(1);
    create.setDataPartitionType(row.method);
    create.setPartitionType(2);
    create.setPartitionUnits(9);
    create.setSize(0, 7);
    create.setSize(1, 0xFFFF);
    create.setSize(2, 8);
    room.journal().clear();
    create.createPartitions();
    EXPECT_EQ(selected(), row.list) << int{row.method};
    EXPECT_THAT(room.journal().cdbs("H0-B0-T5-L0"),
                ElementsAre("1A 08 11 00 FF 00", "15 10 00 00 14 00", "04 00 01 00 00 00"));
  }
}

TEST_F(Partitions, ExtendsTheUnitsOfAnR477) {
  addDrive("R477-W14");
  for (auto [type, units] : {std::pair{2, "29"}, {1, "19"}}) {
    TapeCmdCreatePartition create(&target, SENSE);
    create.setPartitionType(static_cast<std::uint8_t>(type));
    create.setPartitionUnits(0xF9);
    create.createPartitions();
    EXPECT_EQ(selected().substr(30, 2), units);
  }
}

TEST_F(Partitions, EndsWhereACommandFails) {
  addDrive("ULTRIUM-PX6");
  struct Row {
    const char* failing;
    simulator::Sense sense;
    ReturnCode result;
    std::size_t sent;
  };
  for (const Row& row : {Row{"1A", {5, 0x24, 0x00}, CMD_ERROR, 1}, Row{"15", {5, 0x26, 0x00}, CMD_ERROR, 2},
                         Row{"15", {1, 0x37, 0x00}, CMD_OK, 3}, Row{"04", {3, 0x31, 0x01}, CMD_ERROR, 3}}) {
    room.faults().clear();
    room.journal().clear();
    room.addFault({.cdb = row.failing, .sense = row.sense});
    TapeCmdCreatePartition create(&target, SENSE);
    EXPECT_EQ(create.createPartitions(), row.result) << row.failing;
    EXPECT_EQ(room.journal().cdbs("H0-B0-T5-L0").size(), row.sent) << row.failing;
    EXPECT_EQ(create.gotParameters, row.result == CMD_OK);
  }
}

TEST_F(Partitions, BelievesNoPage) {
  addDrive("ULTRIUM-PX6");
  struct Row {
    const char* reply;
    ReturnCode result;
    std::uint16_t partitions;
  };
  for (const Row& row : {Row{"0A 00 10 00 91 0E 03 FF 3C 03 09", CMD_ERROR, 0},
                         Row{"0F 00 10 00 91 0E 03 FF 3C 03 39 00 00 01 00 02", CMD_OK, 2},
                         Row{"FF 00 10 00 91 FF 03 FF 3C 03 39 00 00 01 00 02", CMD_OK, 2}}) {
    room.faults().clear();
    room.addFault({.cdb = "1A 08 11", .reply = bytes(row.reply)});
    CmdQueryTapePartition query(&target, SENSE);
    EXPECT_EQ(query.getParameters(), row.result) << row.reply;
    EXPECT_EQ(query.numberPartitions, row.partitions) << row.reply;
    if (row.result != CMD_OK) continue;
    EXPECT_EQ(query.partitionUnits, 9);
    EXPECT_EQ(query.partitionType, 3);
    EXPECT_EQ(query.sizes[1], 2);
  }
}

/// Absent, cut before its sizes, another page, longer than what arrived: the medium is left alone.
TEST_F(Partitions, NeverFormatOnAPageThatDidNotArrive) {
  addDrive("ULTRIUM-PX6");
  for (const char* reply :
       {"00", "0A 00 10 00 91 0E 03 FF 3C 03 09", "0F 00 10 00 90 0E 03 FF 3C 03 39 00 00 01 00 02",
        "FF 00 10 00 91 FF 03 FF 3C 03 39 00 00 01 00 02"}) {
    room.addFault({.cdb = "1A 08 11", .reply = bytes(reply)});
    room.journal().clear();
    TapeCmdCreatePartition create(&target, SENSE);
    EXPECT_EQ(create.createPartitions(), CMD_ERROR) << reply;
    EXPECT_EQ(create.getExecutionStatus(), CMD_ERROR);
    EXPECT_THAT(room.journal().cdbs("H0-B0-T5-L0"), SizeIs(1)) << reply;
    room.faults().clear();
  }
}

TEST_F(Partitions, GoThroughTheDriver) {
  auto& drive = addDrive("R477-W14");
  QORScsiTarget driver;
  ASSERT_EQ(driver.openDevice("\\\\.\\tape0", OPEN_READ_WRITE), CMD_OK);
  TapeCmdCreatePartition create(&driver, SENSE);
  create.setAdditionalPartitionsDefined(1);
  create.setDataPartitionType(1);
  create.setPartitionType(2);
  create.setPartitionUnits(9);
  create.setSize(0, 100);
  create.setSize(1, 0xFFFF);
  room.addFault({.call = "0x001FE098", .error = ERROR_NOT_SUPPORTED});
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(create.createPartitions(), CMD_OK);
  EXPECT_THAT(output.lines(),
              Contains("SCSI0000D QORTapeCmdCreatePartition - partition_method set to partitionType - "
                       "number of partitions: 2 method:2 rc:0"));
  EXPECT_EQ(room.journal().count("0x001FE098"), 2u);
  EXPECT_THAT(drive.medium()->partitions(), SizeIs(2));

  CmdQueryTapePartition query(&driver, SENSE);
  EXPECT_EQ(query.getParameters(), CMD_OK);
  EXPECT_EQ(query.numberPartitions, 2);
  EXPECT_EQ(query.dataPartitionType, 2);

  // Neither a record without a method nor the retry with a partition type of 0 may only format.
  create.setPartitionType(0);
  for (const std::uint8_t method : {std::uint8_t{0}, std::uint8_t{1}}) {
    create.setDataPartitionType(method);
    if (method == 1) room.addFault({.call = "0x001FE098", .error = ERROR_NOT_SUPPORTED});
    create.numberPartitions = 0;
    EXPECT_EQ(create.createPartitions(), CMD_OK);
    EXPECT_THAT(drive.medium()->partitions(), SizeIs(2)) << int{method};
    std::uint16_t size = 0;
    EXPECT_EQ(create.getSize(1, size), CMD_OK) << "the record knows its partitions";
    EXPECT_EQ(size, 0xFFFF);
  }
  EXPECT_EQ(QORTapeCmdCreatePartition(create).getTimeOut(), 3100u);

  QORTapeCmdChangePartition change(1, 0);
  EXPECT_EQ(change.getTimeOut(), 2300u);
  EXPECT_EQ(driver.scsiExecCmd(change), CMD_OK);
  EXPECT_EQ(drive.partitionNumber(), 1);
  EXPECT_EQ(query.getParameters(), CMD_OK);
  EXPECT_EQ(query.activePartition, 1);
  QORTapeCmdChangePartition beyond(7, 0);
  EXPECT_EQ(driver.scsiExecCmd(beyond), CMD_ERROR);
  driver.closeDevice();
}

}  // namespace
