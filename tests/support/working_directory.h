#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

/// A new, empty working directory for one scope, removed with all that is in it.
class WorkingDirectory {
 public:
  WorkingDirectory() : before(std::filesystem::current_path()) {
    std::random_device random;
    path = std::filesystem::temp_directory_path() /
           ("kiv-test-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(path);
    std::filesystem::current_path(path);
  }
  ~WorkingDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before, ignored);
    std::filesystem::remove_all(path, ignored);
  }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

  void write(const std::string& name, std::string_view content) const {
    std::ofstream(path / name, std::ios::binary) << content;
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  bool holds(const std::string& name) const { return std::filesystem::exists(path / name); }

  std::filesystem::path path;

 private:
  std::filesystem::path before;
};
