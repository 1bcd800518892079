#include "device/inquiry_list.h"

#include <algorithm>
#include <cstring>

#include "kiv/frame/logger.h"
#include "platform/device_control.h"

namespace {

constexpr std::size_t BUS_DATA_OFFSET = offsetof(SCSI_ADAPTER_BUS_INFO, BusData);
constexpr std::size_t RECORD_HEADER_SIZE = offsetof(SCSI_INQUIRY_DATA, InquiryData);

}  // namespace

InquiryList::InquiryList(std::vector<std::uint8_t> buffer, std::size_t returnedBytes)
    : bytes(std::move(buffer)), returned(std::min(returnedBytes, bytes.size())), visited(returned) {}

unsigned InquiryList::busCount() const { return returned > 0 ? bytes[0] : 0; }

std::optional<SCSI_BUS_DATA> InquiryList::bus(unsigned number) const {
  const std::size_t offset = BUS_DATA_OFFSET + number * sizeof(SCSI_BUS_DATA);
  if (offset + sizeof(SCSI_BUS_DATA) > returned) {
    logger->logWarning("SCSI", 0, "Inquiry list: bus %u lies beyond the %zu bytes returned", number,
                       returned);
    return std::nullopt;
  }
  SCSI_BUS_DATA data;
  std::memcpy(&data, &bytes[offset], sizeof data);
  return data;
}

std::optional<InquiryRecord> InquiryList::visit(std::size_t offset) {
  if (offset == 0) return std::nullopt;
  if (offset < BUS_DATA_OFFSET || offset > returned || returned - offset < RECORD_HEADER_SIZE) {
    logger->logWarning("SCSI", 0, "Inquiry list: record at %zu lies outside of the %zu bytes returned",
                       offset, returned);
    return std::nullopt;
  }
  if (visited[offset]) {
    logger->logWarning("SCSI", 0, "Inquiry list: record at %zu comes a second time", offset);
    return std::nullopt;
  }
  visited[offset] = true;

  SCSI_INQUIRY_DATA header{};
  std::memcpy(&header, &bytes[offset], RECORD_HEADER_SIZE);
  if (header.InquiryDataLength > returned - offset - RECORD_HEADER_SIZE) {
    logger->logWarning("SCSI", 0, "Inquiry list: record at %zu is cut short", offset);
    return std::nullopt;
  }
  const std::uint8_t type =
      header.InquiryDataLength > 0 ? bytes[offset + RECORD_HEADER_SIZE] : NO_DEVICE_TYPE;
  InquiryRecord record{header.PathId,
                       header.TargetId,
                       header.Lun,
                       header.DeviceClaimed != 0,
                       type,
                       header.NextInquiryDataOffset,
                       {}};
  std::memcpy(record.inquiry.data(), &bytes[offset] + RECORD_HEADER_SIZE,
              std::min<std::size_t>(header.InquiryDataLength, record.inquiry.size()));
  return record;
}

std::optional<InquiryList> readInquiryList(HANDLE port, DWORD& error) {
  for (DWORD size = INQUIRY_BUFFER_STEP; size < INQUIRY_BUFFER_LIMIT; size += INQUIRY_BUFFER_STEP) {
    std::vector<std::uint8_t> buffer(size);
    if (const BytesAnswered answered =
            controlDevice(port, IOCTL_SCSI_GET_INQUIRY_DATA, nullptr, 0, buffer.data(), size))
      return InquiryList(std::move(buffer), *answered);
    error = GetLastError();
  }
  return std::nullopt;
}
