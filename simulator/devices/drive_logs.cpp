// LOG SENSE and LOG SELECT (SPC-4 6.8, 6.7) with the log pages of a tape drive (SSC-4 8.2).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

LogParameter counter(std::uint16_t code, std::uint64_t value, std::size_t width = 8) {
  Bytes bytes;
  put64(bytes, 0, value);
  return {code, 0x00, Bytes(bytes.end() - static_cast<std::ptrdiff_t>(width), bytes.end())};
}

/// A parameter that is a list of bits or the like, not a counter: format and linking 11b.
LogParameter list(std::uint16_t code, Bytes bytes) { return {code, 0x03, std::move(bytes)}; }

Bytes encode(const std::vector<LogParameter>& parameters, std::uint16_t from) {
  Bytes data;
  for (const LogParameter& parameter : parameters) {
    if (parameter.code < from) continue;
    Bytes entry(4);
    put16(entry, 0, parameter.code);
    entry[2] = parameter.control;
    entry[3] = static_cast<std::uint8_t>(parameter.value.size());
    append(data, entry);
    append(data, parameter.value);
  }
  return data;
}

}  // namespace

void VirtualDrive::addLogCommands() {
  onCommand(0x4D, {0xFF, 0x03, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::logSense);
  onCommand(0x4C, {0xFF, 0x03, 0xFF, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::logSelect);
}

/// The pages that the drive makes up from what it did. A page set with setLogPage stands in front of its own.
std::optional<std::vector<LogParameter>> VirtualDrive::logPage(std::uint8_t page) const {
  if (const auto own = logPages_.find(page); own != logPages_.end()) return own->second;
  const std::uint64_t megabyte = 1'000'000;
  switch (page) {
    case 0x02:  // write error counters: total processed, uncorrected
      return std::vector{counter(0x0002, 0), counter(0x0003, 0), counter(0x0005, counters_.bytesWritten),
                         counter(0x0006, 0)};
    case 0x03:  // read error counters
      return std::vector{counter(0x0002, 0), counter(0x0003, 0), counter(0x0005, counters_.bytesRead),
                         counter(0x0006, 0)};
    case 0x0C:  // sequential-access device: bytes from and to the initiator, cleaning
      return std::vector{counter(0x0000, counters_.bytesWritten), counter(0x0001, counters_.bytesWritten),
                         counter(0x0002, counters_.bytesRead), counter(0x0003, counters_.bytesRead),
                         counter(0x0100, 0, 4)};
    case 0x11: {  // device status: very high frequency data
      Bytes status(4);
      status[0] = static_cast<std::uint8_t>((loaded() ? 0x03 : 0) | (removalPrevented_ ? 0x80 : 0));
      return std::vector{list(0x0000, std::move(status))};
    }
    case 0x17:  // volume statistics: page valid, thread count
      return std::vector{counter(0x0000, loaded(), 4), counter(0x0001, counters_.loads, 4)};
    case 0x2E: {  // TapeAlert: 64 flags
      std::vector<LogParameter> flags;
      for (std::uint16_t flag = 1; flag <= 64; ++flag) flags.push_back(list(flag, {0}));
      return flags;
    }
    case 0x31: {  // tape capacity: remaining and maximum of the main and the alternate partition, megabytes
      std::vector<LogParameter> sizes;
      for (std::uint16_t i = 0; i < 2; ++i) {
        const bool there = loaded() && i < medium_->partitions().size();
        const Partition none;
        const Partition& partition = there ? medium_->partitions()[i] : none;
        const std::uint64_t used = partition.used(partition.objects.size());
        sizes.push_back(
            counter(static_cast<std::uint16_t>(i + 1), (partition.capacity - used) / megabyte, 4));
        sizes.push_back(counter(static_cast<std::uint16_t>(i + 3), partition.capacity / megabyte, 4));
      }
      std::sort(sizes.begin(), sizes.end(), [](const auto& a, const auto& b) { return a.code < b.code; });
      return sizes;
    }
    case 0x32:  // data compression: ratios in hundredths, megabytes to and from tape
      return std::vector{counter(0x0000, 100, 2),
                         counter(0x0001, 100, 2),
                         counter(0x0002, counters_.bytesRead / megabyte, 4),
                         counter(0x0004, counters_.bytesRead / megabyte, 4),
                         counter(0x0006, counters_.bytesWritten / megabyte, 4),
                         counter(0x0008, counters_.bytesWritten / megabyte, 4)};
    case 0x37:  // the maker's performance counters: loads, bytes moved
      return std::vector{counter(0x0000, counters_.loads), counter(0x0001, counters_.bytesWritten),
                         counter(0x0002, counters_.bytesRead)};
    default:
      return std::nullopt;
  }
}

void VirtualDrive::logSense(ScsiRequest& request) {
  const std::uint8_t page = request.cdb[2] & 0x3F;
  const std::uint8_t subpage = request.cdb[3];
  const std::uint16_t pointer = request.cdb16(5);
  if (request.cdb[1] & 0x02) invalidField(1);  // parameters changed since the last LOG SENSE
  Bytes content;
  if (page == 0x00) {
    if (subpage != 0 && subpage != 0xFF) invalidField(3);
    for (int code = 0; code < 0x3F; ++code) {
      const auto candidate = static_cast<std::uint8_t>(code);
      if (code != 0 && !logPage(candidate)) continue;
      content.push_back(candidate);
      if (subpage == 0xFF) content.push_back(0);
    }
  } else {
    const auto parameters = logPage(page);
    if (!parameters || subpage != 0) invalidField(parameters ? 3 : 2);
    if (pointer > 0 && (parameters->empty() || pointer > parameters->back().code)) invalidField(5);
    content = encode(*parameters, pointer);
  }
  Bytes data(4);
  data[0] = static_cast<std::uint8_t>(page | (subpage ? 0x40 : 0));
  data[1] = subpage;
  put16(data, 2, content.size());
  append(data, content);
  request.reply(std::move(data), request.cdb16(7));
}

void VirtualDrive::logSelect(ScsiRequest& request) {
  const bool reset = request.cdb[1] & 0x02;
  const std::size_t length = request.cdb16(7);
  if (reset && length != 0) invalidField(7);
  const auto list = request.parameterList(length);
  // Thresholds and counters may be given; the drive looks at their form only.
  for (std::size_t at = 0; at < list.size();) {
    if (at + 4 > list.size()) parameterListLengthError();
    if (!logPage(list[at] & 0x3F)) invalidParameter(static_cast<std::uint16_t>(at));
    at += 4 + readNumber(list, at + 2, 2);
    if (at > list.size()) parameterListLengthError();
  }
  if (reset) {
    counters_ = {};
    logPages_.clear();
  }
}

}  // namespace simulator
