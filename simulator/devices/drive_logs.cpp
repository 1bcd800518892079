// The log pages of a tape drive (SSC-4 8.2, ADC-3 6.1), and LOG SELECT (SPC-4 6.7).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {

constexpr std::uint64_t megabyte = 1'000'000;
constexpr std::uint64_t mebibyte = 1 << 20;
constexpr int hardwareA = 30;  // TapeAlert: a fault that a reset may cure
constexpr std::uint8_t degrees = 31;
constexpr std::uint8_t referenceDegrees = 60;

void VirtualDrive::addLogCommands() {
  const auto errorCounters = [](std::uint64_t bytes) {
    return counters({{0x0002, 8, 0}, {0x0003, 8, 0}, {0x0005, 8, bytes}, {0x0006, 8, 0}});
  };
  onLogPage(0x02, [this, errorCounters] { return errorCounters(counters_.bytesWritten); });
  onLogPage(0x03, [this, errorCounters] { return errorCounters(counters_.bytesRead); });
  onLogPage(0x0C, [this] {  // bytes from and to the initiator, cleaning
    return counters({{0x0000, 8, counters_.bytesWritten},
                     {0x0001, 8, counters_.bytesWritten},
                     {0x0002, 8, counters_.bytesRead},
                     {0x0003, 8, counters_.bytesRead},
                     {0x0100, 4, 0}});
  });
  onLogPage(0x0D, [] { return LogParameters{list(0, {0, degrees}), list(1, {0, referenceDegrees})}; });
  onLogPage(0x11, [this] { return LogParameters{list(0, deviceStatus())}; });
  onLogPage(0x12, [this] { return LogParameters{list(0, bigEndian(8, tapeAlerts()))}; });
  onLogPage(0x14, [this] {  // what the drive did in its life, and since its counters were reset
    const auto hours = static_cast<std::uint64_t>(room().clock().elapsed() / 3'600'000);
    const std::string& serial = options().serial;
    LogParameters parameters = counters({{0x0000, 4, lifetime_.loads},
                                         {0x0001, 4, 0},      // cleaning operations
                                         {0x0002, 4, hours},  // powered on
                                         {0x0003, 4, 0},      // of motion
                                         {0x0004, 4, 0},      // metres of tape
                                         {0x0008, 4, 0},      // hours of motion since it was cleaned
                                         {0x000C, 4, lifetime_.powerCycles},
                                         {0x000D, 4, counters_.loads},
                                         {0x000E, 4, 0},    // hard write errors
                                         {0x000F, 4, 0}});  // hard read errors
    const Bytes text(serial.begin(), serial.end());
    parameters.push_back({0x0040, 0x01, text});  // the manufacturer's, the drive's
    parameters.push_back({0x0041, 0x01, text});
    parameters.push_back(list(0x0080, {flag(removalPrevented(), 0)}));
    parameters.push_back(list(0x0081, {0}));  // never too hot
    return parameters;
  });
  onLogPage(0x16, [this] { return diagnosticData(); });
  onLogPage(0x17, [this] {  // page valid, thread count
    return counters({{0x0000, 4, loaded()}, {0x0001, 4, counters_.loads}});
  });
  // Ratios in hundredths, then megabytes and the bytes left over: to the host, from tape, from the host, to
  // tape.
  const auto compression = [this] {
    const std::uint64_t in = counters_.bytesRead;
    const std::uint64_t out = counters_.bytesWritten;
    return counters({{0x0000, 2, 100},
                     {0x0001, 2, 100},
                     {0x0002, 4, in / megabyte},
                     {0x0003, 4, in % megabyte},
                     {0x0004, 4, in / megabyte},
                     {0x0005, 4, in % megabyte},
                     {0x0006, 4, out / megabyte},
                     {0x0007, 4, out % megabyte},
                     {0x0008, 4, out / megabyte},
                     {0x0009, 4, out % megabyte}});
  };
  onLogPage(0x1B, [this, compression] {
    LogParameters parameters = compression();
    parameters.push_back(list(0x0100, {flag(modes_.current(0x0F)[2] & 0x80, 0)}));
    return parameters;
  });
  onLogPage(0x32, compression);
  onLogPage(0x31, [this] { return capacities(); });
  onLogPage(0x37, [this] {  // the maker's performance counters: loads, bytes moved
    return counters({{0x0000, 8, counters_.loads},
                     {0x0001, 8, counters_.bytesWritten},
                     {0x0002, 8, counters_.bytesRead}});
  });
  onCommand(0x4C, {0xFF, 0x03, 0xFF, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::logSelect);
}

std::uint64_t VirtualDrive::tapeAlerts() const { return jammed_ ? std::uint64_t{1} << (64 - hardwareA) : 0; }

/// Very high frequency data, as a library asks for them.
Bytes VirtualDrive::deviceStatus() const {
  const bool initialized = room().clock().milliseconds() >= readyAt_;
  const bool compresses = modes_.has(0x0F) && (modes_.current(0x0F)[2] & 0x80);
  const bool isProtected = medium_ && medium_->options().writeProtected;
  const int first = flag(removalPrevented() || drive_.removalPrevented, 7) | flag(loaded(), 5) |
                    flag(compresses, 4) | flag(isProtected, 3) |
                    flag(initialized, 0);  // PAMR, MACC, CMPR, WRTP, DINIT
  const int second = flag(!loaded(), 5) | flag(medium_ != nullptr, 4) | flag(loaded(), 1) |
                     flag(loaded(), 0);  // RAA, MPRSNT, MTHRD, MOUNTED
  return {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second), 0, 0};
}

/// One entry for the cartridge that could not be unloaded, none for a drive that never failed.
LogParameters VirtualDrive::diagnosticData() const {
  if (!jammed_) return {};
  Bytes entry(68);
  entry[2] = medium_->options().densityCode;
  entry[3] = medium_->type();
  entry[9] = 4;
  entry[10] = 0x53;
  putText(entry, 16, 4, level());
  entry[24] = 0x1B;  // the command that failed
  putText(entry, 28, 32, medium_->options().serial);
  const Bytes now = timestamp();
  std::copy(now.begin(), now.end(), entry.begin() + 60);
  return {list(0x0000, std::move(entry))};
}

/// Remaining and maximum capacity of the main and the alternate partition, in mebibytes.
LogParameters VirtualDrive::capacities() const {
  std::uint64_t remaining[2]{};
  std::uint64_t maximum[2]{};
  for (std::size_t i = 0; loaded() && i < std::min<std::size_t>(2, medium_->partitions().size()); ++i) {
    const Partition& partition = medium_->partitions()[i];
    maximum[i] = partition.capacity / mebibyte;
    remaining[i] = (partition.capacity - partition.used(partition.objects.size())) / mebibyte;
  }
  return counters({{1, 4, remaining[0]}, {2, 4, remaining[1]}, {3, 4, maximum[0]}, {4, 4, maximum[1]}});
}

void VirtualDrive::logSelect(ScsiRequest& request) {
  const bool reset = request.cdb[1] & 0x02;
  const std::size_t length = request.cdb16(7);
  if (reset && length != 0) invalidField(7);
  const auto list = request.parameterList(length);
  // Thresholds and counters may be given; the drive looks at their form only.
  for (std::size_t at = 0; at < list.size();) {
    if (at + 4 > list.size()) parameterListLengthError();
    if (!hasLogPage(list[at] & 0x3F)) invalidParameter(static_cast<std::uint16_t>(at));
    at += 4 + readNumber(list, at + 2, 2);
    if (at > list.size()) parameterListLengthError();
  }
  if (reset) counters_ = {};
}

}  // namespace simulator
