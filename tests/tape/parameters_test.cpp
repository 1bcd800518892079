#include "kiv/tape/parameters.h"

#include "tests/support/room_test.h"

namespace {

constexpr std::uint8_t SENSE = 24;

class Parameters : public RoomTest {
 protected:
  void set(ScsiTarget& device, ParamType type, std::uint32_t value) {
    TapeMetaCmdSetParam command(&device, type, value, SENSE);
    observe("set " + std::to_string(type) + " to " + std::to_string(value),
            [&] { return command.setParameter(); });
    TELL(command.getExecutionStatus(), command.getSenseKey(), command.getAdditionalFailureCode(),
         command.getSenseDataLength());
  }
  /// "Name=value" of all that a query finds.
  void query(TapeMetaCmdQueryParam command) {
    observe("query", [&] { return command.queryParameter(); });
    std::vector<std::string> found;
    for (std::uint32_t i = 0; i < command.getAllParameters().getParameterCount(); ++i) {
      const ParameterValue* entry = command.getAllParameters().getEntry(i);
      found.push_back(entry->getParameterName() + "=" + entry->getDecodedValue());
    }
    record("found", found);
    const ReturnCode again = command.queryParameter();  // finds the same, not the same once more
    const ParameterVector& all = command.getAllParameters();
    TELL(again, all.getParameterCount(), all.getChangeableParameterCount(), command.getSenseDataLength());
  }

  simulator::VirtualDrive& drive = openDrive({.model = "ULTRIUM-PX6"});
};

TEST_F(Parameters, SetOneFieldOfOnePage) {
  drive.modes().current(0x10)[14] = 0;
  const std::pair<ParamType, std::uint32_t> rows[] = {{PARAM_COMPRESSION, 0},
                                                      {PARAM_COMPRESSION, 1},
                                                      {PARAM_COMPRESSION, 1},
                                                      {PARAM_BLOCK_LENGTH, 0x010203},
                                                      {PARAM_BLOCK_LENGTH, 66051},
                                                      {PARAM_WRITE_CACHE, 0},
                                                      {PARAM_WRITE_CACHE, 1},
                                                      {PARAM_DATA_SAFE_MODE, 1},
                                                      {PARAM_DATA_SAFE_MODE, 0},
                                                      {PARAM_SKIP_SYNC, 1},
                                                      {PARAM_SKIP_SYNC, 0},
                                                      {PARAM_SLEEP_MODE_TIMER, 600},
                                                      {PARAM_SLEEP_MODE_TIMER, 0},
                                                      {PARAM_SLEEP_MODE_TIMER, 0xFFFFFFFF},
                                                      {PARAM_ARCHIVE_MODE_UNTHREAD, 1},
                                                      {PARAM_ARCHIVE_MODE_UNTHREAD, 0},
                                                      {PARAM_SILI_MODE, 1},
                                                      {PARAM_IMMEDIATE_MODE, 1},
                                                      {static_cast<ParamType>(40), 1}};
  for (const auto& [type, value] : rows) set(target, type, value);
}

TEST_F(Parameters, EndAtTheFirstCommandThatFails) {
  for (const ParamType type : {PARAM_COMPRESSION, PARAM_BLOCK_LENGTH, PARAM_WRITE_CACHE, PARAM_DATA_SAFE_MODE,
                               PARAM_SKIP_SYNC, PARAM_SLEEP_MODE_TIMER, PARAM_ARCHIVE_MODE_UNTHREAD}) {
    for (unsigned nth = 1; nth <= (type == PARAM_COMPRESSION ? 4u : 2u); ++nth) {
      drive.modes().current(0x10)[14] = 0;
      room.addFault({.cdb = "??", .nth = nth, .sense = Sense{5, 0x26, 0x01}});
      set(target, type, 1);
      room.faults().clear();
    }
  }
}

TEST_F(Parameters, AreWhatTheDriveHas) {
  set(target, PARAM_SLEEP_MODE_TIMER, 90);
  set(target, PARAM_SKIP_SYNC, 1);
  query({&target, SENSE});
  drive.modes().current(0x10, 1)[5] = 0x10;  // data safe mode on
  drive.modes().current(0x1A)[3] = 0;        // a timer that is not enabled
  query({&target, SENSE});
  drive.modes().remove(0x30, 0x40);  // a page that the drive lacks is left out
  query({&target, SENSE});
  room.addFault({.cdb = "1A 08 1A", .sense = Sense{4, 0x44, 0x00}});  // a broken drive ends the query
  query({&target, SENSE});
  query({&target, PARAM_SILI_MODE, SENSE});
  query({nullptr, SENSE});
}

/// Pages that are cut, name another page, or lie about their length.
TEST_F(Parameters, AreNotTakenFromWhatDidNotArrive) {
  const std::pair<ParamType, const char*> rows[] = {
      {PARAM_COMPRESSION, "05 00 10 00 8F 0E"},
      {PARAM_COMPRESSION, "00"},
      {PARAM_COMPRESSION, "FF 00 10 00 8F 0E"},
      {PARAM_BLOCK_LENGTH, "0F 00 10 00 8F 0E C0 80 00 00 00 01 00 00 00 01"},
      {PARAM_BLOCK_LENGTH, "0A 00 10 08 58 00 00 00 00 00 00"},
      {PARAM_WRITE_CACHE, "01 00"},
      {PARAM_DATA_SAFE_MODE, "09 00 10 00 50 01 00 06 00 10"},  // the shortest that tell
      {PARAM_ARCHIVE_MODE_UNTHREAD, "08 00 10 00 F0 43 00 04 02"},
      {PARAM_SKIP_SYNC, "08 00 10 00 F0 40 00 04 04"},
      {PARAM_DATA_SAFE_MODE, "0F 00 10 00 90 0E 00 00 00 10 00 00 00 00 00 00"},
      {PARAM_SKIP_SYNC, "07 00 10 00 F0 40 00 04"},
      {PARAM_SKIP_SYNC, "0B 00 10 00 F0 43 00 04 01 00 00 00"},
      {PARAM_SLEEP_MODE_TIMER, "17 00 10 00 9A 25 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 64"},
      {PARAM_SLEEP_MODE_TIMER, "16 00 10 00 9A 26 00 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
      {PARAM_ARCHIVE_MODE_UNTHREAD, "0B 00 10 00 CA 43 00 04 02 00 00 00"},
  };
  for (const auto& [type, reply] : rows) {
    record(reply);
    for (const bool setting : {false, true}) {
      room.faults().clear();
      room.addFault({.cdb = "1A", .reply = bytes(reply)});
      if (setting) {
        set(target, type, 1);
      } else {
        query({&target, type, SENSE});
      }
    }
  }
}

TEST_F(Parameters, NeedBothPagesOfCompression) {
  room.addFault({.cdb = "1A 08 10", .reply = Bytes{0}});
  set(target, PARAM_COMPRESSION, 1);
}

TEST_F(Parameters, HaveOperationsOfTheirOwn) {
  for (const char* failing : {"", "15", "1A"}) {
    record("failing", failing);
    for (const bool on : {false, true}) {
      room.faults().clear();
      if (*failing != '\0') room.addFault({.cdb = failing, .times = 0, .sense = Sense{5, 0x26, 0x01}});
      TapeMetaCmdSetParam setting(&target, SENSE);
      ulong32 previous = 99, length = 99;
      bool cached = !on, compressed = !on;
      observe("compression", [&] { return setting.setCompression(on); });
      observe("block length", [&] { return setting.setBlockLength(on ? 512 : 1024, &previous); });
      observe("write cache", [&] { return setting.setWriteCache(on); });
      observe("SILI", [&] { return setting.setSILIMode(on); });
      observe("immediate", [&] { return setting.setImmediateMode(on ? 1 : 0); });
      TapeMetaCmdQueryParam getting(&target, SENSE);
      observe("compression?", [&] { return getting.getCompression(&compressed); });
      observe("block length?", [&] { return getting.getBlockLength(length); });
      observe("write cache?", [&] { return getting.getWriteCache(&cached); });
      TELL(on, previous, compressed, length, cached, drive.blockLength(), drive.buffered());
    }
  }
}

TEST_F(Parameters, DescribeThemselves) {
  for (const int format :
       {0, int{OUTPUT_YES_NO}, int{OUTPUT_ON_OFF}, int{OUTPUT_PERCENT}, int{OUTPUT_MODE}}) {
    const auto output = static_cast<OutputFormat>(format);
    TELL(format, decodeParameter(true, output), decodeParameter(false, output));
    for (const long value : {-1L, 0L, 3L, 4L, 5L, 6L}) TELL(value, decodeParameter(value, output));
  }
  ParameterVector vector;
  vector.add(new ParameterValueTemplate<bool>(true, "a", PARAM_COMPRESSION, true, OUTPUT_YES_NO));
  vector.add(new ParameterValueTemplate<long>(2, "b", PARAM_BLOCK_LENGTH, false, OUTPUT_MODE));
  vector.add(new ParameterValueTemplate<std::string>("text", "c", PARAM_SKIP_SYNC, true, OUTPUT_YES_NO));
  TELL(vector.getChangeableParameterCount(), vector.getNonChangeableParameterCount());
  TELL(vector.getIndexOfChangeableParameter(1), vector.getIndexOfNonChangeableParameter(0),
       vector.getIndexOfNonChangeableParameter(1));
  EXPECT_EQ(vector.getEntry(3), nullptr);
  ParameterVector copy;
  copy = vector;
  vector.clearAllParameters();
  TELL(vector.getParameterCount(), copy.getParameterCount());
  TELL(copy.getEntry(1)->getDecodedValue(), copy.getEntry(2)->getDecodedValue());
}

/// The same drive held by the maker's driver: no mode pages but for the write cache.
TEST_F(Parameters, GoThroughTheDriver) {
  ASSERT_EQ(driver.openDevice(R"(\\.\tape0)", OPEN_READ_WRITE), CMD_OK);
  const std::pair<ParamType, std::uint32_t> rows[] = {
      {PARAM_COMPRESSION, 0},       {PARAM_COMPRESSION, 1},
      {PARAM_BLOCK_LENGTH, 65536},  {PARAM_DATA_SAFE_MODE, 1},
      {PARAM_SKIP_SYNC, 1},         {PARAM_SKIP_SYNC, 0},
      {PARAM_SLEEP_MODE_TIMER, 30}, {PARAM_ARCHIVE_MODE_UNTHREAD, 1},
      {PARAM_WRITE_CACHE, 0},       {PARAM_SILI_MODE, 1},
      {PARAM_IMMEDIATE_MODE, 1}};
  for (const auto& [type, value] : rows) {
    set(driver, type, value);
    query({&driver, type, SENSE});
    query({&target, type, SENSE});
  }
  ulong32 previous = 99;
  TapeMetaCmdSetParam length(&driver, SENSE);
  for (const ulong32 wanted : {512u, 1024u}) TELL(length.setBlockLength(wanted, &previous), previous);
  for (const char* call : {"SetTapeParameters", "GetTapeParameters", "DeviceIoControl"}) {
    room.addFault({.call = call, .times = 0, .error = ERROR_NOT_READY});
    for (const ParamType type : {PARAM_COMPRESSION, PARAM_BLOCK_LENGTH, PARAM_SKIP_SYNC}) {
      set(driver, type, 1);
      query({&driver, type, SENSE});
    }
    room.faults().clear();
  }
}

}  // namespace
