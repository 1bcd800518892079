#include "simulator/room/journal.h"

#include <algorithm>

namespace simulator {

static std::string joined(std::initializer_list<std::string_view> words, std::string_view outcome) {
  std::string line;
  for (std::string_view word : words) {
    if (word.empty()) continue;
    if (!line.empty()) line += ' ';
    line += word;
  }
  if (!outcome.empty()) line.append(" -> ").append(outcome);
  return line;
}

std::string JournalEntry::line() const {
  return joined({call, cdb.empty() ? device : address, text}, outcome);
}

std::vector<std::string> Journal::lines() const {
  std::vector<std::string> result;
  for (const JournalEntry& entry : entries_) result.push_back(entry.line());
  return result;
}

std::vector<std::string> Journal::lines(std::string_view device) const {
  std::vector<std::string> result;
  for (const JournalEntry& entry : entries_) {
    if (entry.device == device || entry.address == device) result.push_back(entry.line());
  }
  return result;
}

std::vector<std::string> Journal::cdbs() const {
  std::vector<std::string> result;
  for (const JournalEntry& entry : entries_) {
    if (!entry.cdb.empty()) result.push_back(joined({entry.address, entry.text}, entry.outcome));
  }
  return result;
}

std::vector<std::string> Journal::cdbs(std::string_view address) const {
  std::vector<std::string> result;
  for (const JournalEntry& entry : entries_) {
    if (!entry.cdb.empty() && entry.address == address) result.push_back(joined({entry.text}, entry.outcome));
  }
  return result;
}

std::size_t Journal::count(std::string_view what) const {
  return static_cast<std::size_t>(
      std::count_if(entries_.begin(), entries_.end(), [&](const JournalEntry& entry) {
        return entry.cdb.empty() ? entry.call == what || entry.text == what : entry.text.starts_with(what);
      }));
}

}  // namespace simulator
