#include "kiv/frame/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

char* trimString(std::string& s, const char* set) {
  const std::size_t first = s.find_first_not_of(set);
  if (first == std::string::npos) {
    s.clear();
  } else {
    s.erase(s.find_last_not_of(set) + 1);
    s.erase(0, first);
  }
  return s.data();
}

void removeMultiple(std::string& s, const char* set) {
  const std::string collapsible(set);
  const auto repeats = [&](char a, char b) { return a == b && collapsible.find(a) != std::string::npos; };
  s.erase(std::unique(s.begin(), s.end(), repeats), s.end());
}

bool getPatternIndex(const std::string& s, const char* pattern, int* start, int* end, char anyRun,
                     char anyOne) {
  const std::size_t patternLength = std::strlen(pattern);
  std::size_t begin = 0;
  std::size_t i = 0;
  if (s == pattern) {
    i = s.size();
  } else {
    std::size_t p = 0;
    std::size_t afterRun = 0;
    while (p < patternLength) {
      const char wanted = pattern[p];
      if (wanted == anyRun) {
        if (++p == patternLength) break;
        afterRun = p;
      } else if (i == s.size()) {
        return false;
      } else if (wanted == s[i] || wanted == anyOne) {
        ++p;
        ++i;
      } else if (afterRun == 0) {
        return false;
      } else {
        if (afterRun == 1) begin = i + 1;
        i = i - (p - afterRun) + 1;
        p = afterRun;
      }
    }
  }
  *start = static_cast<int>(begin);
  *end = static_cast<int>(i);
  return true;
}

std::vector<std::string> splitString(const std::string& s, char delimiter) {
  std::vector<std::string> items;
  for (std::size_t begin = 0, end = 0; begin < s.size(); begin = end + 1) {
    end = std::min(s.find(delimiter, begin), s.size());
    items.emplace_back(s, begin, end - begin);
  }
  return items;
}

std::int64_t parseIntegerValue(std::string text) {
  return std::strtoll(text.c_str(), nullptr, text.starts_with("0x") ? 16 : 10);
}
