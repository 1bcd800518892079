#pragma once

#include <stdexcept>
#include <string>

namespace host {

/// Exit status of a command line that makes no sense, and of a host that cannot do its work; the library's
/// own results are 0 to 9.
inline constexpr int exitUsage = 64;
inline constexpr int exitHostFailure = 70;

/// What keeps the host from doing its work: one sentence that names what to do.
struct HostError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What a result code of a scan or an update means and what to do about it, in one sentence.
std::string scanSentence(int result);
std::string updateSentence(int result);

}  // namespace host
