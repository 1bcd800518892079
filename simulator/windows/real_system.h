// The system underneath, for calls that are not for a simulated device: Windows itself, or files on Linux
// that behave like Windows' files.
#pragma once

#include "platform/win32.h"

namespace simulator::real {

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile);
BOOL closeHandle(HANDLE handle);
BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped);
BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped);
DWORD getFileSize(HANDLE file, LPDWORD high);
BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped);
DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size);
void sleep(DWORD milliseconds);
__time64_t time64(__time64_t* result);

}  // namespace simulator::real
