#include <fmt/format.h>
#include <windows.h>

#include <array>
#include <utility>

#include "host/core/error.h"
#include "host/platform/platform.h"
#include "host/platform/wide.h"

namespace host::platform {
namespace {

/// A handle that is closed at the end of its scope.
struct Handle {
  HANDLE value = nullptr;
  Handle() = default;
  explicit Handle(HANDLE handle) : value(handle) {}
  ~Handle() { close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  void close() {
    if (value) CloseHandle(value);
    value = nullptr;
  }
};

[[noreturn]] void fail(const char* what) {
  const DWORD error = GetLastError();
  throw HostError(exitUnforeseen, fmt::format("{}: {} (Windows error {}). End other programs and try again.",
                                              what, windowsWords(error), error));
}

/// A pipe of which one end is for a new process.
void makePipe(Handle& read, Handle& write, const Handle& inherited) {
  if (!CreatePipe(&read.value, &write.value, nullptr, 0) ||
      !SetHandleInformation(inherited.value, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
    fail("No pipe could be made");
}

// The handles that every new process is to hold, too.
HANDLE heldLock = nullptr;

std::wstring objectName(const std::string& name) { return wide("Global\\kivhost-" + name); }

std::wstring ownFile() {
  std::wstring file(32768, L'\0');
  file.resize(GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size())));
  return file;
}

}  // namespace

// The lock is that the object exists. Nobody owns it, so it lasts as long as a process has it open.
std::optional<Lock> Lock::take(const std::string& name) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  Handle mutex(CreateMutexW(&inheritable, FALSE, objectName(name).c_str()));
  // Another user's object is refused instead of opened.
  if (!mutex.value || GetLastError() == ERROR_ALREADY_EXISTS) return std::nullopt;
  heldLock = std::exchange(mutex.value, nullptr);
  return Lock(reinterpret_cast<std::intptr_t>(heldLock));
}

bool Lock::isHeld(const std::string& name) {
  const Handle mutex(OpenMutexW(SYNCHRONIZE, FALSE, objectName(name).c_str()));
  return mutex.value || GetLastError() == ERROR_ACCESS_DENIED;
}

Lock::~Lock() {
  if (handle_ == none) return;
  heldLock = nullptr;
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

struct Process::State {
  Handle process, output;
  std::string pending;
};

Process::Process(const std::string& word, const std::string& input) : state_(std::make_unique<State>()) {
  Handle inputRead, inputWrite, outputWrite;
  makePipe(inputRead, inputWrite, inputRead);
  makePipe(state_->output, outputWrite, outputWrite);

  // Nothing else is inherited: what this process has open must not stay open when it ends.
  std::array<HANDLE, 3> inherited = {inputRead.value, outputWrite.value, heldLock};
  const SIZE_T count = heldLock ? 3 : 2;
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<unsigned char> memory(size);
  auto* attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
  if (!InitializeProcThreadAttributeList(attributes, 1, 0, &size) ||
      !UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(),
                                 count * sizeof(HANDLE), nullptr, nullptr))
    fail("The process of a drive could not be prepared");
  STARTUPINFOEXW start{};
  start.StartupInfo.cb = sizeof start;
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdInput = inputRead.value;
  start.StartupInfo.hStdOutput = outputWrite.value;
  start.lpAttributeList = attributes;
  const std::wstring file = ownFile();
  std::wstring commandLine = L"\"" + file + L"\" " + wide(word);
  PROCESS_INFORMATION information{};
  // Without this console it hears neither of Ctrl-C nor of the window's end.
  const BOOL created =
      CreateProcessW(file.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT, nullptr,
                     nullptr, &start.StartupInfo, &information);
  DeleteProcThreadAttributeList(attributes);
  if (!created) fail("The process of a drive could not be started");
  CloseHandle(information.hThread);
  state_->process.value = information.hProcess;
  outputWrite.close();
  DWORD written = 0;
  const std::string line = input + '\n';
  WriteFile(inputWrite.value, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

Process::~Process() = default;

Process::Event Process::next(std::string& line, std::chrono::milliseconds time) {
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(time.count());
  while (true) {
    if (const std::size_t feed = state_->pending.find('\n'); feed != std::string::npos) {
      line = state_->pending.substr(0, feed);
      state_->pending.erase(0, feed + 1);
      return Event::Line;
    }
    std::array<char, 4096> block;
    DWORD size = 0;
    if (!PeekNamedPipe(state_->output.value, nullptr, 0, nullptr, &size, nullptr)) return Event::End;
    if (size > 0) {
      if (!ReadFile(state_->output.value, block.data(), static_cast<DWORD>(block.size()), &size, nullptr))
        return Event::End;
      state_->pending.append(block.data(), size);
      continue;
    }
    if (GetTickCount64() >= end) return Event::Nothing;
    Sleep(10);
  }
}

void Process::terminate() {
  TerminateProcess(state_->process.value, KIV_INTERRUPTED);
  // A process that is inside a driver may stay a while; nobody waits for it for ever.
  WaitForSingleObject(state_->process.value, 5000);
}

}  // namespace host::platform
