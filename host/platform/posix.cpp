#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <iostream>

#include "host/core/error.h"
#include "host/platform/platform.h"
#include "simulator/windows/windows_calls.h"

namespace host::platform {

std::vector<std::string> arguments(int count, char** words) { return {words + 1, words + count}; }

void useBinaryOutput() {}

std::string computerName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string systemVersion() {
  utsname system{};
  return uname(&system) == 0 ? fmt::format("{} {}", system.sysname, system.release) : "";
}

std::string windowsWords(std::uint32_t error) {
  std::array<char, 512> words{};
  const DWORD size = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, error, 0, words.data(),
                                    static_cast<DWORD>(words.size()), nullptr);
  std::string text(words.data(), size);
  text.erase(text.find_last_not_of(". \r\n") + 1);
  return text;
}

std::string sha256(const std::filesystem::path& file) {
  int ends[2];
  if (pipe(ends) != 0) return "";
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execlp("sha256sum", "sha256sum", "--", file.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::string text(64, '\0');
  const ssize_t size = read(ends[0], text.data(), text.size());
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return size == 64 && status == 0 ? text : "";
}

bool isTerminal(Stream stream) { return isatty(static_cast<int>(stream)) == 1; }

std::optional<std::string> readLine() {
  std::string line;
  for (char c; read(STDIN_FILENO, &c, 1) == 1;) {
    if (c == '\n') return line;
    line += c;
  }
  return std::nullopt;
}

void loadLibrary(const std::string& file) {
  if (!file.empty())
    throw HostError(exitUnforeseen, "--library " + file + ": here the library is part of the program.");
}

void enterRoom() {}

// The lock is a name of a socket, which lasts as long as a process has it open.
static sockaddr_un socketName(const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string text = "kivhost-" + name;
  text.copy(address.sun_path + 1, sizeof address.sun_path - 1);
  return address;
}

std::optional<Lock> Lock::take(const std::string& name) {
  const int handle = socket(AF_UNIX, SOCK_DGRAM, 0);
  const sockaddr_un address = socketName(name);
  if (bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return Lock(handle);
  close(handle);
  return std::nullopt;
}

bool Lock::isHeld(const std::string& name) {
  const int handle = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = socketName(name);
  const bool held = connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(handle);
  return held;
}

Lock::~Lock() {
  if (handle_ != none) close(static_cast<int>(handle_));
}

struct Process::State {
  pid_t process = 0;
  int output = -1;
  std::string pending;
};

Process::Process(const std::string& word, const std::string& input) : state_(std::make_unique<State>()) {
  int in[2], out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
    throw HostError(exitUnforeseen, "No pipe could be made.");
  state_->process = fork();
  if (state_->process == 0) {
    setsid();
    signal(SIGINT, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execl("/proc/self/exe", "kivhost", word.c_str(), nullptr);
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  state_->output = out[0];
  const std::string line = input + '\n';
  if (write(in[1], line.data(), line.size()) < 0) state_->pending.clear();
  close(in[1]);
}

Process::~Process() {
  close(state_->output);
  waitpid(state_->process, nullptr, 0);
}

Process::Event Process::next(std::string& line, std::chrono::milliseconds time) {
  while (true) {
    if (const std::size_t feed = state_->pending.find('\n'); feed != std::string::npos) {
      line = state_->pending.substr(0, feed);
      state_->pending.erase(0, feed + 1);
      return Event::Line;
    }
    pollfd descriptor{state_->output, POLLIN, 0};
    if (poll(&descriptor, 1, static_cast<int>(time.count())) <= 0) return Event::Nothing;
    std::array<char, 4096> block;
    const ssize_t size = read(state_->output, block.data(), block.size());
    if (size <= 0) return Event::End;
    state_->pending.append(block.data(), static_cast<std::size_t>(size));
  }
}

void Process::terminate() { kill(state_->process, SIGKILL); }

static std::atomic<unsigned> interruptCount = 0;
static std::atomic<const Farewell*> currentFarewell = nullptr;

static void onInterrupt(int) {
  const Farewell* farewell = currentFarewell;
  if (++interruptCount < 2 || !farewell) return;
  const bool told = write(STDERR_FILENO, farewell->error.data(), farewell->error.size()) >= 0 &&
                    write(STDOUT_FILENO, farewell->output.data(), farewell->output.size()) >= 0;
  _exit(told ? farewell->status : exitUnforeseen);
}

void countInterrupts(const Farewell* farewell) {
  currentFarewell = farewell;
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigaction(SIGINT, &action, nullptr);
}

unsigned interrupts() { return interruptCount; }

}  // namespace host::platform
