// The functions of kiv_c.h, in the DLL that is loaded at run time.
#include <fmt/format.h>
#include <windows.h>

#include "host/core/error.h"
#include "host/core/text.h"
#include "host/platform/platform.h"
#include "simulator/windows/import_table.h"

// Result, name, parameters, arguments.
#define KIV_FUNCTIONS(ROW)                                                                                   \
  ROW(uint32_t, kiv_interface_version, (), ())                                                               \
  ROW(const char*, kiv_version, (), ())                                                                      \
  ROW(const char*, kiv_result_text, (int32_t result), (result))                                              \
  ROW(const char*, kiv_result_name, (int32_t result), (result))                                              \
  ROW(const char*, kiv_sense_text, (uint8_t key, uint8_t asc, uint8_t ascq), (key, asc, ascq))               \
  ROW(const char*, kiv_phase_name, (int32_t phase), (phase))                                                 \
  ROW(int32_t, kiv_last_error, (kiv_error * error), (error))                                                 \
  ROW(int32_t, kiv_set_log, (int32_t level, kiv_log_function function, void* user), (level, function, user)) \
  ROW(int32_t, kiv_set_restart_limit, (uint32_t seconds), (seconds))                                         \
  ROW(int32_t, kiv_scan, (uint32_t flags), (flags))                                                          \
  ROW(uint32_t, kiv_device_count, (), ())                                                                    \
  ROW(kiv_device, kiv_device_at, (uint32_t index), (index))                                                  \
  ROW(int32_t, kiv_device_info, (kiv_device device, kiv_info * info), (device, info))                        \
  ROW(int32_t, kiv_plan, (kiv_device device, uint32_t flags, kiv_plan_info * info), (device, flags, info))   \
  ROW(int32_t, kiv_update,                                                                                   \
      (kiv_device device, uint32_t flags, kiv_progress_function progress, void* user,                        \
       kiv_update_result* result),                                                                           \
      (device, flags, progress, user, result))                                                               \
  ROW(int32_t, kiv_report_start, (), ())                                                                     \
  ROW(int32_t, kiv_report_add, (const kiv_report_entry* entry), (entry))                                     \
  ROW(int32_t, kiv_parameters, (kiv_device device, kiv_parameter_function function, void* user),             \
      (device, function, user))                                                                              \
  ROW(int32_t, kiv_parameter_check, (const char* name, const char* value), (name, value))                    \
  ROW(int32_t, kiv_parameter_set, (kiv_device device, const char* name, const char* value),                  \
      (device, name, value))                                                                                 \
  ROW(int32_t, kiv_elements, (kiv_device library, kiv_element_function function, void* user),                \
      (library, function, user))                                                                             \
  ROW(int32_t, kiv_close, (), ())

namespace {

HMODULE module = nullptr;

#define DECLARE(result, name, parameters, arguments) decltype(&name) name##_pointer = nullptr;
KIV_FUNCTIONS(DECLARE)
#undef DECLARE

struct Function {
  const char* name;
  void** pointer;
};
#define LIST(result, name, parameters, arguments) {#name, reinterpret_cast<void**>(&name##_pointer)},
const Function functions[] = {KIV_FUNCTIONS(LIST)};
#undef LIST

}  // namespace

#define DEFINE(result, name, parameters, arguments) \
  result name parameters { return name##_pointer arguments; }
KIV_FUNCTIONS(DEFINE)
#undef DEFINE

namespace host::platform {

void loadLibrary(const std::string& file) {
  if (module) return;
  const std::string name = file.empty() ? "kiv.dll" : file;
  module = file.empty() ? LoadLibraryExW(L"kiv.dll", nullptr,
                                         LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)
                        : LoadLibraryW(std::filesystem::absolute(toPath(file)).c_str());
  if (!module) {
    const DWORD error = GetLastError();
    throw HostError(exitUnforeseen,
                    fmt::format("{} cannot be loaded: {} (Windows error {}). Put kiv.dll beside "
                                "kivhost.exe, or name the file with --library.",
                                name, windowsWords(error), error));
  }
  for (const Function& function : functions) {
    *function.pointer = reinterpret_cast<void*>(GetProcAddress(module, function.name));
    if (!*function.pointer)
      throw HostError(
          exitUnforeseen,
          fmt::format("{} is no kiv.dll, or too old a one: it lacks {}. Use the kiv.dll that came "
                      "with this kivhost.",
                      name, function.name));
  }
  const uint32_t version = kiv_interface_version();
  if (version >> 16 != KIV_INTERFACE_VERSION >> 16 || version < KIV_INTERFACE_VERSION)
    throw HostError(exitUnforeseen,
                    fmt::format("{} has the interface version {}.{}, which this kivhost does not "
                                "know: use the kiv.dll that came with it.",
                                name, version >> 16, version & 0xFFFF));
}

void enterRoom() { simulator::patchImports(module); }

}  // namespace host::platform
