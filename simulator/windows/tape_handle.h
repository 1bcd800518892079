// "\\.\Tape0" behind Windows' class driver: the tape interface.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/windows/class_driver.h"
#include "simulator/windows/virtual_adapter.h"

namespace simulator {

constexpr std::uint8_t mediumPartitionPage = 0x11;  // mode page (SSC-4 8.3)

class TapeHandle : public ClassHandle {
 public:
  TapeHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualDevice& drive);

  std::size_t read(std::span<std::uint8_t> buffer) override;
  std::size_t write(std::span<const std::uint8_t> data) override;
  void eraseTape(DWORD type, bool immediate) override;
  void prepareTape(DWORD operation, bool immediate) override;
  void setTapePosition(DWORD method, DWORD partition, std::int64_t offset, bool immediate) override;
  void writeTapemark(DWORD type, DWORD count, bool immediate) override;
  Bytes getTapeParameters(DWORD operation) override;
  void setTapeParameters(DWORD operation, const void* information) override;

 protected:
  ClassDriver& driver() { return driver_; }
  /// MODE SENSE(6), current values: header, block descriptor and page.
  Bytes modeSense(std::uint8_t page, std::uint8_t subpage = 0, bool blockDescriptor = false);
  /// MODE SELECT(6) of an image that MODE SENSE delivered.
  void modeSelect(Bytes image);
  /// LOCATE(16), in this partition or in the given one.
  void locate(std::uint64_t block, std::optional<std::uint8_t> partition, bool immediate);

 private:
  std::uint32_t blockSize();
  Bytes mediaParameters();
  Bytes driveParameters();

  ClassDriver driver_;
};

}  // namespace simulator
