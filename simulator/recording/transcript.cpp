#include "simulator/recording/transcript.h"

#include <algorithm>

#include "simulator/devices/scsi.h"
#include "simulator/windows/import_table.h"

namespace simulator::recording {
namespace {

Transcript* currentTranscript = nullptr;

/// What fits of the bytes that a call has left in a buffer, without the zeros at their end.
template <class Byte>
std::span<Byte> worthTelling(std::span<Byte> buffer, std::size_t count) {
  while (count > 0 && (count > buffer.size() || buffer[count - 1] == Byte{})) --count;
  return buffer.first(count);
}

template <class Byte, class Source>
void put(std::span<Byte> buffer, std::size_t count, const Source& source, const char* key) {
  if (source.size() > buffer.size())
    throw std::runtime_error("has more in \"" + std::string(key) + "\" than the library has room for");
  const auto rest = std::copy(source.begin(), source.end(), buffer.begin());
  const std::size_t filled = std::max(source.size(), std::min(count, buffer.size()));
  std::fill(rest, buffer.begin() + static_cast<std::ptrdiff_t>(filled), Byte{});
}

}  // namespace

void Answer::bytes(const char* key, std::span<std::uint8_t> buffer, std::size_t count) {
  if (direction_ == taken) {
    fields_[key] = toHex(worthTelling(buffer, count));
    return;
  }
  const auto stored = fromHex(textIn(fields_, key));
  if (!stored) throw std::runtime_error("has no bytes in \"" + std::string(key) + "\"");
  put(buffer, count, *stored, key);
}

void Answer::text(const char* key, std::span<char> buffer, std::size_t count) {
  if (direction_ == taken) {
    const auto told = worthTelling(buffer, count);
    fields_[key] = toText({told.data(), told.size()});
    return;
  }
  put(buffer, count, fromText(textIn(fields_, key)), key);
}

Transcript::Transcript() {
  if (currentTranscript) throw std::logic_error("there is a recorder or player already");
  takeOverImports();
  currentTranscript = this;
}

Transcript::~Transcript() { currentTranscript = nullptr; }

Transcript* Transcript::current() { return currentTranscript; }

}  // namespace simulator::recording
