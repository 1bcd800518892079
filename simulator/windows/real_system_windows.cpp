#ifdef _WIN32

#include "simulator/windows/real_system.h"

namespace simulator::real {

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile) {
  return CreateFileA(name, access, share, static_cast<LPSECURITY_ATTRIBUTES>(security), disposition, flags,
                     templateFile);
}
BOOL closeHandle(HANDLE handle) { return CloseHandle(handle); }
BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped) {
  return ReadFile(file, buffer, count, read, static_cast<LPOVERLAPPED>(overlapped));
}
BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped) {
  return WriteFile(file, buffer, count, written, static_cast<LPOVERLAPPED>(overlapped));
}
DWORD getFileSize(HANDLE file, LPDWORD high) { return GetFileSize(file, high); }
BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped) {
  return DeviceIoControl(device, code, in, inSize, out, outSize, returned,
                         static_cast<LPOVERLAPPED>(overlapped));
}
DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size) { return QueryDosDeviceA(name, target, size); }
void sleep(DWORD milliseconds) { Sleep(milliseconds); }
__time64_t time64(__time64_t* result) { return _time64(result); }

}  // namespace simulator::real

#endif
