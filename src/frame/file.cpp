#include "frame/file.h"

#include <array>

File openFile(const std::string& name, FileAccess access) {
  constexpr const char* MODES[] = {"rb", "wb", "ab"};
  return File(std::fopen(name.c_str(), MODES[static_cast<std::size_t>(access)]));
}

bool readAll(std::FILE* file, std::string& text) {
  std::array<char, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file))
    text.append(block.data(), count);
  return std::ferror(file) == 0;
}

bool writeAndClose(File file, std::string_view text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  return std::fclose(file.release()) == 0 && written;
}
