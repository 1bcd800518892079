#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/commands/commands.h"

namespace host {

/// A command line that was understood: a command with its options.
struct CommandLine {
  std::function<int(Run&)> command;
  Options options;
};

struct Refusal {
  int status = 0;
  std::string message;  ///< empty when `help` answers
  std::string help;
};

/// Reads the words. Returns false and fills the refusal for words that make no sense, and for a call for
/// help.
bool readCommandLine(const std::vector<std::string>& words, CommandLine& commandLine, Refusal& refusal);

}  // namespace host
