#include "simulator/windows/class_driver.h"

#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

constexpr int any = -1;

struct SenseError {
  std::uint8_t key;
  int asc;
  int ascq;
  DWORD error;
};

// The first row that fits counts.
constexpr SenseError senseErrors[] = {
    {0x1, any, any, ERROR_SUCCESS},
    {0x2, 0x3A, any, ERROR_NO_MEDIA_IN_DRIVE},
    {0x2, any, any, ERROR_NOT_READY},
    {0x3, any, any, ERROR_CRC},
    {0x4, 0x53, 0x00, ERROR_UNABLE_TO_UNLOAD_MEDIA},
    {0x4, any, any, ERROR_IO_DEVICE},
    {0x5, 0x20, any, ERROR_INVALID_FUNCTION},
    {0x5, 0x21, 0x01, ERROR_ILLEGAL_ELEMENT_ADDRESS},
    {0x5, 0x24, any, ERROR_INVALID_PARAMETER},
    {0x5, 0x26, any, ERROR_INVALID_PARAMETER},
    {0x5, 0x3B, 0x0D, ERROR_DESTINATION_ELEMENT_FULL},
    {0x5, 0x3B, 0x0E, ERROR_SOURCE_ELEMENT_EMPTY},
    {0x5, 0x3B, 0x11, ERROR_MAGAZINE_NOT_PRESENT},
    {0x5, 0x53, any, ERROR_UNABLE_TO_UNLOAD_MEDIA},
    {0x5, any, any, ERROR_INVALID_FUNCTION},
    {0x6, 0x28, any, ERROR_MEDIA_CHANGED},
    {0x6, any, any, ERROR_BUS_RESET},
    {0x7, any, any, ERROR_WRITE_PROTECT},
    {0x8, any, any, ERROR_NO_DATA_DETECTED},
    {0xD, any, any, ERROR_END_OF_MEDIA},
};

Sense parse(const Bytes& bytes) {
  const auto at = [&](std::size_t i) { return i < bytes.size() ? bytes[i] : std::uint8_t{0}; };
  return {.key = static_cast<std::uint8_t>(at(2) & 0x0F),
          .asc = at(12),
          .ascq = at(13),
          .filemark = (at(2) & 0x80) != 0,
          .endOfMedium = (at(2) & 0x40) != 0};
}

}  // namespace

DWORD windowsError(const Sense& sense) {
  if (sense.filemark) return ERROR_FILEMARK_DETECTED;
  if (sense.endOfMedium)
    return sense.asc == 0 && sense.ascq == 4 ? ERROR_BEGINNING_OF_MEDIA : ERROR_END_OF_MEDIA;
  for (const SenseError& row : senseErrors) {
    if (row.key == sense.key && (row.asc == any || row.asc == sense.asc) &&
        (row.ascq == any || row.ascq == sense.ascq)) {
      return row.error;
    }
  }
  return sense.key == 0 ? ERROR_SUCCESS : ERROR_IO_DEVICE;
}

ScsiRequest ClassDriver::run(const Bytes& cdb, std::size_t dataInCapacity,
                             std::span<const std::uint8_t> dataOut) {
  ScsiRequest request;
  std::copy(cdb.begin(), cdb.end(), request.cdb.begin());
  request.cdbLength = cdb.size();
  request.dataOut = dataOut;
  request.dataInCapacity = dataInCapacity;

  Room& room = device_.room();
  const Fault* fault = room.faults().strike({.call = "class driver",
                                             .device = handleName_,
                                             .address = device_.address(),
                                             .text = toHex(cdb),
                                             .cdb = cdb});
  if (fault) {
    room.clock().advance(std::int64_t{fault->delay} * 1000);
    if (fault->vanish) device_.goAway(std::int64_t{*fault->vanish} * 1000);
    if (fault->error) throw WindowsError{*fault->error};
  }
  if (fault && (fault->sense || fault->status)) {
    request.status = fault->sense ? std::uint8_t{statusCheckCondition} : *fault->status;
    if (fault->sense) request.sense = fault->sense->bytes();
  } else {
    device_.execute(request);
    room.clock().advance(request.duration);
    if (fault && fault->reply) request.dataIn = *fault->reply;
  }
  if (fault && fault->transfer && request.dataIn.size() > *fault->transfer)
    request.dataIn.resize(*fault->transfer);
  if (request.dataIn.size() > dataInCapacity) request.dataIn.resize(dataInCapacity);
  lastSense_ = request.sense;
  return request;
}

void ClassDriver::check(const ScsiRequest& outcome) {
  if (outcome.status == statusGood) return;
  const DWORD error =
      outcome.status == statusCheckCondition ? windowsError(parse(outcome.sense)) : ERROR_BUSY;
  if (error != ERROR_SUCCESS) throw WindowsError{error};
}

Bytes ClassDriver::read(const Bytes& cdb, std::size_t capacity) {
  ScsiRequest outcome = run(cdb, capacity);
  check(outcome);
  return std::move(outcome.dataIn);
}

void ClassDriver::send(const Bytes& cdb, std::span<const std::uint8_t> dataOut) {
  check(run(cdb, 0, dataOut));
}

}  // namespace simulator
