#include "simulator/windows/import_table.h"

#ifdef _WIN32

#include <cstdint>
#include <string_view>

#include "simulator/recording/recorded_calls.h"

namespace simulator {
namespace {

void* replacement(std::string_view name) {
  for (const recording::Call& call : recording::table()) {
    if (name == call.name) return call.function;
  }
  return nullptr;
}

bool overwrite(ULONGLONG& slot, void* function) {
  DWORD protection = 0;
  if (!VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection)) return false;
  slot = reinterpret_cast<ULONGLONG>(function);
  VirtualProtect(&slot, sizeof slot, protection, &protection);
  return true;
}

}  // namespace

int patchImports(HMODULE module) {
  auto* base = reinterpret_cast<std::uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return 0;
  int patched = 0;
  const auto* import = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
  for (; import->Name != 0; ++import) {
    if (import->OriginalFirstThunk == 0) continue;
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + import->OriginalFirstThunk);
    auto* slot = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + import->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
      const auto* entry = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      void* function = replacement(reinterpret_cast<const char*>(entry->Name));
      if (function && overwrite(slot->u1.Function, function)) ++patched;
    }
  }
  return patched;
}

void takeOverImports() {
  // For every room anew: a library that was unloaded and loaded again came back with its own imports.
  if (HMODULE module = GetModuleHandleA("kiv.dll")) patchImports(module);
}

}  // namespace simulator

#else

namespace simulator {

void takeOverImports() {}

}  // namespace simulator

#endif
