// What the host needs of the system. Windows' side is the product; the other one lets the same program run in
// simulated rooms on Linux, under sanitizers.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host::platform {

/// The words of the command line behind the program's name.
std::vector<std::string> arguments(int count, char** words);
/// Standard output as it is written, with a line feed alone at a line's end.
void useBinaryOutput();
std::string computerName();
/// "Windows 10.0.19045"
std::string systemVersion();
/// Windows' words for one of its error numbers, without the full stop.
std::string windowsWords(std::uint32_t error);
/// In hexadecimal; empty when the file cannot be read to its end.
std::string sha256(const std::filesystem::path& file);

enum class Stream { Input, Output, Error };
bool isTerminal(Stream stream);
/// What is typed, up to the end of the line; nothing at the end of input or after Ctrl-C.
std::optional<std::string> readLine();

/// Binds the functions of kiv_c.h to a DLL, by default the kiv.dll beside this program. Throws HostError.
void loadLibrary(const std::string& file);
/// Points the library's Windows calls at the simulator, whose room, recorder or player stands by then.
void enterRoom();

/// Ends with the last process that holds it: those that were started meanwhile hold it, too.
class Lock {
 public:
  /// Nothing when another process holds the lock of this name.
  static std::optional<Lock> take(const std::string& name);
  static bool isHeld(const std::string& name);
  ~Lock();
  Lock(Lock&& other) noexcept : handle_(other.handle_) { other.handle_ = none; }
  Lock& operator=(Lock&&) = delete;
  Lock(const Lock&) = delete;

 private:
  static constexpr std::intptr_t none = -1;
  explicit Lock(std::intptr_t handle) : handle_(handle) {}
  std::intptr_t handle_;
};

/// This program once more, with one word on its command line and a line on its standard input. It hears
/// nothing of Ctrl-C, nor of the end of the terminal's window, and outlives this process.
class Process {
 public:
  /// Throws HostError.
  Process(const std::string& word, const std::string& input);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  enum class Event { Line, Nothing, End };
  /// The next line of its standard output, when it comes within that time.
  Event next(std::string& line, std::chrono::milliseconds time);
  /// Ends it at once, and waits for the end.
  void terminate();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// What a process writes when the second Ctrl-C ends it.
struct Farewell {
  int status;
  std::string output;  ///< to standard output
  std::string error;   ///< to standard error
};
/// From now on Ctrl-C is counted. The second one ends this process while `farewell` is not null.
void countInterrupts(const Farewell* farewell);
unsigned interrupts();

}  // namespace host::platform
