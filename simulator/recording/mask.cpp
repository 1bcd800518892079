#include "simulator/recording/mask.h"

#include <algorithm>
#include <cctype>

#include "simulator/devices/scsi.h"
#include "simulator/recording/secrets.h"

namespace simulator::recording {
namespace {

/// The fields of a line that hold bytes; all other texts are text.
constexpr const char* byteFields[] = {"cdb", "data", "in", "information", "out", "sense"};

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool sameLetters(char a, char b) { return lower(a) == lower(b); }
bool sameBytes(char a, char b) { return a == b; }

/// One thing to replace wherever it stands.
struct Replacement {
  std::string from;
  std::string to;
  bool (*same)(char, char) = sameLetters;
};

/// Digits for digits and letters for letters: the number `n`, written into a text from its end.
std::string disguised(std::string text, unsigned n) {
  const bool barcode = text.size() == 8 && (text[6] == 'L' || text[6] == 'M');
  for (std::size_t i = text.size() - (barcode ? 2 : 0); i-- > 0;) {
    const unsigned base = isDigit(text[i]) ? 10 : isLetter(text[i]) ? 26 : 1;
    if (base == 1) continue;
    text[i] = static_cast<char>((base == 10 ? '0' : 'A') + n % base);
    n /= base;
  }
  return text;
}

/// The company that gave a name stands in its first seven digits.
std::string disguisedName(std::string name, unsigned n) {
  name[3] = static_cast<char>(name[3] & 0xF0);
  for (std::size_t i = name.size(); i-- > 4; n >>= 8) name[i] = static_cast<char>(n);
  return name;
}

std::string hexOf(const std::string& bytes) {
  return toHex({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

/// As a name is printed: with something, or nothing, between its bytes.
std::string printed(const std::string& name, std::string_view separator) {
  std::string text;
  for (const char byte : name) {
    if (!text.empty()) text += separator;
    text += hexOf({byte});
  }
  return text;
}

class Mask {
 public:
  explicit Mask(const Secrets& secrets) : secrets_(secrets) {
    for (const std::string& text : secrets.texts()) add({text, disguiseOf(text, disguised)});
    for (const std::string& name : secrets.names()) {
      const std::string other = disguiseOf(name, disguisedName);
      add({name, other, sameBytes});
      for (const char* separator : {"", ":", "-"}) add({printed(name, separator), printed(other, separator)});
    }
    // A text that is part of another one does not tear that apart.
    std::stable_sort(replacements_.begin(), replacements_.end(),
                     [](const auto& a, const auto& b) { return a.from.size() > b.from.size(); });
  }

  void apply(std::string& bytes) const {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (const auto& [from, to, same] : replacements_) {
        if (from.size() > bytes.size() - at || !std::equal(from.begin(), from.end(), &bytes[at], same))
          continue;
        for (std::size_t i = 0; i < to.size(); ++i)
          bytes[at + i] = std::islower(static_cast<unsigned char>(bytes[at + i])) && same == sameLetters
                              ? lower(to[i])
                              : to[i];
        at += from.size() - 1;
        break;
      }
    }
  }

  void apply(Json& fields) const {
    for (auto& [key, value] : fields.items()) {
      if (!value.is_string()) continue;
      const bool hexadecimal =
          std::find(std::begin(byteFields), std::end(byteFields), key) != std::end(byteFields);
      const auto bytes = hexadecimal ? fromHex(value.get_ref<const std::string&>()) : std::nullopt;
      std::string text = bytes ? std::string(bytes->begin(), bytes->end()) : fromText(value);
      apply(text);
      value = bytes ? hexOf(text) : toText(text);
    }
  }

 private:
  void add(Replacement replacement) { replacements_.push_back(std::move(replacement)); }

  /// The next disguise in which no secret shows.
  std::string disguiseOf(const std::string& text, std::string (*disguise)(std::string, unsigned)) {
    const bool canDiffer = disguise(text, 1) != disguise(text, 2);
    for (unsigned tries = 0; canDiffer && tries < 10'000; ++tries) {
      std::string other = disguise(text, ++count_);
      const auto shows = [&](const std::string& secret) { return other.find(secret) != std::string::npos; };
      if (std::none_of(secrets_.texts().begin(), secrets_.texts().end(), shows) &&
          !secrets_.names().contains(other))
        return other;
    }
    return std::string(text.size(), '*');
  }

  const Secrets& secrets_;
  std::vector<Replacement> replacements_;
  unsigned count_ = 0;
};

}  // namespace

Recordings masked(Recordings recordings) {
  Secrets secrets;
  for (const Recording& recording : recordings) {
    for (const Line& line : recording.lines) secrets.learn(line);
  }
  const Mask mask(secrets);
  for (Recording& recording : recordings) {
    for (Line& line : recording.lines) {
      mask.apply(line.asked);
      mask.apply(line.answered);
    }
    const auto command = recording.header.find("command");
    if (command != recording.header.end() && command->is_string())
      mask.apply(command->get_ref<std::string&>());
    recording.header["masked"] = true;
  }
  return recordings;
}

}  // namespace simulator::recording
