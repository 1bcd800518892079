// Windows' basic types, in their sizes on every system.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using BOOLEAN = std::uint8_t;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONG_PTR = std::uintptr_t;
using HANDLE = void*;
using HLOCAL = void*;
using HWND = void*;
using HDEVINFO = void*;
using HKEY = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPSTR = char*;
using PCSTR = const char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using PBYTE = BYTE*;
using REGSAM = DWORD;
using __time64_t = std::int64_t;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

typedef struct _GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
} GUID;

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
