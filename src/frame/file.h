// Whole files in terms of the C library: C++'s streams would weigh more than everything else in the DLL.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

enum class FileAccess { Read, Replace, Append };

/// Null when it cannot be opened. Bytes are read and written as they are.
File openFile(const std::string& name, FileAccess access);

/// Appends all that the file holds. False when it could not be read to its end.
bool readAll(std::FILE* file, std::string& text);

/// Writes and closes. False when not all of the text is in the file.
bool writeAndClose(File file, std::string_view text);
