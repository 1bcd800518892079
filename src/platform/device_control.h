// Control requests to a device's driver, by the way in which their data go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/win32.h"

/// The bytes that a driver says it answered with; none when the request failed (GetLastError tells why).
using BytesAnswered = std::optional<DWORD>;

/// DeviceIoControl, which reads the question and writes the answer; either may be null.
inline BytesAnswered controlDevice(HANDLE device, DWORD code, const void* question, std::size_t questionSize,
                                   void* answer, std::size_t answerSize) {
  DWORD answered = 0;
  const BOOL done =
      DeviceIoControl(device, code, const_cast<void*>(question), static_cast<DWORD>(questionSize), answer,
                      static_cast<DWORD>(answerSize), &answered, nullptr);
  return done ? BytesAnswered(answered) : std::nullopt;
}

/// A request that is its code alone.
inline BytesAnswered commandDevice(HANDLE device, DWORD code) {
  return controlDevice(device, code, nullptr, 0, nullptr, 0);
}

/// Hands the driver a block.
template <typename Block>
BytesAnswered tellDevice(HANDLE device, DWORD code, const Block& block) {
  return controlDevice(device, code, &block, sizeof block, nullptr, 0);
}

/// Has the driver fill a block.
template <typename Answer>
BytesAnswered askDevice(HANDLE device, DWORD code, Answer& answer) {
  return controlDevice(device, code, nullptr, 0, &answer, sizeof answer);
}

/// Hands the driver a block and has it answer in a buffer.
template <typename Question>
BytesAnswered askDevice(HANDLE device, DWORD code, const Question& question, std::span<std::uint8_t> answer) {
  return controlDevice(device, code, &question, sizeof question, answer.data(), answer.size());
}

/// Hands the driver a block, in which it answers.
template <typename Block>
BytesAnswered exchangeWithDevice(HANDLE device, DWORD code, Block& block) {
  return controlDevice(device, code, &block, sizeof block, &block, sizeof block);
}
