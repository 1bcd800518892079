// kivhost: finds tape drives and libraries, and updates drive firmware with kiv.dll.
#include <fmt/format.h>

#include <cstdio>

#include "host/command_line.h"
#include "host/core/drive_order.h"
#include "host/core/error.h"
#include "host/platform/platform.h"

namespace host {
namespace {

/// What is missing from a recording, or from a replay, comes behind what the command has to say.
void finishRecordings(const Run& run, int& status, std::string& message) {
  std::string missing;
  if (!run.options.record.empty()) {
    missing = finishRecording(run.options.record, run.options.mask);
  } else if (run.replay && status != exitRecording) {
    missing = run.replay->leftAtTheEnd().sentence();
  }
  if (missing.empty()) return;
  message += (message.empty() ? "" : "\n") + missing;
  if (status == KIV_OK || run.replay) status = exitRecording;
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
  try {
    if (run) finishRecordings(*run, status, message);
  } catch (const std::exception& error) {
    status = status == KIV_OK ? exitRecording : status;
    message += (message.empty() ? "" : "\n") + std::string(error.what());
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
