#include "bench/hollow_windows.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"
#include "scsi/driver_requests.h"

namespace {

enum Kind : std::uintptr_t { FILE_HANDLE = 1, ADAPTER, DRIVER_DEVICE };

HANDLE handleOf(Kind kind, std::uintptr_t number) { return reinterpret_cast<HANDLE>(kind << 32 | number); }
std::uintptr_t numberOf(HANDLE handle) { return reinterpret_cast<std::uintptr_t>(handle) & 0xFFFFFFFF; }
Kind kindOf(HANDLE handle) { return static_cast<Kind>(reinterpret_cast<std::uintptr_t>(handle) >> 32); }

hollow::System present;
std::vector<std::uint8_t> inquiryLists[256];
std::string dosDevices;
DWORD lastError = ERROR_SUCCESS;

constexpr std::string_view STANDARD_INQUIRY("\x01\x80\x06\x02\x1F\x00\x00\x00QOR     ULTRIUM-PX7     N9A0",
                                            36);
constexpr std::string_view SERIAL_NUMBER("\x01\x80\x00\x0AQOR0000001", 14);
constexpr std::string_view DEVICE_IDENTIFICATION("\x01\x83\x00\x04\x01\x03\x00\x00", 8);
constexpr std::uint8_t NO_CARTRIDGE[] = {0x70, 0, 2, 0, 0, 0, 0x0A, 0, 0, 0, 0, 0, 0x3A, 0};
constexpr const char* CLASS_DEVICE = R"(\\?\hba)";

BOOL fail(DWORD error) {
  lastError = error;
  return FALSE;
}

BOOL answer(const void* bytes, std::size_t count, void* out, DWORD size, DWORD* returned) {
  if (count > size) return fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(out, bytes, count);
  *returned = static_cast<DWORD>(count);
  return TRUE;
}

std::vector<std::uint8_t> inquiryListOf(unsigned devices) {
  constexpr std::size_t RECORD = 48;
  constexpr std::size_t DATA = offsetof(SCSI_INQUIRY_DATA, InquiryData);
  std::vector<std::uint8_t> list(sizeof(SCSI_ADAPTER_BUS_INFO) + devices * RECORD);
  SCSI_ADAPTER_BUS_INFO bus{1, {{static_cast<UCHAR>(devices), 0, devices ? ULONG{sizeof bus} : 0}}};
  std::memcpy(list.data(), &bus, sizeof bus);
  for (unsigned i = 0; i < devices; ++i) {
    const std::size_t offset = sizeof bus + i * RECORD;
    SCSI_INQUIRY_DATA record{};
    record.TargetId = static_cast<UCHAR>(i);
    record.InquiryDataLength = static_cast<ULONG>(STANDARD_INQUIRY.size());
    record.NextInquiryDataOffset = i + 1 < devices ? static_cast<ULONG>(offset + RECORD) : 0;
    std::memcpy(&list[offset], &record, DATA);
    std::memcpy(&list[offset] + DATA, STANDARD_INQUIRY.data(), STANDARD_INQUIRY.size());
  }
  return list;
}

BOOL passThrough(void* block, DWORD size, DWORD* returned) {
  auto& request = *static_cast<SCSI_PASS_THROUGH_DIRECT*>(block);
  const UCHAR code = request.Cdb[0];
  if (code == 0x12) {
    const std::string_view page = !(request.Cdb[1] & 1)    ? STANDARD_INQUIRY
                                  : request.Cdb[2] == 0x80 ? SERIAL_NUMBER
                                                           : DEVICE_IDENTIFICATION;
    request.DataTransferLength = std::min<ULONG>(request.DataTransferLength, static_cast<ULONG>(page.size()));
    std::memcpy(request.DataBuffer, page.data(), request.DataTransferLength);
  } else if (code == 0x00 && !present.ready) {
    request.ScsiStatus = 2;
    std::memcpy(static_cast<std::uint8_t*>(block) + request.SenseInfoOffset, NO_CARTRIDGE,
                sizeof NO_CARTRIDGE);
  }
  *returned = size;
  return TRUE;
}

}  // namespace

void hollow::become(const System& system) {
  present = system;
  for (unsigned i = 0; i < system.hostAdapters; ++i) {
    inquiryLists[i] = inquiryListOf(system.devicesPerAdapter);
    inquiryLists[i][offsetof(SCSI_ADAPTER_BUS_INFO, BusData) + offsetof(SCSI_BUS_DATA, InitiatorBusId)] =
        static_cast<std::uint8_t>(i);
  }
  dosDevices.clear();
  for (unsigned i = 0; i < system.driverDevices; ++i) dosDevices += "Tape" + std::to_string(i) + '\0';
  dosDevices += '\0';
}

extern "C" {

HANDLE CreateFileA(LPCSTR name, DWORD, DWORD, void*, DWORD, DWORD, HANDLE) {
  const std::string_view path = name;
  const auto number = [&](std::string_view prefix) {
    return static_cast<unsigned>(std::strtoul(name + prefix.size(), nullptr, 10));
  };
  for (const std::string_view prefix : {std::string_view(R"(\\.\scsi)"), std::string_view(CLASS_DEVICE)}) {
    if (path.starts_with(prefix) && number(prefix) < present.hostAdapters)
      return handleOf(ADAPTER, number(prefix));
  }
  constexpr std::string_view TAPE = R"(\\.\Tape)";
  if (path.starts_with(TAPE) && number(TAPE) < present.driverDevices)
    return handleOf(DRIVER_DEVICE, number(TAPE));
  const int file = path.starts_with('\\') ? -1 : open(name, O_RDONLY);
  lastError = ERROR_FILE_NOT_FOUND;
  return file < 0 ? INVALID_HANDLE_VALUE : handleOf(FILE_HANDLE, static_cast<std::uintptr_t>(file));
}

BOOL CloseHandle(HANDLE handle) {
  if (kindOf(handle) == FILE_HANDLE) close(static_cast<int>(numberOf(handle)));
  return TRUE;
}

BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void*) {
  const auto number = static_cast<ULONG>(numberOf(device));
  switch (code) {
    case IOCTL_SCSI_PASS_THROUGH_DIRECT:
      return passThrough(out, inSize, returned);
    case IOCTL_SCSI_GET_INQUIRY_DATA:
      return answer(inquiryLists[number].data(), inquiryLists[number].size(), out, outSize, returned);
    case IOCTL_SCSI_GET_CAPABILITIES: {
      const IO_SCSI_CAPABILITIES capabilities{sizeof capabilities, 1 << 20, 257, 0, 0, 0, 0, 0};
      return answer(&capabilities, sizeof capabilities, out, outSize, returned);
    }
    case IOCTL_STORAGE_QUERY_PROPERTY: {
      const STORAGE_ADAPTER_DESCRIPTOR descriptor{
          sizeof descriptor, sizeof descriptor, 1 << 20, 257, 0, 0, 0, 0, 0, 0, 0, 0};
      return answer(&descriptor, sizeof descriptor, out, outSize, returned);
    }
    case IOCTL_SCSI_GET_ADDRESS: {
      const SCSI_ADDRESS address{sizeof address, 0, static_cast<UCHAR>(number >> 16),
                                 static_cast<UCHAR>(number), static_cast<UCHAR>(number >> 8)};
      return answer(&address, sizeof address, out, outSize, returned);
    }
    case driver::IOCTL_TAPE_DRIVER_VERSION: {
      const driver::VersionBlock version{"1.2.3.4"};
      return answer(&version, sizeof version, out, outSize, returned);
    }
    default:
      return fail(ERROR_INVALID_FUNCTION);
  }
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD bytesRead, void*) {
  const ssize_t got = read(static_cast<int>(numberOf(file)), buffer, count);
  *bytesRead = got < 0 ? 0 : static_cast<DWORD>(got);
  return got >= 0;
}

DWORD GetFileSize(HANDLE file, LPDWORD high) {
  struct stat about {};
  fstat(static_cast<int>(numberOf(file)), &about);
  *high = static_cast<DWORD>(about.st_size >> 32);
  return static_cast<DWORD>(about.st_size);
}

DWORD QueryDosDeviceA(LPCSTR, LPSTR target, DWORD size) {
  if (dosDevices.size() > size) {
    lastError = ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  std::memcpy(target, dosDevices.data(), dosDevices.size());
  return static_cast<DWORD>(dosDevices.size());
}

HDEVINFO SetupDiGetClassDevsA(const GUID*, PCSTR, HWND, DWORD) { return handleOf(ADAPTER, 0); }
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO) { return TRUE; }
BOOL SetupDiEnumDeviceInterfaces(HDEVINFO, SP_DEVINFO_DATA*, const GUID*, DWORD index,
                                 SP_DEVICE_INTERFACE_DATA* data) {
  data->Reserved = index;
  return index < present.hostAdapters ? TRUE : fail(ERROR_NO_MORE_ITEMS);
}
BOOL SetupDiGetDeviceInterfaceDetailA(HDEVINFO, SP_DEVICE_INTERFACE_DATA* data,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD, PDWORD required,
                                      SP_DEVINFO_DATA*) {
  const std::string path = CLASS_DEVICE + std::to_string(data->Reserved);
  if (required) *required = static_cast<DWORD>(sizeof *detail + path.size());
  if (!detail) return fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(reinterpret_cast<char*>(detail) + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath),
              path.c_str(), path.size() + 1);
  return TRUE;
}
BOOL SetupDiEnumDeviceInfo(HDEVINFO, DWORD, SP_DEVINFO_DATA*) { return fail(ERROR_NO_MORE_ITEMS); }
BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO, SP_DEVINFO_DATA*, DWORD, PDWORD type, PBYTE buffer,
                                       DWORD size, PDWORD required) {
  *type = REG_SZ;
  return answer("Adapter", 8, buffer, size, required);
}
HKEY SetupDiOpenDevRegKey(HDEVINFO, SP_DEVINFO_DATA*, DWORD, DWORD, DWORD, REGSAM) {
  return handleOf(ADAPTER, 0);
}
LONG RegQueryValueExA(HKEY, LPCSTR, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
  *type = REG_SZ;
  answer("Driver", 7, data, *size, size);
  return ERROR_SUCCESS;
}
LONG RegCloseKey(HKEY) { return ERROR_SUCCESS; }

// The tape interface is not asked by what is measured.
DWORD EraseTape(HANDLE, DWORD, BOOL) { return ERROR_NOT_SUPPORTED; }
DWORD PrepareTape(HANDLE, DWORD, BOOL) { return ERROR_NOT_SUPPORTED; }
DWORD SetTapePosition(HANDLE, DWORD, DWORD, DWORD, DWORD, BOOL) { return ERROR_NOT_SUPPORTED; }
DWORD WriteTapemark(HANDLE, DWORD, DWORD, BOOL) { return ERROR_NOT_SUPPORTED; }
DWORD GetTapeParameters(HANDLE, DWORD, LPDWORD, LPVOID) { return ERROR_NOT_SUPPORTED; }
DWORD SetTapeParameters(HANDLE, DWORD, LPVOID) { return ERROR_NOT_SUPPORTED; }
BOOL WriteFile(HANDLE, LPCVOID, DWORD, LPDWORD, void*) { return fail(ERROR_NOT_SUPPORTED); }
DWORD GetFileAttributesA(LPCSTR) { return INVALID_FILE_ATTRIBUTES; }
BOOL MoveFileExA(LPCSTR, LPCSTR, DWORD) { return fail(ERROR_NOT_SUPPORTED); }

DWORD GetLastError() { return lastError; }
void SetLastError(DWORD error) { lastError = error; }
DWORD FormatMessageA(DWORD, LPCVOID, DWORD, DWORD, LPSTR, DWORD, void*) { return 0; }
HLOCAL LocalFree(HLOCAL) { return nullptr; }
void Sleep(DWORD) {}
__time64_t _time64(__time64_t*) { return 0; }
char* _ctime64(const __time64_t*) {
  static char text[] = "Thu Jan  1 00:00:00 1970\n";
  return text;
}
char* _getcwd(char* buffer, int size) { return getcwd(buffer, static_cast<std::size_t>(size)); }

}  // extern "C"
