#include "simulator/recording/recorded_calls.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <type_traits>

#include "simulator/devices/scsi.h"
#include "simulator/recording/converse.h"
#include "simulator/recording/sha256.h"

namespace simulator::recording {
namespace {

// WRITE(6), WRITE BUFFER, WRITE(16) and SECURITY PROTOCOL OUT carry blocks of a cartridge, firmware, and
// keys.
constexpr std::uint8_t digestedCommands[] = {0x0A, 0x3B, 0x8A, 0xB5};

/// "\\.\Tape0" or "\\?\pci#...", and not a file named that way, such as "\\?\C:\Config.txt".
bool isDevice(LPCSTR name) {
  const std::string_view path = name ? name : "";
  if (!path.starts_with(R"(\\.\)") && !path.starts_with(R"(\\?\)")) return false;
  const std::string_view rest = path.substr(4);
  return !rest.starts_with("UNC\\") && !(rest.size() > 2 && rest[1] == ':' && rest[2] == '\\');
}

template <class Byte = std::uint8_t>
std::span<Byte> buffer(void* data, std::size_t size) {
  return {static_cast<Byte*>(data), data ? size : 0};
}

std::string hexOf(const void* data, std::size_t size) {
  return toHex({static_cast<const std::uint8_t*>(data), data ? size : 0});
}

struct Meaning {
  DWORD code;
  std::size_t size;
};
// Requests that end with bytes of no meaning: the compiler's, with whatever the stack held.
constexpr Meaning meanings[] = {
    {IOCTL_STORAGE_QUERY_PROPERTY, offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters)},
    {IOCTL_CHANGER_GET_ELEMENT_STATUS, offsetof(CHANGER_READ_ELEMENT_STATUS, VolumeTagInfo) + 1},
    {IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS, offsetof(CHANGER_INITIALIZE_ELEMENT_STATUS, BarCodeScan) + 1},
    {IOCTL_CHANGER_SET_POSITION, offsetof(CHANGER_SET_POSITION, Flip) + 1},
    {IOCTL_CHANGER_EXCHANGE_MEDIUM, offsetof(CHANGER_EXCHANGE_MEDIUM, Flip2) + 1},
    {IOCTL_CHANGER_MOVE_MEDIUM, offsetof(CHANGER_MOVE_MEDIUM, Flip) + 1},
};

std::size_t meaningful(DWORD code, std::size_t size) {
  for (const Meaning& row : meanings) {
    if (row.code == code) return std::min(row.size, size);
  }
  return size;
}

/// What is known again without being kept.
Json digestOf(const void* data, std::size_t size) {
  return {{"length", size}, {"sha256", sha256({static_cast<const std::uint8_t*>(data), size})}};
}

constexpr auto nothingMore = [](Answer&, bool) {};

/// A call of the tape interface, which returns an error number. `names` are those of its arguments.
template <class... Arguments>
DWORD tapeCall(const char* call, DWORD (*behind)(HANDLE, Arguments...),
               const char* const (&names)[sizeof...(Arguments)], HANDLE device,
               std::type_identity_t<Arguments>... arguments) {
  const auto asked = [&] {
    Json json;
    const char* const* name = names;
    ((json[*name++] = arguments), ...);
    return json;
  };
  return converse(
      call, device, DWORD{ERROR_GEN_FAILURE}, asked, [&] { return behind(device, arguments...); },
      nothingMore);
}

/// IOCTL_SCSI_PASS_THROUGH_DIRECT, by its meaning: the request holds an address, and its sense data stand
/// where the caller likes them.
template <class Behind>
BOOL passThrough(HANDLE device, void* block, DWORD size, LPDWORD returned, Behind behind) {
  SCSI_PASS_THROUGH_DIRECT request;
  std::memcpy(&request, block, sizeof request);
  const auto data = buffer(request.DataBuffer, request.DataTransferLength);
  const std::size_t senseAt = std::min<std::size_t>(request.SenseInfoOffset, size);
  const auto sense =
      buffer(block, size).subspan(senseAt, std::min<std::size_t>(request.SenseInfoLength, size - senseAt));
  const auto asked = [&] {
    Json json{{"code", "SCSI_PASS_THROUGH_DIRECT"},
              {"path", request.PathId},
              {"target", request.TargetId},
              {"lun", request.Lun},
              {"cdb", hexOf(request.Cdb, std::min<std::size_t>(request.CdbLength, sizeof request.Cdb))},
              {"direction", request.DataIn},
              {"length", request.DataTransferLength},
              {"senseLength", request.SenseInfoLength},
              {"timeOut", request.TimeOutValue}};
    if (request.DataIn != SCSI_IOCTL_DATA_OUT) return json;
    const bool digested = std::ranges::find(digestedCommands, request.Cdb[0]) != std::end(digestedCommands);
    json["data"] = digested ? digestOf(data.data(), data.size()) : Json(hexOf(data.data(), data.size()));
    return json;
  };
  return converse("DeviceIoControl", device, FALSE, asked, behind, [&](Answer& answer, bool failed) {
    answer.wanted("returned", returned);
    if (failed) return;
    if (answer.isTaken()) std::memcpy(&request, block, sizeof request);
    answer.number("status", request.ScsiStatus);
    answer.number("transferred", request.DataTransferLength);
    answer.number("senseLength", request.SenseInfoLength);
    answer.bytes("sense", sense, request.SenseInfoLength);
    if (request.DataIn == SCSI_IOCTL_DATA_IN) answer.bytes("data", data, request.DataTransferLength);
    std::memcpy(block, &request, offsetof(SCSI_PASS_THROUGH_DIRECT, DataBuffer));
  });
}

}  // namespace

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile) {
  const auto behind = [&] {
    return calls::createFile(name, access, share, security, disposition, flags, templateFile);
  };
  Transcript* transcript = Transcript::current();
  if (!transcript || !isDevice(name)) return behind();
  HANDLE handle = INVALID_HANDLE_VALUE;
  const bool held = transcript->hold(
      "CreateFileA",
      {{"name", toText(name)},
       {"access", access},
       {"share", share},
       {"disposition", disposition},
       {"flags", flags}},
      [&] { handle = behind(); }, [&](Answer& answer) { transcript->opened(answer, "handle", handle); });
  return held ? handle : INVALID_HANDLE_VALUE;
}

BOOL closeHandle(HANDLE handle) { return close("CloseHandle", handle, FALSE, calls::closeHandle); }

BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped) {
  const auto behind = [&] {
    return calls::deviceIoControl(device, code, in, inSize, out, outSize, returned, overlapped);
  };
  if (code == IOCTL_SCSI_PASS_THROUGH_DIRECT && in && in == out && inSize == outSize &&
      inSize >= sizeof(SCSI_PASS_THROUGH_DIRECT))
    return passThrough(device, in, inSize, returned, behind);
  return converse(
      "DeviceIoControl", device, FALSE,
      [&]() -> Json {
        return {{"code", calls::controlName(code)},
                {"in", hexOf(in, meaningful(code, inSize))},
                {"room", outSize}};
      },
      behind,
      [&](Answer& answer, bool failed) {
        answer.wanted("returned", returned);
        answer.bytes("out", buffer(out, outSize), returned ? *returned : failed ? 0 : outSize);
      });
}

BOOL readFile(HANDLE file, LPVOID data, DWORD count, LPDWORD read, void* overlapped) {
  return converse(
      "ReadFile", file, FALSE,
      [&]() -> Json {
        return {{"count", count}};
      },
      [&] { return calls::readFile(file, data, count, read, overlapped); },
      [&](Answer& answer, bool failed) {
        answer.wanted("read", read);
        answer.bytes("data", buffer(data, count), read ? *read : failed ? 0 : count);
      });
}

BOOL writeFile(HANDLE file, LPCVOID data, DWORD count, LPDWORD written, void* overlapped) {
  return converse(
      "WriteFile", file, FALSE,
      [&]() -> Json {
        return {{"data", digestOf(data, count)}};
      },
      [&] { return calls::writeFile(file, data, count, written, overlapped); },
      [&](Answer& answer, bool) { answer.wanted("written", written); });
}

DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size) {
  Transcript* transcript = Transcript::current();
  if (!transcript) return calls::queryDosDevice(name, target, size);
  DWORD result = 0;
  const bool held = transcript->hold(
      "QueryDosDeviceA", {{"name", name ? Json(toText(name)) : Json()}, {"room", size}},
      [&] { result = calls::queryDosDevice(name, target, size); },
      [&](Answer& answer) {
        answer.number("result", result);
        answer.setFailed(result == 0);
        answer.text("names", buffer<char>(target, size), result);
      });
  return held ? result : 0;
}

void sleep(DWORD milliseconds) {
  Transcript* transcript = Transcript::current();
  if (!transcript) return calls::sleep(milliseconds);
  transcript->hold(
      "Sleep", {{"milliseconds", milliseconds}}, [&] { calls::sleep(milliseconds); }, [](Answer&) {});
}

__time64_t time64(__time64_t* result) {
  Transcript* transcript = Transcript::current();
  if (!transcript) return calls::time64(result);
  const __time64_t now = transcript->time64();
  if (result) *result = now;
  return now;
}

DWORD eraseTape(HANDLE device, DWORD type, BOOL immediate) {
  return tapeCall("EraseTape", calls::eraseTape, {"type", "immediate"}, device, type, immediate);
}

DWORD prepareTape(HANDLE device, DWORD operation, BOOL immediate) {
  return tapeCall("PrepareTape", calls::prepareTape, {"operation", "immediate"}, device, operation,
                  immediate);
}

DWORD setTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate) {
  return tapeCall("SetTapePosition", calls::setTapePosition,
                  {"method", "partition", "offsetLow", "offsetHigh", "immediate"}, device, method, partition,
                  offsetLow, offsetHigh, immediate);
}

DWORD writeTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate) {
  return tapeCall("WriteTapemark", calls::writeTapemark, {"type", "count", "immediate"}, device, type, count,
                  immediate);
}

DWORD getTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information) {
  const DWORD room = *size;
  return converse(
      "GetTapeParameters", device, DWORD{ERROR_GEN_FAILURE},
      [&]() -> Json {
        return {{"operation", operation}, {"room", room}};
      },
      [&] { return calls::getTapeParameters(device, operation, size, information); },
      [&](Answer& answer, bool failed) {
        answer.number("size", *size);
        if (!failed) answer.bytes("information", buffer(information, room), *size);
      });
}

DWORD setTapeParameters(HANDLE device, DWORD operation, LPVOID information) {
  const std::size_t size = operation == SET_TAPE_MEDIA_INFORMATION ? sizeof(TAPE_SET_MEDIA_PARAMETERS)
                                                                   : sizeof(TAPE_SET_DRIVE_PARAMETERS);
  return converse(
      "SetTapeParameters", device, DWORD{ERROR_GEN_FAILURE},
      [&]() -> Json {
        return {{"operation", operation}, {"information", hexOf(information, size)}};
      },
      [&] { return calls::setTapeParameters(device, operation, information); }, nothingMore);
}

std::span<const Call> table() {
  const auto address = [](auto* function) { return reinterpret_cast<void*>(function); };
  static const Call calls[] = {
      {"CreateFileA", address(createFile)},
      {"CloseHandle", address(closeHandle)},
      {"DeviceIoControl", address(deviceIoControl)},
      {"ReadFile", address(readFile)},
      {"WriteFile", address(writeFile)},
      {"GetFileSize", address(getFileSize)},
      {"QueryDosDeviceA", address(queryDosDevice)},
      {"Sleep", address(sleep)},
      {"_time64", address(time64)},
      {"EraseTape", address(eraseTape)},
      {"PrepareTape", address(prepareTape)},
      {"SetTapePosition", address(setTapePosition)},
      {"WriteTapemark", address(writeTapemark)},
      {"GetTapeParameters", address(getTapeParameters)},
      {"SetTapeParameters", address(setTapeParameters)},
      {"SetupDiGetClassDevsA", address(getClassDevs)},
      {"SetupDiEnumDeviceInterfaces", address(enumDeviceInterfaces)},
      {"SetupDiGetDeviceInterfaceDetailA", address(getDeviceInterfaceDetail)},
      {"SetupDiEnumDeviceInfo", address(enumDeviceInfo)},
      {"SetupDiGetDeviceRegistryPropertyA", address(getDeviceRegistryProperty)},
      {"SetupDiOpenDevRegKey", address(openDevRegKey)},
      {"SetupDiDestroyDeviceInfoList", address(destroyDeviceInfoList)},
      {"RegQueryValueExA", address(regQueryValue)},
      {"RegCloseKey", address(regCloseKey)},
  };
  return calls;
}

}  // namespace simulator::recording
