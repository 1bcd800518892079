// kivhost: finds tape drives and libraries, and updates drive firmware with kiv.dll.
#include <fmt/format.h>

#include <cstdio>

#include "host/command_line.h"
#include "host/core/drive_order.h"
#include "host/core/error.h"
#include "host/platform/platform.h"

namespace host {
namespace {

/// The end of every run: a sentence for people, a document for programs.
int finish(const Options& options, const Json& found, const std::vector<Warning>& warnings, int status,
           const std::string& message) {
  if (!message.empty()) Output(options.json).complain(message);
  if (options.json) {
    const std::string text = dump(document(found, warnings, status, message));
    std::fwrite(text.data(), 1, text.size(), stdout);
  }
  return status;
}

int run(const CommandLine& commandLine) {
  const Options& options = commandLine.options;
  std::optional<Run> run;
  int status = exitUnforeseen;
  std::string message;
  try {
    run.emplace(options);
    status = commandLine.command(*run);
  } catch (const HostError& error) {
    status = error.status;
    message = error.what();
  } catch (const std::exception& error) {
    message =
        fmt::format("Something unforeseen happened ({}): run the command again with --log.", error.what());
  }
  return finish(options, run ? run->document : Json::object(), run ? run->warnings : std::vector<Warning>(),
                status, message);
}

}  // namespace
}  // namespace host

int main(int count, char** argv) {
  using namespace host;
  platform::useBinaryOutput();
  const std::vector<std::string> words = platform::arguments(count, argv);
  if (words.size() == 1 && words[0] == driveProcessWord) return driveProcess();
  CommandLine commandLine;
  Refusal refusal;
  if (readCommandLine(words, commandLine, refusal)) return run(commandLine);
  if (!refusal.help.empty()) {
    std::fputs(refusal.help.c_str(), stdout);
    return 0;
  }
  return finish(commandLine.options, Json::object(), {}, refusal.status, refusal.message);
}
