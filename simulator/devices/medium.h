// A cartridge: what is on its tape and in its memory chip.
#pragma once

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
};

/// One thing on the tape: a block, or a filemark.
struct TapeObject {
  bool filemark = false;
  Bytes data{};
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
};

class Medium {
 public:
  explicit Medium(MediumOptions options = {});

  const MediumOptions& options() const { return options_; }
  MediumOptions& options() { return options_; }
  std::vector<Partition>& partitions() { return partitions_; }
  const std::vector<Partition>& partitions() const { return partitions_; }
  std::map<std::uint16_t, Attribute>& attributes() { return attributes_; }
  /// Lays the tape out anew, empty, with partitions of these capacities in bytes.
  void format(const std::vector<std::uint64_t>& capacities);

 private:
  MediumOptions options_;
  std::vector<Partition> partitions_;
  std::map<std::uint16_t, Attribute> attributes_;
};

}  // namespace simulator
