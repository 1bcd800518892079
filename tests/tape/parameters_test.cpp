#include "kiv/tape/parameters.h"

#include <gmock/gmock.h>

#include "kiv/device/driver_target.h"
#include "simulator/room/room.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr std::uint8_t SENSE = 32;

class Parameters : public testing::Test {
 protected:
  Parameters()
      : drive(room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .driver = simulator::DriverOptions{}},
                            {.cartridge = true})) {}
  void SetUp() override {
    ASSERT_EQ(target.openDevice(0, 5, 0, 0, "", 1), CMD_OK);
    room.journal().clear();
  }
  ~Parameters() override {
    target.closeDevice();
    EXPECT_EQ(room.openHandles(), 0u);
  }

  ReturnCode set(ParamType type, std::uint32_t value) {
    return TapeMetaCmdSetParam(&target, type, value, SENSE).setParameter();
  }
  std::vector<std::string> cdbs() { return room.journal().cdbs(drive.address()); }
  /// "Name=value" of all that a query finds.
  static std::vector<std::string> texts(TapeMetaCmdQueryParam& query) {
    std::vector<std::string> result;
    for (std::uint32_t i = 0; i < query.getAllParameters().getParameterCount(); ++i) {
      const ParameterValue* entry = query.getAllParameters().getEntry(i);
      result.push_back(entry->getParameterName() + "=" + entry->getDecodedValue());
    }
    return result;
  }
  void failCdb(const char* cdb, const char* reply = nullptr) {
    simulator::Fault fault{.cdb = cdb};
    if (reply) {
      fault.reply = bytes(reply);
    } else {
      fault.sense = simulator::Sense{5, 0x26, 0x01};
    }
    room.addFault(fault);
  }

  simulator::Room room;
  simulator::VirtualDrive& drive;
  ScsiTarget target;
};

/// The list that a parameter selects, by what it changes in the page that was sensed.
TEST_F(Parameters, SetsOneFieldOfOnePage) {
  struct Row {
    ParamType type;
    std::uint32_t value;
    const char* sense;
    const char* select;
    std::uint8_t page;
    std::uint8_t subpage;
    std::vector<std::pair<std::size_t, std::uint8_t>> changed;  // byte of the page, new value
  };
  const Row rows[] = {
      {PARAM_COMPRESSION, 0, "1A 08 0F 00 FF 00", "15 10 00 00 14 00", 0x0F, 0, {{2, 0x40}}},
      {PARAM_DATA_SAFE_MODE, 1, "1A 08 10 01 FF 00", "15 01 00 00 24 00", 0x10, 1, {{5, 0x11}}},
      {PARAM_DATA_SAFE_MODE, 0, "1A 08 10 01 FF 00", "15 01 00 00 24 00", 0x10, 1, {{5, 0x01}}},
      {PARAM_SKIP_SYNC, 1, "1A 08 30 40 FF 00", "15 01 00 00 0C 00", 0x30, 0x40, {{4, 0x01}}},
      {PARAM_SLEEP_MODE_TIMER,
       600,
       "1A 08 1A 00 FF 00",
       "15 01 00 00 2C 00",
       0x1A,
       0,
       {{3, 0x08}, {16, 0x00}, {17, 0x00}, {18, 0x17}, {19, 0x70}}},
      {PARAM_SLEEP_MODE_TIMER,
       0,
       "1A 08 1A 00 FF 00",
       "15 01 00 00 2C 00",
       0x1A,
       0,
       {{3, 0x00}, {16, 0x00}, {17, 0x00}, {18, 0x00}, {19, 0x00}}},
      {PARAM_ARCHIVE_MODE_UNTHREAD, 1, "1A 08 30 43 FF 00", "15 01 00 00 0C 00", 0x30, 0x43, {{4, 0x02}}},
  };
  for (const Row& row : rows) {
    room.journal().clear();
    auto expected = drive.modes().current(row.page, row.subpage);
    for (const auto& [at, value] : row.changed) expected[at] = value;
    EXPECT_EQ(set(row.type, row.value), CMD_OK) << row.sense;
    EXPECT_EQ(drive.modes().current(row.page, row.subpage), expected) << row.sense;
    EXPECT_THAT(cdbs(), ElementsAre(row.sense, row.select));
    const auto& list = room.journal().entries().back().dataOut;
    EXPECT_EQ(list.at(0), 0) << "mode data length";
    EXPECT_EQ(list.at(4), row.subpage ? row.page | 0x40 : row.page) << "PS cleared, SPF only for subpages";
  }
}

TEST_F(Parameters, SwitchesCompressionOnWithItsAlgorithm) {
  drive.modes().current(0x10)[14] = 0;
  EXPECT_EQ(set(PARAM_COMPRESSION, 1), CMD_OK);
  EXPECT_EQ(drive.modes().current(0x10)[14], 1);
  EXPECT_THAT(cdbs(), ElementsAre("1A 08 0F 00 FF 00", "15 10 00 00 14 00", "1A 08 10 00 FF 00",
                                  "15 10 00 00 14 00"));
  room.journal().clear();
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_EQ(set(PARAM_COMPRESSION, 1), CMD_OK);
  EXPECT_THAT(cdbs(), ElementsAre("1A 08 0F 00 FF 00", "15 10 00 00 14 00", "1A 08 10 00 FF 00"));
  EXPECT_THAT(output.lines(), Contains("SCSI0000D setCompression ModeSelect 0x10 not required"));
}

TEST_F(Parameters, SetsBlockLengthAndWriteCacheInTheHeader) {
  ulong32 previous = 99;
  TapeMetaCmdSetParam command(&target, SENSE);
  EXPECT_EQ(command.setBlockLength(0x010203, &previous), CMD_OK);
  EXPECT_EQ(previous, 0u);
  EXPECT_EQ(drive.blockLength(), 0x010203u);
  EXPECT_THAT(cdbs(), ElementsAre("1A 00 0F 00 FF 00", "15 10 00 00 0C 00"));
  room.journal().clear();
  EXPECT_EQ(command.setBlockLength(0x010203, &previous), CMD_OK);
  EXPECT_EQ(previous, 0x010203u);
  EXPECT_THAT(cdbs(), ElementsAre("1A 00 0F 00 FF 00")) << "nothing to change";

  for (bool on : {false, true}) {
    EXPECT_EQ(command.setWriteCache(on), CMD_OK);
    EXPECT_EQ(drive.buffered(), on);
    bool read = !on;
    EXPECT_EQ(TapeMetaCmdQueryParam(&target, SENSE).getWriteCache(&read), CMD_OK);
    EXPECT_EQ(read, on);
  }
}

TEST_F(Parameters, RefusesTypesWithoutAPage) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  TapeMetaCmdSetParam command(&target, SENSE);
  EXPECT_EQ(command.setSILIMode(true), CMD_NOT_SUPPORTED);
  EXPECT_EQ(command.setImmediateMode(1), CMD_NOT_SUPPORTED);
  EXPECT_EQ(set(static_cast<ParamType>(40), 1), CMD_NOT_SUPPORTED);
  EXPECT_EQ(TapeMetaCmdQueryParam(&target, PARAM_SILI_MODE, SENSE).queryParameter(), CMD_NOT_SUPPORTED);
  EXPECT_THAT(cdbs(), IsEmpty());
  EXPECT_THAT(output.lines(),
              ElementsAre("SCSI0000D TapeMetaCmdSetParam::setParameter() ",
                          "SCSI0000D TapeMetaCommands::setSILIMode(), setting 1 not supported!",
                          "SCSI0000D TapeMetaCmdSetParam::setParameter() ",
                          "SCSI0000D TapeMetaCommands::setImmediateMode(), setting 1 failed",
                          "SCSI0000D TapeMetaCmdSetParam::setParameter() "));
}

/// Every inner command fails in turn: the operation ends there, with that command's status and line.
TEST_F(Parameters, EndsAtTheFirstCommandThatFails) {
  struct Row {
    ParamType type;
    const char* failing;
    const char* line;
    std::size_t sent;
  };
  const Row rows[] = {
      {PARAM_COMPRESSION, "1A 08 0F", "SetCOff ModeSense Data Failed,  SK:(05h) ASC:(26h) ASCQ:(01h)", 1},
      {PARAM_COMPRESSION, "15", "setCompression ModeSelect Data Failed SK:(05h) ASC:(26h) ASCQ:(01h)", 2},
      {PARAM_COMPRESSION, "1A 08 10", "TapeMetaCmdSetParam::setParameter() ", 3},
      {PARAM_BLOCK_LENGTH, "1A", "setBlockLength(), ModeSense page 0Fh failed, (05h-26h-01h)", 1},
      {PARAM_BLOCK_LENGTH, "15",
       "setBlockLength(), Mode Select failed (05h-26h-01h), trying to set block length 1", 2},
      {PARAM_WRITE_CACHE, "1A", "setWriteCache() ModeSense Data Failed", 1},
      {PARAM_WRITE_CACHE, "15", "setWriteCache() ModeSelect Data Failed", 2},
      {PARAM_DATA_SAFE_MODE, "1A", "datasafemode ModeSense Data Failed", 1},
      {PARAM_DATA_SAFE_MODE, "15", "datasafemode ModeSelect Data Failed", 2},
      {PARAM_SKIP_SYNC, "1A", "skipsync ModeSense Data Failed", 1},
      {PARAM_SKIP_SYNC, "15", "skipsync ModeSelect Data Failed", 2},
      {PARAM_SLEEP_MODE_TIMER, "1A", "SLEEP Mode ModeSense Data Failed", 1},
      {PARAM_SLEEP_MODE_TIMER, "15", "SLEEP mode ModeSelect Data Failed", 2},
      {PARAM_ARCHIVE_MODE_UNTHREAD, "1A", "AMU ModeSense Data Failed", 1},
      {PARAM_ARCHIVE_MODE_UNTHREAD, "15", "AMU ModeSelect Data Failed", 2},
  };
  for (const Row& row : rows) {
    room.faults().clear();
    room.journal().clear();
    failCdb(row.failing);
    LogLevel level(LOG_DEBUG);
    CapturedOutput output;
    EXPECT_EQ(set(row.type, 1), CMD_ERROR) << row.line;
    EXPECT_EQ(cdbs().size(), row.sent) << row.line;
    EXPECT_THAT(output.lines(), Contains(std::string("SCSI0000D ") + row.line));
  }
}

TEST_F(Parameters, QueriesWhatTheDriveHas) {
  set(PARAM_SLEEP_MODE_TIMER, 90);
  set(PARAM_SKIP_SYNC, 1);
  TapeMetaCmdQueryParam query(&target, SENSE);
  EXPECT_EQ(query.queryParameter(), CMD_OK);
  EXPECT_THAT(texts(query),
              ElementsAre("Compression=Yes", "Block Size=0", "Buffered Mode=Yes", "Data Safe Mode=No",
                          "Skip Sync=Yes", "Sleep Mode Timer=90", "Archive Mode Unthread=No"));
  drive.modes().remove(0x30, 0x40);
  EXPECT_EQ(query.queryParameter(), CMD_OK) << "a page that the drive lacks is left out";
  EXPECT_THAT(texts(query), Not(Contains(StartsWith("Skip Sync"))));
  room.faults().clear();
  room.addFault({.cdb = "1A 08 1A", .sense = simulator::Sense{4, 0x44, 0x00}});
  EXPECT_EQ(query.queryParameter(), CMD_ERROR) << "a broken drive ends the query";
}

/// Pages that are cut, name another page, or lie about their length.
TEST_F(Parameters, LeavesOutWhatDidNotArrive) {
  struct Row {
    ParamType type;
    const char* reply;
  };
  const Row rows[] = {
      {PARAM_COMPRESSION, "05 00 10 00 8F 0E"},
      {PARAM_COMPRESSION, "00"},
      {PARAM_COMPRESSION, "FF 00 10 00 8F 0E"},
      {PARAM_BLOCK_LENGTH, "0F 00 10 00 8F 0E C0 80 00 00 00 01 00 00 00 01"},
      {PARAM_BLOCK_LENGTH, "0A 00 10 08 58 00 00 00 00 00 00"},
      {PARAM_WRITE_CACHE, "01 00"},
      {PARAM_DATA_SAFE_MODE, "0F 00 10 00 90 0E 00 00 00 10 00 00 00 00 00 00"},
      {PARAM_SKIP_SYNC, "07 00 10 00 F0 40 00 04"},
      {PARAM_SKIP_SYNC, "0B 00 10 00 F0 43 00 04 01 00 00 00"},
      {PARAM_SLEEP_MODE_TIMER, "17 00 10 00 9A 25 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 64"},
      {PARAM_SLEEP_MODE_TIMER, "16 00 10 00 9A 26 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
      {PARAM_ARCHIVE_MODE_UNTHREAD, "0B 00 10 00 CA 43 00 04 02 00 00 00"},
  };
  for (const Row& row : rows) {
    room.faults().clear();
    failCdb("1A", row.reply);
    TapeMetaCmdQueryParam query(&target, row.type, SENSE);
    EXPECT_EQ(query.queryParameter(), CMD_OK) << row.reply;
    EXPECT_THAT(texts(query), IsEmpty()) << row.reply;
    room.faults().clear();
    failCdb("1A", row.reply);
    room.journal().clear();
    TapeMetaCmdSetParam setting(&target, row.type, 1, SENSE);
    EXPECT_EQ(setting.setParameter(), CMD_ERROR) << row.reply;
    EXPECT_EQ(setting.getExecutionStatus(), CMD_ERROR) << "the outcome is that of the whole job";
    EXPECT_THAT(cdbs(), Each(StartsWith("1A"))) << "nothing is selected: " << row.reply;
  }
  room.faults().clear();
  failCdb("1A", "00");
  bool on = true;
  EXPECT_EQ(TapeMetaCmdQueryParam(&target, SENSE).getCompression(&on), CMD_ERROR);
  EXPECT_TRUE(on) << "left alone";
}

TEST_F(Parameters, DescribesValues) {
  EXPECT_EQ(decodeParameter(true, OUTPUT_ON_OFF), "On");
  EXPECT_EQ(decodeParameter(false, static_cast<OutputFormat>(0)), "false");
  EXPECT_EQ(decodeParameter(3L, OUTPUT_PERCENT), "25%");
  EXPECT_EQ(decodeParameter(5L, OUTPUT_PERCENT), "5");
  EXPECT_EQ(decodeParameter(5L, OUTPUT_MODE), "Random");
  EXPECT_EQ(decodeParameter(-1L, OUTPUT_MODE), "-1");

  ParameterVector vector;
  vector.add(new ParameterValueTemplate<bool>(true, "a", PARAM_COMPRESSION, true, OUTPUT_YES_NO));
  vector.add(new ParameterValueTemplate<long>(2, "b", PARAM_BLOCK_LENGTH, false, OUTPUT_MODE));
  vector.add(new ParameterValueTemplate<std::string>("text", "c", PARAM_SKIP_SYNC, true, OUTPUT_YES_NO));
  EXPECT_EQ(vector.getChangeableParameterCount(), 2u);
  EXPECT_EQ(vector.getIndexOfChangeableParameter(1), 2u);
  EXPECT_EQ(vector.getIndexOfNonChangeableParameter(0), 1u);
  EXPECT_EQ(vector.getIndexOfNonChangeableParameter(1), 0xFFFFFFFFu);
  EXPECT_EQ(vector.getEntry(3), nullptr);
  ParameterVector copy;
  copy = vector;
  vector.clearAllParameters();
  ASSERT_EQ(copy.getParameterCount(), 3u);
  EXPECT_EQ(copy.getEntry(1)->getDecodedValue(), "System");
  EXPECT_EQ(copy.getEntry(2)->getDecodedValue(), "text");
}

/// The same drive held by the maker's driver: no mode pages but for the write cache.
TEST_F(Parameters, GoThroughTheDriver) {
  QORScsiTarget driver;
  ASSERT_EQ(driver.openDevice("\\\\.\\tape0", OPEN_READ_WRITE), CMD_OK);
  struct Row {
    ParamType type;
    std::uint32_t value;
    const char* text;
  };
  for (const Row& row : {Row{PARAM_COMPRESSION, 0, "Compression=No"},
                         {PARAM_BLOCK_LENGTH, 65536, "Block Size=65536"},
                         {PARAM_DATA_SAFE_MODE, 1, "Data Safe Mode=Yes"},
                         {PARAM_SKIP_SYNC, 1, "Skip Sync=Yes"},
                         {PARAM_SLEEP_MODE_TIMER, 30, "Sleep Mode Timer=30"},
                         {PARAM_ARCHIVE_MODE_UNTHREAD, 1, "Archive Mode Unthread=Yes"}}) {
    EXPECT_EQ(TapeMetaCmdSetParam(&driver, row.type, row.value, SENSE).setParameter(), CMD_OK) << row.text;
    for (ScsiTarget* device : {static_cast<ScsiTarget*>(&driver), &target}) {
      TapeMetaCmdQueryParam query(device, row.type, SENSE);
      EXPECT_EQ(query.queryParameter(), CMD_OK) << row.text;
      EXPECT_THAT(texts(query), ElementsAre(row.text));
    }
  }
  ulong32 previous = 99;
  TapeMetaCmdSetParam length(&driver, SENSE);
  EXPECT_EQ(length.setBlockLength(512, &previous), CMD_OK);
  EXPECT_EQ(length.setBlockLength(1024, &previous), CMD_OK);
  EXPECT_EQ(previous, 512u) << "asked before";
  EXPECT_EQ(TapeMetaCmdSetParam(&driver, PARAM_SILI_MODE, 1, SENSE).setParameter(),
            CMD_INVALID_PARAMETER_TYPE);
  EXPECT_EQ(TapeMetaCmdQueryParam(&driver, PARAM_IMMEDIATE_MODE, SENSE).queryParameter(),
            CMD_INVALID_PARAMETER_TYPE);
  room.journal().clear();
  EXPECT_EQ(TapeMetaCmdSetParam(&driver, PARAM_WRITE_CACHE, 0, SENSE).setParameter(), CMD_OK);
  EXPECT_THAT(room.journal().lines(), Contains(HasSubstr("15 10 00 00 14 00"))) << "by mode page";
  room.addFault({.call = "SetTapeParameters", .error = ERROR_NOT_READY});
  EXPECT_EQ(TapeMetaCmdSetParam(&driver, PARAM_COMPRESSION, 1, SENSE).setParameter(), CMD_ERROR);
  driver.closeDevice();
}

}  // namespace
