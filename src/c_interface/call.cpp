#include "c_interface/call.h"

#include <atomic>
#include <exception>
#include <new>

#include "c_interface/structure.h"
#include "frame/guarded.h"
#include "kiv/api.h"
#include "kiv/kiv.h"

namespace {

std::atomic<bool> running = false;
kiv_error lastError = {sizeof(kiv_error), KIV_OK, 0, {}, {}};

void keep(std::int32_t result, std::string_view text, std::uint32_t windowsError, const kiv_sense& sense) {
  lastError.result = result;
  lastError.windows_error = windowsError;
  lastError.sense = sense;
  copyText(lastError.text, text.empty() ? kiv_result_text(result) : text);
}

}  // namespace

RunningCall::RunningCall() : mine(!running.exchange(true)) { prepareForExceptions(); }

RunningCall::~RunningCall() {
  if (mine) running = false;
}

std::int32_t keepFailure(const Failure& failure) noexcept {
  keep(failure.result, failure.text, failure.windowsError, failure.sense);
  return failure.result;
}

const kiv_error& keepThrown() noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    keepFailure(failure);
  } catch (const std::bad_alloc&) {
    keep(KIV_NO_MEMORY, "", 0, {});
  } catch (const std::exception& error) {
    keep(KIV_UNEXPECTED, error.what(), 0, {});
  } catch (...) {
    keep(KIV_UNEXPECTED, "", 0, {});
  }
  return lastError;
}

std::string senseText(const kiv_sense& sense) {
  if (!sense.valid) return "no sense data";
  constexpr char DIGITS[] = "0123456789ABCDEF";
  const auto hex = [&](std::uint8_t byte) { return std::string{DIGITS[byte >> 4], DIGITS[byte & 0xF]}; };
  return "sense " + std::string(1, DIGITS[sense.key & 0xF]) + "/" + hex(sense.asc) + "/" + hex(sense.ascq) +
         ", " + kiv_sense_text(sense.key, sense.asc, sense.ascq);
}

std::string deviceText(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c < ' ' || c > '~') c = '?';
  }
  result.erase(result.find_last_not_of(' ') + 1);
  return result;
}

KIV_API std::uint32_t kiv_interface_version() { return KIV_INTERFACE_VERSION; }

KIV_API const char* kiv_version() {
  // A copy: the library writes its own text anew at each call.
  static const std::string text = getKivVersion();
  return text.c_str();
}

KIV_API std::int32_t kiv_last_error(kiv_error* error) {
  return runCall([&] {
    requireStructure(error, "The error");
    *error = lastError;
  });
}
