#include "simulator/devices/scsi.h"

#include <algorithm>

#include "simulator/windows/handle.h"

namespace simulator {

Bytes Sense::bytes() const {
  Bytes data(18);
  data[0] = static_cast<std::uint8_t>((information ? 0x80 : 0) | 0x70);
  data[2] = static_cast<std::uint8_t>((filemark ? 0x80 : 0) | (endOfMedium ? 0x40 : 0) |
                                      (incorrectLength ? 0x20 : 0) | (key & 0x0F));
  put32(data, 3, information.value_or(0));
  data[7] = 10;
  data[12] = asc;
  data[13] = ascq;
  std::copy(specific.begin(), specific.end(), data.begin() + 15);
  return data;
}

// SKSV is set; C/D tells a field of the CDB from one of the parameter list.
static std::array<std::uint8_t, 3> fieldPointer(bool inCdb, std::uint16_t byte) {
  return {static_cast<std::uint8_t>(inCdb ? 0xC0 : 0x80), static_cast<std::uint8_t>(byte >> 8),
          static_cast<std::uint8_t>(byte)};
}

void refuse(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq) {
  throw CheckCondition{{.key = key, .asc = asc, .ascq = ascq}};
}

void invalidField(std::uint16_t byte) {
  throw CheckCondition{{.key = 5, .asc = 0x24, .ascq = 0, .specific = fieldPointer(true, byte)}};
}

void invalidParameter(std::uint16_t byte) {
  throw CheckCondition{{.key = 5, .asc = 0x26, .ascq = 0, .specific = fieldPointer(false, byte)}};
}

void parameterListLengthError() { refuse(5, 0x1A, 0); }

std::uint16_t ScsiRequest::cdb16(std::size_t at) const {
  return static_cast<std::uint16_t>(readNumber(cdb, at, 2));
}
std::uint32_t ScsiRequest::cdb24(std::size_t at) const {
  return static_cast<std::uint32_t>(readNumber(cdb, at, 3));
}
std::uint32_t ScsiRequest::cdb32(std::size_t at) const {
  return static_cast<std::uint32_t>(readNumber(cdb, at, 4));
}
std::uint64_t ScsiRequest::cdb64(std::size_t at) const { return readNumber(cdb, at, 8); }

void ScsiRequest::reply(Bytes data, std::size_t allocation) {
  if (data.size() > allocation) data.resize(allocation);
  dataIn = std::move(data);
}

std::span<const std::uint8_t> ScsiRequest::parameterList(std::size_t length) {
  if (dataOut.size() < length) throw WindowsError{ERROR_IO_DEVICE};
  dataOutUsed = length;
  return dataOut.first(length);
}

static void putNumber(Bytes& data, std::size_t at, std::size_t size, std::uint64_t value) {
  if (data.size() < at + size) data.resize(at + size);
  for (std::size_t i = 0; i < size; ++i) {
    data[at + size - 1 - i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

void put16(Bytes& data, std::size_t at, std::uint64_t value) { putNumber(data, at, 2, value); }
void put24(Bytes& data, std::size_t at, std::uint64_t value) { putNumber(data, at, 3, value); }
void put32(Bytes& data, std::size_t at, std::uint64_t value) { putNumber(data, at, 4, value); }
void put64(Bytes& data, std::size_t at, std::uint64_t value) { putNumber(data, at, 8, value); }

Bytes bigEndian(std::size_t size, std::uint64_t value) {
  Bytes data;
  putNumber(data, 0, size, value);
  return data;
}

std::uint64_t readNumber(std::span<const std::uint8_t> data, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = at; i < at + size; ++i) value = value << 8 | (i < data.size() ? data[i] : 0u);
  return value;
}

void putText(Bytes& data, std::size_t at, std::size_t width, const std::string& text) {
  if (data.size() < at + width) data.resize(at + width);
  for (std::size_t i = 0; i < width; ++i) {
    data[at + i] = static_cast<std::uint8_t>(i < text.size() ? text[i] : ' ');
  }
}

Bytes padded(std::size_t width, const std::string& text) {
  Bytes data;
  putText(data, 0, width, text);
  return data;
}

void append(Bytes& data, const Bytes& more) { data.insert(data.end(), more.begin(), more.end()); }

std::string toHex(std::span<const std::uint8_t> data) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (std::uint8_t byte : data) {
    if (!text.empty()) text += ' ';
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace simulator
