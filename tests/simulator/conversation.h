// Talks to a device as a host does: commands in hex, through the pass-through request.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <sstream>
#include <string>

#include "simulator/room/room.h"
#include "tests/simulator/device_client.h"
#include "tests/support/record.h"

namespace simulator {

/// A pass-through request with room for sense data behind it.
struct PassThrough {
  SCSI_PASS_THROUGH_DIRECT block{};
  std::uint32_t filler = 0;
  std::uint8_t sense[32]{};
};

/// A command, what it should bring, and the data that go out with it. What it brings is its outcome, as the
/// journal words it, or its data in hexadecimal from a byte on, as many as are expected.
struct Step {
  const char* cdb;
  const char* expected;
  std::size_t from = 0;
  const char* out = nullptr;
};

/// An open device to which commands are sent. Through a port, they go to the address of `to`.
class Conversation : public DeviceClient {
 public:
  Conversation(const char* name, const DeviceOptions& to) : DeviceClient(name), to_(to) {}

  /// Sends a command and returns how it ended, as the journal words it: "" or "2/3A/00" or "error 1117".
  std::string send(const std::string& cdb, Bytes out = {}) {
    return run(cdb, SCSI_IOCTL_DATA_OUT, std::move(out));
  }
  /// The same for a command that returns data, which is then in `data`.
  std::string fetch(const std::string& cdb, std::size_t size = 255) {
    return run(cdb, SCSI_IOCTL_DATA_IN, Bytes(size));
  }

  void follow(std::initializer_list<Step> steps) {
    for (const Step& step : steps) {
      const std::string expected = step.expected;
      std::string got = step.out ? send(step.cdb, bytes(step.out)) : fetch(step.cdb, 2048);
      if (got.empty()) got = toHex(std::span(data).subspan(std::min(step.from, data.size())));
      EXPECT_EQ(got.substr(0, expected.empty() ? got.size() : expected.size()), expected) << step.cdb;
    }
  }

  /// Follows a part of tests/data/conversations/SUITE.TEST.txt, from the line "== PART" on. A line is a
  /// command, "< " and data that go out with it, "> " and what it should bring, "@N" from byte N on.
  void follow(int part) {
    const std::string begin = "== " + std::to_string(part);
    std::istringstream script(testData("conversations/" + testName() + ".txt"));
    std::string line;
    while (line != begin && std::getline(script, line)) {
    }
    ASSERT_TRUE(script) << "no " << begin;
    while (std::getline(script, line) && !line.starts_with("==")) {
      if (line.empty() || line.starts_with('#')) continue;
      const std::size_t brings = line.find(" >"), sends = std::min(line.find(" < "), brings);
      const std::string cdb = line.substr(0, sends);
      const std::string out = sends < brings ? line.substr(sends + 3, brings - sends - 3) : "";
      std::string expected = line.size() > brings + 3 ? line.substr(brings + 3) : "";
      std::size_t from = 0;
      if (expected.starts_with('@')) {
        from = std::stoul(expected.substr(1));
        expected.erase(0, expected.find(' ') + 1);
      }
      follow({{cdb.c_str(), expected.c_str(), from, sends < brings ? out.c_str() : nullptr}});
    }
  }

  Bytes data;                  ///< what arrived
  PassThrough last;            ///< the request as it came back
  std::uint32_t timeOut = 60;  ///< seconds

  std::uint32_t information() const { return static_cast<std::uint32_t>(readNumber(last.sense, 3, 4)); }

 private:
  std::string run(const std::string& cdb, UCHAR direction, Bytes buffer) {
    last = {};
    const Bytes command = bytes(cdb);
    last.block.Length = sizeof last.block;
    last.block.PathId = to_.bus;
    last.block.TargetId = to_.target;
    last.block.Lun = to_.lun;
    last.block.CdbLength = static_cast<UCHAR>(command.size());
    last.block.SenseInfoLength = sizeof last.sense;
    last.block.SenseInfoOffset = offsetof(PassThrough, sense);
    last.block.DataIn = direction;
    last.block.DataTransferLength = static_cast<ULONG>(buffer.size());
    last.block.TimeOutValue = timeOut;
    last.block.DataBuffer = buffer.data();
    std::copy(command.begin(), command.end(), last.block.Cdb);
    exchange(IOCTL_SCSI_PASS_THROUGH_DIRECT, last);
    buffer.resize(last.block.DataTransferLength);
    data = direction == SCSI_IOCTL_DATA_IN ? std::move(buffer) : Bytes{};
    return Room::current()->journal().entries().back().outcome;
  }

  DeviceOptions to_;
};

}  // namespace simulator
