#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <windows.h>
// Behind windows.h, on which they build.
#include <bcrypt.h>
#include <shellapi.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>

#include "host/platform/platform.h"
#include "host/platform/wide.h"

namespace host::platform {

std::wstring wide(const std::string& text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring result(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(), size);
  return result;
}

std::string narrow(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
  return result;
}

std::vector<std::string> arguments(int, char**) {
  // As Windows keeps it: the program's own words have lost what the code page lacks.
  int count = 0;
  wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) result.push_back(narrow(words[i]));
  LocalFree(words);
  return result;
}

void useBinaryOutput() {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  // The console keeps its code page when this process ends.
  static const UINT before = GetConsoleOutputCP();
  if (before != 0 && SetConsoleOutputCP(CP_UTF8)) std::atexit([] { SetConsoleOutputCP(before); });
}

std::string computerName() {
  std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
  DWORD size = static_cast<DWORD>(name.size());
  return GetComputerNameW(name.data(), &size) ? narrow({name.data(), size}) : "";
}

std::string systemVersion() {
  // GetVersionEx tells a program of the Windows that its manifest names.
  using Function = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto address = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!address || reinterpret_cast<Function>(reinterpret_cast<void*>(address))(&version) != 0)
    return "Windows";
  return fmt::format("Windows {}.{}.{}", version.dwMajorVersion, version.dwMinorVersion,
                     version.dwBuildNumber);
}

std::string windowsWords(std::uint32_t error) {
  std::array<wchar_t, 512> words{};
  const DWORD size = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
      error, 0, words.data(), static_cast<DWORD>(words.size()), nullptr);
  std::string text = narrow({words.data(), size});
  text.erase(text.find_last_not_of(". ") + 1);
  return text.empty() ? "Windows has no words for it" : text;
}

std::string sha256(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  std::array<unsigned char, 32> digest{};
  std::vector<char> block(1 << 16);
  bool good = in && BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) == 0 &&
              BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0;
  while (good && in) {
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    good = !in.bad() && BCryptHashData(hash, reinterpret_cast<PUCHAR>(block.data()),
                                       static_cast<ULONG>(in.gcount()), 0) == 0;
  }
  good = good && BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0) == 0;
  if (hash) BCryptDestroyHash(hash);
  if (algorithm) BCryptCloseAlgorithmProvider(algorithm, 0);
  return good ? fmt::format("{:02x}", fmt::join(digest, "")) : "";
}

static HANDLE handleOf(Stream stream) {
  constexpr DWORD names[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(names[static_cast<int>(stream)]);
}

bool isTerminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handleOf(stream), &mode) != 0;
}

std::optional<std::string> readLine() {
  std::array<char, 256> line{};
  DWORD size = 0;
  if (!ReadFile(handleOf(Stream::Input), line.data(), static_cast<DWORD>(line.size()), &size, nullptr) ||
      size == 0)
    return std::nullopt;
  std::string text(line.data(), size);
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

namespace {

std::atomic<unsigned> interruptCount = 0;
std::atomic<const Farewell*> currentFarewell = nullptr;

void write(Stream stream, const std::string& text) {
  DWORD written = 0;
  WriteFile(handleOf(stream), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

BOOL WINAPI onControl(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  const Farewell* farewell = currentFarewell;
  if (++interruptCount >= 2 && farewell) {
    write(Stream::Error, farewell->error);
    write(Stream::Output, farewell->output);
    ExitProcess(static_cast<UINT>(farewell->status));
  }
  return TRUE;
}

}  // namespace

void countInterrupts(const Farewell* farewell) {
  currentFarewell = farewell;
  SetConsoleCtrlHandler(onControl, TRUE);
}

unsigned interrupts() { return interruptCount; }

}  // namespace host::platform
