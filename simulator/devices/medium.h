// A cartridge: what is on its tape and in its memory chip.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "simulator/devices/scsi.h"

namespace simulator {

struct MediumOptions {
  std::string barcode = "QOR001L6";   ///< volume tag
  std::string serial = "QM10020030";  ///< medium serial number
  std::uint8_t densityCode = 0x5A;
  std::uint64_t capacity = 2'500'000'000'000;  ///< bytes
  bool writeProtected = false;
  bool cleaning = false;  ///< there is no tape for data in it
};

/// One thing on the tape: a block, or a filemark.
struct TapeObject {
  bool filemark = false;
  Bytes data{};
  std::uint32_t key = 0;  ///< checksum of the key that a block is encrypted with; 0: it is not
};

struct Partition {
  std::vector<TapeObject> objects;
  std::uint64_t capacity = 0;  ///< bytes

  /// Bytes that the first `count` objects take.
  std::uint64_t used(std::size_t count) const;
};

/// An attribute of the medium auxiliary memory (SPC-4 7.4).
struct Attribute {
  enum Format : std::uint8_t { Binary = 0, Ascii = 1, Text = 2 };
  Format format = Binary;
  bool readOnly = false;
  Bytes value{};

  /// A number of this many bytes, which hosts cannot change.
  static Attribute number(std::size_t width, std::uint64_t value);
};
using Attributes = std::map<std::uint16_t, Attribute>;
/// Bytes that the memory chip holds.
constexpr std::uint64_t memoryCapacity = 16'352;

/// What a cartridge remembers of its use.
struct MediumUsage {
  std::uint64_t loads = 0;
  std::uint16_t formats = 0;
  std::uint32_t changes = 0;                  ///< loads in which something was written
  std::uint64_t written = 0, read = 0;        ///< bytes, in its life
  std::uint64_t writtenNow = 0, readNow = 0;  ///< bytes, in the current load
  std::array<Bytes, 4> drives{};  ///< vendor and serial number at the last loads, the latest first
};

class Medium {
 public:
  explicit Medium(MediumOptions options = {});

  const MediumOptions& options() const { return options_; }
  MediumOptions& options() { return options_; }
  std::vector<Partition>& partitions() { return partitions_; }
  const std::vector<Partition>& partitions() const { return partitions_; }
  Attributes& attributes() { return attributes_; }
  const MediumUsage& usage() const { return usage_; }
  /// Medium type code, as mode data and diagnostics tell it.
  std::uint8_t type() const;
  void noteLoad(Bytes drive);
  void noteWritten(std::size_t bytes);
  void noteRead(std::size_t bytes);
  /// Lays the tape out anew, empty, with partitions of these capacities in bytes.
  void format(const std::vector<std::uint64_t>& capacities);

 private:
  MediumOptions options_;
  MediumUsage usage_;
  std::vector<Partition> partitions_;
  Attributes attributes_;
};

}  // namespace simulator
