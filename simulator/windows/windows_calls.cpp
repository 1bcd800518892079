#include "simulator/windows/windows_calls.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "simulator/recording/recorded_calls.h"
#include "simulator/windows/answer.h"
#include "simulator/windows/real_system.h"

namespace simulator::calls {
namespace {

struct NamedCode {
  DWORD code;
  const char* name;
};
constexpr NamedCode controlNames[] = {
    {IOCTL_SCSI_GET_INQUIRY_DATA, "SCSI_GET_INQUIRY_DATA"},
    {IOCTL_SCSI_GET_CAPABILITIES, "SCSI_GET_CAPABILITIES"},
    {IOCTL_SCSI_PASS_THROUGH_DIRECT, "SCSI_PASS_THROUGH_DIRECT"},
    {IOCTL_SCSI_GET_ADDRESS, "SCSI_GET_ADDRESS"},
    {IOCTL_SCSI_RESCAN_BUS, "SCSI_RESCAN_BUS"},
    {IOCTL_STORAGE_QUERY_PROPERTY, "STORAGE_QUERY_PROPERTY"},
    {IOCTL_CHANGER_GET_PARAMETERS, "CHANGER_GET_PARAMETERS"},
    {IOCTL_CHANGER_SET_ACCESS, "CHANGER_SET_ACCESS"},
    {IOCTL_CHANGER_GET_ELEMENT_STATUS, "CHANGER_GET_ELEMENT_STATUS"},
    {IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS, "CHANGER_INITIALIZE_ELEMENT_STATUS"},
    {IOCTL_CHANGER_SET_POSITION, "CHANGER_SET_POSITION"},
    {IOCTL_CHANGER_EXCHANGE_MEDIUM, "CHANGER_EXCHANGE_MEDIUM"},
    {IOCTL_CHANGER_MOVE_MEDIUM, "CHANGER_MOVE_MEDIUM"},
};

std::string accessText(DWORD access) {
  std::string text;
  if (access & GENERIC_READ) text += 'r';
  if (access & GENERIC_WRITE) text += 'w';
  return text.empty() ? "-" : text;
}

/// An ordinary file or the like, opened through this door.
const std::string* foreignName(HANDLE handle) {
  const auto& names = Room::current()->foreignHandles();
  const auto found = names.find(handle);
  return found == names.end() ? nullptr : &found->second;
}

/// Journals a call on a handle of the system underneath, which sets the last error itself.
template <class Action>
auto answerForeign(const char* call, HANDLE handle, std::string text, Action action) {
  const std::string name = *foreignName(handle);
  using Result = decltype(action(nullptr));
  return answer(call, name, std::move(text), failing(Result{}), [&](JournalEntry&, const Fault* fault) {
    const Result result = action(fault);
    if (!result) throw WindowsError{GetLastError()};
    return result;
  });
}

/// ReadFile and WriteFile tell what they moved also when they fail in the end.
template <class Action>
BOOL transfer(LPDWORD moved, Action action) {
  const auto tell = [moved](std::size_t count) {
    if (moved) *moved = static_cast<DWORD>(count);
  };
  try {
    tell(action());
    return TRUE;
  } catch (const WindowsError& failed) {
    tell(failed.moved);
    throw;
  }
}

}  // namespace

std::string controlName(DWORD code) {
  for (const NamedCode& row : controlNames) {
    if (row.code == code) return row.name;
  }
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile) {
  Room* room = Room::current();
  if (!room || !name)
    return real::createFile(name, access, share, security, disposition, flags, templateFile);
  return answer("CreateFileA", name, accessText(access), failing(INVALID_HANDLE_VALUE),
                [&](JournalEntry&, const Fault*) {
                  if (const DeviceName* device = room->findName(name)) {
                    return room->addHandle(device->open(name, access));
                  }
                  // Every other device name is unknown, whatever the machine underneath has.
                  if (std::string_view(name).starts_with("\\\\.\\")) throw WindowsError{ERROR_FILE_NOT_FOUND};
                  const HANDLE handle =
                      real::createFile(name, access, share, security, disposition, flags, templateFile);
                  if (handle == INVALID_HANDLE_VALUE) throw WindowsError{GetLastError()};
                  room->foreignHandles()[handle] = name;
                  return handle;
                });
}

BOOL closeHandle(HANDLE handle) {
  Room* room = Room::current();
  if (Room::owns(handle)) {
    return answer("CloseHandle", nameOf(handle), "", failing(FALSE), [&](JournalEntry&, const Fault*) {
      if (!room) throw WindowsError{ERROR_INVALID_HANDLE};
      room->closeHandle(handle);
      return TRUE;
    });
  }
  if (!room || !foreignName(handle)) return real::closeHandle(handle);
  const BOOL result =
      answerForeign("CloseHandle", handle, "", [&](const Fault*) { return real::closeHandle(handle); });
  if (result) room->foreignHandles().erase(handle);
  return result;
}

BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped) {
  if (!Room::owns(device))
    return real::deviceIoControl(device, code, in, inSize, out, outSize, returned, overlapped);
  return answer("DeviceIoControl", nameOf(device), controlName(code), failing(FALSE),
                [&](JournalEntry& entry, const Fault* fault) {
                  Handle& handle = handleOf(device);
                  // The access that a control code asks for stands in its bits 14 and 15.
                  const DWORD wanted = code >> 14 & 3;
                  if (((wanted & FILE_READ_ACCESS) && !(handle.access() & GENERIC_READ)) ||
                      ((wanted & FILE_WRITE_ACCESS) && !(handle.access() & GENERIC_WRITE))) {
                    throw WindowsError{ERROR_ACCESS_DENIED};
                  }
                  ControlRequest request{
                      .code = code, .inSize = in ? inSize : 0, .outSize = out ? outSize : 0, .entry = entry};
                  request.buffer.resize(std::max(request.inSize, request.outSize));
                  std::copy_n(static_cast<const std::uint8_t*>(in), request.inSize, request.buffer.begin());
                  handle.control(request);
                  if (fault && entry.cdb.empty()) {
                    if (fault->reply) request.reply(*fault->reply);
                    if (fault->transfer)
                      request.returned = std::min<std::size_t>(request.returned, *fault->transfer);
                  }
                  std::copy_n(request.buffer.begin(), request.returned, static_cast<std::uint8_t*>(out));
                  if (returned) *returned = static_cast<DWORD>(request.returned);
                  return TRUE;
                });
}

BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped) {
  const auto limited = [&](const Fault* fault) {
    return fault && fault->transfer ? std::min<DWORD>(count, *fault->transfer) : count;
  };
  if (Room::owns(file)) {
    return answer("ReadFile", nameOf(file), std::to_string(count), failing(FALSE),
                  [&](JournalEntry&, const Fault* fault) {
                    const std::span room(static_cast<std::uint8_t*>(buffer), limited(fault));
                    return transfer(read, [&] { return handleOf(file).read(room); });
                  });
  }
  if (!Room::current() || !foreignName(file)) return real::readFile(file, buffer, count, read, overlapped);
  return answerForeign("ReadFile", file, std::to_string(count), [&](const Fault* fault) {
    return real::readFile(file, buffer, limited(fault), read, overlapped);
  });
}

BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped) {
  const auto limited = [&](const Fault* fault) {
    return fault && fault->transfer ? std::min<DWORD>(count, *fault->transfer) : count;
  };
  if (Room::owns(file)) {
    return answer("WriteFile", nameOf(file), std::to_string(count), failing(FALSE),
                  [&](JournalEntry&, const Fault* fault) {
                    const std::span data(static_cast<const std::uint8_t*>(buffer), limited(fault));
                    return transfer(written, [&] { return handleOf(file).write(data); });
                  });
  }
  if (!Room::current() || !foreignName(file))
    return real::writeFile(file, buffer, count, written, overlapped);
  return answerForeign("WriteFile", file, std::to_string(count), [&](const Fault* fault) {
    return real::writeFile(file, buffer, limited(fault), written, overlapped);
  });
}

DWORD getFileSize(HANDLE file, LPDWORD high) {
  if (Room::owns(file)) {
    return answer("GetFileSize", nameOf(file), "", failing(INVALID_FILE_SIZE),
                  [](JournalEntry&, const Fault*) -> DWORD { throw WindowsError{ERROR_INVALID_FUNCTION}; });
  }
  if (!Room::current() || !foreignName(file)) return real::getFileSize(file, high);
  return answer("GetFileSize", *foreignName(file), "", failing(INVALID_FILE_SIZE),
                [&](JournalEntry&, const Fault*) {
                  const DWORD size = real::getFileSize(file, high);
                  if (size == INVALID_FILE_SIZE && !high) throw WindowsError{GetLastError()};
                  return size;
                });
}

DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size) {
  Room* room = Room::current();
  if (!room) return real::queryDosDevice(name, target, size);
  return answer("QueryDosDeviceA", name ? name : "", "", failing(DWORD{0}),
                [&](JournalEntry&, const Fault* fault) {
                  std::string list;
                  const std::vector<std::string> names = room->dosNames();
                  if (name) {
                    if (std::find(names.begin(), names.end(), name) == names.end())
                      throw WindowsError{ERROR_FILE_NOT_FOUND};
                    list = std::string("\\Device\\") + name + '\0';
                  } else {
                    for (const std::string& known : names) list += known + '\0';
                  }
                  list += '\0';
                  if (fault && fault->reply) list.assign(fault->reply->begin(), fault->reply->end());
                  if (list.size() > size) throw WindowsError{ERROR_INSUFFICIENT_BUFFER};
                  std::copy(list.begin(), list.end(), target);
                  return static_cast<DWORD>(list.size());
                });
}

void sleep(DWORD milliseconds) {
  Room* room = Room::current();
  if (!room) return real::sleep(milliseconds);
  room->journal().add({.call = "Sleep", .text = std::to_string(milliseconds)});
  room->clock().advance(milliseconds);
}

__time64_t time64(__time64_t* result) {
  Room* room = Room::current();
  if (!room) return real::time64(result);
  const __time64_t now = room->clock().seconds();
  if (result) *result = now;
  return now;
}

std::optional<std::string> nameForFaults(const std::string& name) {
  const auto isIt = [&](const auto& row) { return row.name == name; };
  if (std::ranges::any_of(controlNames, isIt)) return name;
  if (name != "Sleep" && name != "_time64" && std::ranges::any_of(recording::table(), isIt)) return name;
  unsigned code = 0;
  char rest = 0;
  if (!name.starts_with("0x") || std::sscanf(name.c_str(), "%x%c", &code, &rest) != 1) return std::nullopt;
  return controlName(code);
}

}  // namespace simulator::calls
