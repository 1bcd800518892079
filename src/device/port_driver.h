// Control requests to Windows' SCSI port and class drivers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/win32.h"

/// The device of host adapter n, "\\.\scsi0:".
inline std::string portPath(unsigned hostAdapter) {
  return R"(\\.\scsi)" + std::to_string(hostAdapter) + ":";
}

/// Asks for a structure. Nothing when the request fails (GetLastError tells why), or when fewer than `needed`
/// bytes come back: drivers of older systems leave out fields that were added later.
template <typename Reply>
std::optional<Reply> askDevice(HANDLE device, DWORD code, std::size_t needed = sizeof(Reply),
                               void* input = nullptr, DWORD inputSize = 0) {
  Reply reply{};
  DWORD returned = 0;
  SetLastError(ERROR_SUCCESS);
  if (!DeviceIoControl(device, code, input, inputSize, &reply, sizeof reply, &returned, nullptr) ||
      returned < needed)
    return std::nullopt;
  return reply;
}

inline std::optional<SCSI_ADDRESS> askScsiAddress(HANDLE device) {
  return askDevice<SCSI_ADDRESS>(device, IOCTL_SCSI_GET_ADDRESS);
}

inline std::optional<IO_SCSI_CAPABILITIES> askCapabilities(HANDLE port) {
  return askDevice<IO_SCSI_CAPABILITIES>(port, IOCTL_SCSI_GET_CAPABILITIES,
                                         offsetof(IO_SCSI_CAPABILITIES, TaggedQueuing));
}

inline std::optional<STORAGE_ADAPTER_DESCRIPTOR> askAdapterDescriptor(HANDLE device) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageAdapterProperty;
  query.QueryType = PropertyStandardQuery;
  return askDevice<STORAGE_ADAPTER_DESCRIPTOR>(device, IOCTL_STORAGE_QUERY_PROPERTY,
                                               offsetof(STORAGE_ADAPTER_DESCRIPTOR, AdapterUsesPio), &query,
                                               sizeof query);
}
