// Binds everything that kiv.dll exports when the DLL is loaded, instead of when the program starts.
//
// A call of a dllimport function, or an access to a dllimport variable, goes through a pointer named __imp_
// and the symbol, which normally comes with the import library. Here the host brings the pointers itself and
// fills them from the module, so the rest of it uses kiv's headers as if it were linked to the DLL, whichever
// file that is.
#include "host/kiv_dll.h"

#include <fmt/format.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "host/core/result.h"

#define KIV_EXPORT(number, symbol) void* import##number asm("__imp_" symbol) = nullptr;
#include "kiv_exports.inc"
#undef KIV_EXPORT

namespace host {
namespace {

struct Import {
  const char* symbol;
  void** pointer;
};

#define KIV_EXPORT(number, symbol) {symbol, &import##number},
constexpr Import imports[] = {
#include "kiv_exports.inc"
};
#undef KIV_EXPORT

/// Without these a DLL is not ours.
constexpr std::array<std::string_view, 13> indispensable = {"getKivVersion",
                                                            "scanScsiBus",
                                                            "updateFirmware",
                                                            "updateFirmwareAllDevices",
                                                            "_Z7kivInitv",
                                                            "_Z7kivFiniv",
                                                            "automationReadyMode",
                                                            "libraryMode",
                                                            "listOfSupportedDevices",
                                                            "deviceController",
                                                            "logger",
                                                            "_ZN6Logger11setLogLevelE9logLevels",
                                                            "testHost"};

HMODULE load(const std::string& path) {
  if (path.empty())
    return LoadLibraryExA("kiv.dll", nullptr,
                          LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  return LoadLibraryA(path.c_str());
}

}  // namespace

KivDll::KivDll(const std::string& path) : module_(load(path)), path_(path.empty() ? "kiv.dll" : path) {
  if (!module_)
    throw HostError(
        fmt::format("{} cannot be loaded (Windows error {}): put kiv.dll beside kivhost.exe, or name the "
                    "file with --library.",
                    path_, GetLastError()));
  bindExports();
}

KivDll::~KivDll() { FreeLibrary(static_cast<HMODULE>(module_)); }

void KivDll::bindExports() {
  for (const Import& import : imports) {
    *import.pointer = reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), import.symbol));
    if (*import.pointer) continue;
    missing_ = import.symbol;
    if (std::find(indispensable.begin(), indispensable.end(), missing_) != indispensable.end()) {
      FreeLibrary(static_cast<HMODULE>(module_));
      throw HostError(
          fmt::format("{} is no kiv.dll, it lacks {}: name another file with --library.", path_, missing_));
    }
  }
}

void KivDll::requireClasses() const {
  if (missing_.empty()) return;
  throw HostError(
      fmt::format("{} is of another version, it lacks {}: use the kiv.dll that came with this kivhost.",
                  path_, missing_));
}

}  // namespace host
