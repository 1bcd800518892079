#include "frame/directory.h"

#include <cctype>
#include <utility>

namespace {

#ifdef _WIN32
constexpr char SEPARATOR = '\\';
#else
constexpr char SEPARATOR = '/';
#endif

std::string chosen;

bool isSeparator(char c) { return c == '/' || c == '\\'; }

/// "\file", "\\server\share\file", "C:file", "C:\file".
bool leadsElsewhere(const std::string& name) {
  return isSeparator(name[0]) ||
         (name.size() > 1 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0])));
}

}  // namespace

void setDirectory(std::string path) { chosen = std::move(path); }

const std::string& chosenDirectory() { return chosen; }

std::string inDirectory(const std::string& name) {
  if (chosen.empty() || leadsElsewhere(name)) return name;
  return isSeparator(chosen.back()) ? chosen + name : chosen + SEPARATOR + name;
}
