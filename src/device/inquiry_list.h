#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/win32.h"

/// The device type of a record that came without its INQUIRY data.
inline constexpr std::uint8_t NO_DEVICE_TYPE = 0xFF;

/// One logical unit as the port driver lists it.
struct InquiryRecord {
  std::uint8_t pathId;
  std::uint8_t targetId;
  std::uint8_t lun;
  bool claimed;                          ///< by a class driver
  std::uint8_t deviceType;               ///< INQUIRY byte 0, qualifier bits included
  std::uint32_t nextRecordOffset;        ///< 0 ends the chain
  std::array<std::uint8_t, 36> inquiry;  ///< standard INQUIRY data, zeros behind what was delivered
};

/// The answer to IOCTL_SCSI_GET_INQUIRY_DATA: SCSI_ADAPTER_BUS_INFO and per bus a chain of SCSI_INQUIRY_DATA.
///
/// No count and no offset in it is trusted. Whatever leads out of the bytes that were returned, or back to a
/// record that was visited already, ends the walk with a log line.
///
///     for (auto record = list.first(*bus); record; record = list.next(*record))
class InquiryList {
 public:
  /// `returned` bytes of the buffer count, as the driver reported them.
  InquiryList(std::vector<std::uint8_t> buffer, std::size_t returned);

  /// As the list states it: there may be fewer entries.
  unsigned busCount() const;
  std::optional<SCSI_BUS_DATA> bus(unsigned number) const;
  std::optional<InquiryRecord> first(const SCSI_BUS_DATA& bus) { return visit(bus.InquiryDataOffset); }
  std::optional<InquiryRecord> next(const InquiryRecord& record) { return visit(record.nextRecordOffset); }

  /// The whole buffer, zeros after the returned bytes.
  std::span<const std::uint8_t> buffer() const { return bytes; }

 private:
  std::optional<InquiryRecord> visit(std::size_t offset);

  std::vector<std::uint8_t> bytes;
  std::size_t returned;
  std::vector<bool> visited;
};

/// The buffer grows by a step after each refusal; at the limit the driver is given up.
inline constexpr DWORD INQUIRY_BUFFER_STEP = 2048;
inline constexpr DWORD INQUIRY_BUFFER_LIMIT = 20480;

/// Asks a port driver. Nothing when it refuses: `error` then holds the last attempt's error number.
std::optional<InquiryList> readInquiryList(HANDLE port, DWORD& error);
