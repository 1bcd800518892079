// Control requests to Windows' SCSI port and class drivers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/device_control.h"

/// The device of host adapter n, "\\.\scsi0:".
inline std::string portPath(unsigned hostAdapter) {
  return R"(\\.\scsi)" + std::to_string(hostAdapter) + ":";
}

/// Reads a structure. Nothing when the request fails (GetLastError tells why), or when fewer than `needed`
/// bytes come back: drivers of older systems leave out fields that were added later.
template <typename Reply>
std::optional<Reply> readStructure(HANDLE device, DWORD code, std::size_t needed = sizeof(Reply),
                                   const void* question = nullptr, std::size_t questionSize = 0) {
  Reply reply{};
  SetLastError(ERROR_SUCCESS);
  if (controlDevice(device, code, question, questionSize, &reply, sizeof reply) < needed) return std::nullopt;
  return reply;
}

inline std::optional<SCSI_ADDRESS> askScsiAddress(HANDLE device) {
  return readStructure<SCSI_ADDRESS>(device, IOCTL_SCSI_GET_ADDRESS);
}

inline std::optional<IO_SCSI_CAPABILITIES> askCapabilities(HANDLE port) {
  return readStructure<IO_SCSI_CAPABILITIES>(port, IOCTL_SCSI_GET_CAPABILITIES,
                                             offsetof(IO_SCSI_CAPABILITIES, TaggedQueuing));
}

inline std::optional<STORAGE_ADAPTER_DESCRIPTOR> askAdapterDescriptor(HANDLE device) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageAdapterProperty;
  query.QueryType = PropertyStandardQuery;
  return readStructure<STORAGE_ADAPTER_DESCRIPTOR>(device, IOCTL_STORAGE_QUERY_PROPERTY,
                                                   offsetof(STORAGE_ADAPTER_DESCRIPTOR, AdapterUsesPio),
                                                   &query, sizeof query);
}
