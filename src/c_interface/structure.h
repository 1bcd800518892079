// Structures and texts that belong to the host.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "c_interface/failure.h"

/// Refuses a structure that is not there, or whose size is none that this interface ever had: an
/// uninitialised one, or that of a host newer than this library.
template <typename Structure>
void requireStructure(const Structure* structure, const char* name) {
  static_assert(std::is_standard_layout_v<Structure> && offsetof(Structure, size) == 0);
  if (structure == nullptr) throw Failure{KIV_BAD_ARGUMENT, std::string(name) + " is a null pointer."};
  if (structure->size != sizeof(Structure)) {
    throw Failure{KIV_BAD_ARGUMENT, std::string("The member size of ") + name + " is " +
                                        std::to_string(structure->size) + ": set it to the sizeof, " +
                                        std::to_string(sizeof(Structure)) + "."};
  }
}

/// Refuses a text or function that is not there.
template <typename Pointer>
void requirePointer(Pointer pointer, const char* name) {
  if (pointer == nullptr) throw Failure{KIV_BAD_ARGUMENT, std::string(name) + " is a null pointer."};
}

/// Copies a text with its end, cut between two characters of UTF-8 to what there is room for.
template <std::size_t Size>
void copyText(char (&field)[Size], std::string_view text) {
  std::size_t length = std::min(text.size(), Size - 1);
  if (length < text.size()) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  }
  std::memcpy(field, text.data(), length);
  std::memset(field + length, 0, Size - length);
}

/// What a device sent, for people: printable ASCII, '?' for any other byte, no blanks at the end.
std::string deviceText(std::string_view text);
