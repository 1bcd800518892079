#include "simulator/devices/mode_pages.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace simulator {

constexpr std::uint8_t parametersSaveable = 0x80;
constexpr std::uint8_t subpageFormat = 0x40;
constexpr std::uint8_t allPages = 0x3F;
constexpr std::uint8_t allSubpages = 0xFF;

void ModePages::add(std::uint8_t code, std::uint8_t subpage, Bytes content, Bytes changeable) {
  const std::size_t size = std::max(content.size(), changeable.size());
  content.resize(size);
  changeable.resize(size);
  Bytes page;
  if (subpage == 0) {
    page = {code, static_cast<std::uint8_t>(size)};
  } else {
    page = {static_cast<std::uint8_t>(code | subpageFormat), subpage, static_cast<std::uint8_t>(size >> 8),
            static_cast<std::uint8_t>(size)};
  }
  Bytes mask(page.size());
  append(page, content);
  append(mask, changeable);
  remove(code, subpage);
  const auto after = std::find_if(pages_.begin(), pages_.end(), [&](const ModePage& other) {
    return std::tie(other.code, other.subpage) > std::tie(code, subpage);
  });
  pages_.insert(after, {code, subpage, std::move(mask), page, page, page});
}

void ModePages::remove(std::uint8_t code, std::uint8_t subpage) {
  std::erase_if(pages_, [&](const ModePage& page) { return page.code == code && page.subpage == subpage; });
}

const ModePage* ModePages::find(std::uint8_t code, std::uint8_t subpage) const {
  const auto found = std::find_if(pages_.begin(), pages_.end(), [&](const ModePage& page) {
    return page.code == code && page.subpage == subpage;
  });
  return found == pages_.end() ? nullptr : &*found;
}

bool ModePages::has(std::uint8_t code, std::uint8_t subpage) const { return find(code, subpage) != nullptr; }

const Bytes& ModePages::current(std::uint8_t code, std::uint8_t subpage) const {
  const ModePage* page = find(code, subpage);
  if (!page) throw std::out_of_range("the device has no such mode page");
  return page->current;
}

Bytes& ModePages::current(std::uint8_t code, std::uint8_t subpage) {
  return const_cast<Bytes&>(std::as_const(*this).current(code, subpage));
}

Bytes ModePages::sense(std::uint8_t control, std::uint8_t code, std::uint8_t subpage) const {
  if (control == 3 && saving_ == Saving::Never) refuse(5, 0x39, 0x00);
  Bytes data;
  for (const ModePage& page : pages_) {
    const bool wanted =
        (code == allPages || code == page.code) && (subpage == allSubpages || subpage == page.subpage);
    if (!wanted) continue;
    Bytes bytes = control == 0   ? page.current
                  : control == 1 ? page.changeable
                  : control == 2 ? page.defaults
                                 : page.saved;
    // Page code and length stand in the header whichever values follow.
    const std::ptrdiff_t header = page.subpage == 0 ? 2 : 4;
    std::copy_n(page.current.begin(), header, bytes.begin());
    if (saving_ == Saving::Possible) bytes[0] |= parametersSaveable;
    append(data, bytes);
  }
  if (data.empty()) invalidField(2);
  return data;
}

void ModePages::select(std::span<const std::uint8_t> list, std::size_t at, bool save) {
  std::vector<ModePage> changed = pages_;
  while (at < list.size()) {
    const auto position = static_cast<std::uint16_t>(at);
    const std::uint8_t first = list[at];
    if (first & parametersSaveable) invalidParameter(position);  // reserved in MODE SELECT
    const bool hasSubpage = first & subpageFormat;
    const std::size_t header = hasSubpage ? 4 : 2;
    if (at + header > list.size()) parameterListLengthError();
    const std::uint8_t subpage = hasSubpage ? list[at + 1] : std::uint8_t{0};
    const std::size_t size = header + (hasSubpage ? readNumber(list, at + 2, 2) : list[at + 1]);
    const auto page = std::find_if(changed.begin(), changed.end(), [&](const ModePage& candidate) {
      return candidate.code == (first & 0x3F) && candidate.subpage == subpage;
    });
    if (page == changed.end()) invalidParameter(position);
    if (size != page->current.size()) invalidParameter(static_cast<std::uint16_t>(at + header - 1));
    if (at + size > list.size()) parameterListLengthError();
    for (std::size_t i = header; i < size; ++i) {
      if ((list[at + i] ^ page->current[i]) & ~page->changeable[i]) {
        invalidParameter(static_cast<std::uint16_t>(at + i));
      }
      page->current[i] = list[at + i];
    }
    if (save) page->saved = page->current;
    at += size;
  }
  pages_ = std::move(changed);
}

void ModePages::reset() {
  for (ModePage& page : pages_) page.current = page.saved;
}

}  // namespace simulator
