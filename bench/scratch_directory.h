#pragma once

#include <filesystem>
#include <fstream>
#include <string>

/// An empty working directory for as long as it lives. In memory: what a file costs on a disk is not the
/// library's.
class ScratchDirectory {
 public:
  ScratchDirectory()
      : path(std::filesystem::path("/dev/shm") / "kiv_bench"), previous(std::filesystem::current_path()) {
    std::filesystem::remove_all(path);
    std::filesystem::create_directory(path);
    std::filesystem::current_path(path);
  }
  ~ScratchDirectory() {
    std::filesystem::current_path(previous);
    std::filesystem::remove_all(path);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  void write(const char* name, const std::string& text) const {
    std::ofstream file(path / name, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text << std::flush;
  }

 private:
  std::filesystem::path path;
  std::filesystem::path previous;
};
