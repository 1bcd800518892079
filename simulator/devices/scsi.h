// What a command and its outcome are to a virtual device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace simulator {

using Bytes = std::vector<std::uint8_t>;

/// Sense data in fixed format (SPC-4 4.5.3).
struct Sense {
  std::uint8_t key = 0;
  std::uint8_t asc = 0;
  std::uint8_t ascq = 0;
  std::optional<std::uint32_t> information{};  ///< INFORMATION, with the VALID bit
  bool filemark = false;
  bool endOfMedium = false;
  bool incorrectLength = false;
  std::array<std::uint8_t, 3> specific{};  ///< sense-key-specific bytes, with their SKSV bit

  /// 18 bytes, additional length 10.
  Bytes bytes() const;
};

/// Thrown by a handler that refuses or fails its command; becomes CHECK CONDITION.
struct CheckCondition {
  Sense sense;
};

/// CHECK CONDITION with this sense and nothing more.
[[noreturn]] void refuse(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq);
/// Refusal with 5/24/00, INVALID FIELD IN CDB, pointing at a byte of it.
[[noreturn]] void invalidField(std::uint16_t byte);
/// Refusal with 5/26/00, INVALID FIELD IN PARAMETER LIST, pointing at a byte of it.
[[noreturn]] void invalidParameter(std::uint16_t byte);
/// Refusal with 5/1A/00, PARAMETER LIST LENGTH ERROR.
[[noreturn]] void parameterListLengthError();

enum Status : std::uint8_t {
  statusGood = 0x00,
  statusCheckCondition = 0x02,
  statusReservationConflict = 0x18,
};

/// Thrown by a handler that ends its command with a status other than GOOD and CHECK CONDITION.
struct StatusOnly {
  Status status;
};

/// One command on its way through a device: what the host sent, and what the device answers.
struct ScsiRequest {
  std::array<std::uint8_t, 16> cdb{};  ///< padded with zeros
  std::size_t cdbLength = 0;
  std::span<const std::uint8_t> dataOut{};
  std::size_t dataInCapacity = 0;  ///< room in the host's buffer, 0 when it does not expect data

  Bytes dataIn{};               ///< may be longer than the capacity: the host gets what fits
  std::size_t dataOutUsed = 0;  ///< how much of dataOut the device took
  std::int64_t duration = 0;    ///< milliseconds that the device takes
  std::uint8_t status = statusGood;
  Bytes sense{};

  std::uint8_t operation() const { return cdb[0]; }
  std::uint16_t cdb16(std::size_t at) const;
  std::uint32_t cdb24(std::size_t at) const;
  std::uint32_t cdb32(std::size_t at) const;
  std::uint64_t cdb64(std::size_t at) const;

  /// Answers with the first `allocation` bytes of `data`.
  void reply(Bytes data, std::size_t allocation);
  /// Takes `length` bytes from the host. A host that offers fewer has broken the transfer off.
  std::span<const std::uint8_t> parameterList(std::size_t length);
};

/// A flag in a byte of parameter data: the bit of this number, or 0.
constexpr std::uint8_t flag(bool value, int bit) { return static_cast<std::uint8_t>((value ? 1 : 0) << bit); }

// Big-endian fields of parameter data.
void put16(Bytes& data, std::size_t at, std::uint64_t value);
void put24(Bytes& data, std::size_t at, std::uint64_t value);
void put32(Bytes& data, std::size_t at, std::uint64_t value);
void put64(Bytes& data, std::size_t at, std::uint64_t value);
/// A big-endian number of this many bytes.
Bytes bigEndian(std::size_t size, std::uint64_t value);
/// The big-endian number in `data`; what lies beyond its end reads as 0.
std::uint64_t readNumber(std::span<const std::uint8_t> data, std::size_t at, std::size_t size);
/// Left-aligned text, padded with blanks to `width` and cut to it.
void putText(Bytes& data, std::size_t at, std::size_t width, const std::string& text);
Bytes padded(std::size_t width, const std::string& text);
void append(Bytes& data, const Bytes& more);

/// "12 01 83": two upper-case digits per byte.
std::string toHex(std::span<const std::uint8_t> data);

}  // namespace simulator
