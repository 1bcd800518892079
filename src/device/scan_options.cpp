#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <tuple>

#include "device/dos_devices.h"
#include "device/scan_options.h"
#include "frame/guarded.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/text.h"

namespace {

constexpr const char* MODE_LABELS[] = {"FULL", "GENERIC", "PARTIAL QOR", "PARTIAL GENERIC"};

constexpr const char* NUMBERS_PATTERN = "* * * *";
constexpr const char* HBTL_PATTERN = "H*-B*-T*-L*";
constexpr const char* DECIMAL_DIGITS = "0123456789";
constexpr std::uint8_t HIGHEST_NUMBER = 255;
constexpr std::uint64_t HIGHEST_LONG_NUMBER = 4294967295;

/// All patterns here end with "*", so a match is one of the whole text.
bool matches(const std::string& text, const char* pattern) {
  int start = 0;
  int end = 0;
  return getPatternIndex(text, pattern, &start, &end, '*', '?');
}

/// Host adapter, bus, target id and LUN as an option gives them. A part without a number stays empty.
using AddressOption = std::array<std::optional<std::int64_t>, 4>;
constexpr std::string_view ADDRESS_LETTERS = "HBTL";

/// Reads "1 0 5 0", blanks in a row counting as one, or "H1-B0-T5-L0", in any order of the parts. What goes
/// beyond the four parts is ignored.
std::optional<AddressOption> parseAddress(std::string text) {
  AddressOption address;
  if (matches(text, NUMBERS_PATTERN)) {
    trimString(text, " ");
    removeMultiple(text, " ");
    const auto parts = splitString(text, ' ');
    for (std::size_t i = 0; i < std::min(parts.size(), address.size()); ++i)
      address[i] = firstNumberIn(parts[i]);
  } else if (matches(text, HBTL_PATTERN)) {
    for (const std::string& part : splitString(text, '-')) {
      const std::size_t i = part.empty() ? std::string::npos : ADDRESS_LETTERS.find(part[0]);
      if (i != std::string::npos) address[i] = firstNumberIn(part);
    }
  } else {
    return std::nullopt;
  }
  return address;
}

std::string addressText(std::uint64_t host, std::uint64_t bus, std::uint64_t targetId, std::uint64_t lun) {
  return "H" + std::to_string(host) + "-B" + std::to_string(bus) + "-T" + std::to_string(targetId) + "-L" +
         std::to_string(lun);
}

/// Keeps the bound when the option says nothing; a number that does not fit becomes the nearest that does.
template <typename Bound>
void setBound(Bound& bound, std::optional<std::int64_t> number, std::uint64_t highest) {
  if (number)
    bound =
        static_cast<Bound>(std::min(static_cast<std::uint64_t>(std::max<std::int64_t>(*number, 0)), highest));
}

}  // namespace

std::optional<std::int64_t> firstNumberIn(const std::string& text) {
  const std::size_t digit = text.find_first_of(DECIMAL_DIGITS);
  if (digit == std::string::npos) return std::nullopt;
  return parseIntegerValue(text.substr(digit));
}

ReturnCode DeviceController::rediscoverSCSIBus(bool scanDriverDevices, std::string start, std::string end,
                                               std::string exclude) {
  const ShortageWatch memory;
  parseScanOptions(false, scanDriverDevices, std::move(start), std::move(end), std::move(exclude));
  return memory.ranShort() ? CMD_NO_MEMORY : scanSCSIBus();
}

ReturnCode DeviceController::rescanSCSIBus(bool scanDriverDevices, std::string start, std::string end,
                                           std::string exclude) {
  const ShortageWatch memory;
  parseScanOptions(true, scanDriverDevices, std::move(start), std::move(end), std::move(exclude));
  return memory.ranShort() ? CMD_NO_MEMORY : scanSCSIBus();
}

void DeviceController::parseScanOptions(bool force, bool scanDriverDevices, std::string start,
                                        std::string end, std::string exclude) {
  guarded([&] {
    forceRescan = force;
    scanStart = start;
    scanEnd = end;
    firstHostAdapter2Scan = firstBusNumber2Scan = firstQORDevice2Scan = 0;
    firstTargetId2Scan = firstLun2Scan = 0;
    lastHostAdapter2Scan = lastBusNumber2Scan = lastQORDevice2Scan = HIGHEST_NUMBER;
    lastTargetId2Scan = lastLun2Scan = HIGHEST_LONG_NUMBER;

    if (isQORDeviceName(start) || isQORDeviceName(end)) {
      scanMode = MODE_PARTIAL_DRIVER;
    } else if (isGenericDeviceName(start) || isGenericDeviceName(end)) {
      scanMode = MODE_PARTIAL_GENERIC;
    } else {
      scanMode = scanDriverDevices ? MODE_FULL : MODE_NO_DRIVER_DEVICES;
    }
    parseExcludeList(exclude);

    if (scanMode == MODE_PARTIAL_DRIVER) {
      setBound(firstQORDevice2Scan, firstNumberIn(start), HIGHEST_NUMBER);
      setBound(lastQORDevice2Scan, firstNumberIn(end), HIGHEST_NUMBER);
    }
    if (scanMode == MODE_PARTIAL_GENERIC) {
      const auto first = parseAddress(start).value_or(AddressOption{});
      setBound(firstHostAdapter2Scan, first[0], HIGHEST_NUMBER);
      setBound(firstBusNumber2Scan, first[1], HIGHEST_NUMBER);
      setBound(firstTargetId2Scan, first[2], HIGHEST_LONG_NUMBER);
      setBound(firstLun2Scan, first[3], HIGHEST_LONG_NUMBER);
      const auto last = parseAddress(end).value_or(AddressOption{});
      setBound(lastHostAdapter2Scan, last[0], HIGHEST_NUMBER);
      setBound(lastBusNumber2Scan, last[1], HIGHEST_NUMBER);
      setBound(lastTargetId2Scan, last[2], HIGHEST_LONG_NUMBER);
      setBound(lastLun2Scan, last[3], HIGHEST_LONG_NUMBER);
    }
    logger->logInfo(
        "SCSI", 0,
        "Scan Mode:%2s  from GENERIC: H%d-B%d-T%lld-L%lld ==> H%d-B%d-T%lld-L%lld  from QOR device: %d "
        "==> %d  exclude==>%s\n",
        MODE_LABELS[scanMode], firstHostAdapter2Scan, firstBusNumber2Scan,
        static_cast<long long>(firstTargetId2Scan), static_cast<long long>(firstLun2Scan),
        lastHostAdapter2Scan, lastBusNumber2Scan, static_cast<long long>(lastTargetId2Scan),
        static_cast<long long>(lastLun2Scan), firstQORDevice2Scan, lastQORDevice2Scan, exclude.c_str());
  });
}

void DeviceController::parseExcludeList(const std::string& exclude) {
  if (exclude.empty()) return;
  excludeList = splitString(exclude, ':');
  for (std::string& entry : excludeList) {
    logger->logInfo("SCSI", 0, "Parse exclude %s", entry.c_str());
    const auto address = parseAddress(entry);
    if (!address) continue;
    const bool hbtl = matches(entry, HBTL_PATTERN);
    if (hbtl) logger->logInfo("SCSI", 0, "Parse exclude HBTL %s", entry.c_str());
    std::array<std::uint64_t, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      setBound(numbers[i], (*address)[i], HIGHEST_LONG_NUMBER);
      if (hbtl) logger->logInfo("SCSI", 0, "Parse exclude value %s", std::to_string(numbers[i]).c_str());
    }
    entry = addressText(numbers[0], numbers[1], numbers[2], numbers[3]);
    if (hbtl) logger->logInfo("SCSI", 0, "Parse exclude parsed value HBTL %s", entry.c_str());
    // Only a partial scan looks at the addresses of generic devices; its range still covers all of them.
    scanMode = MODE_PARTIAL_GENERIC;
  }
}

bool DeviceController::isGenericDeviceName(std::string name) {
  return matches(name, NUMBERS_PATTERN) || matches(name, HBTL_PATTERN);
}

bool DeviceController::isQORDeviceName(std::string name) {
  for (char& c : name) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return matches(name, R"(\\.\TAPE*)") || matches(name, R"(\\.\CHANGER*)");
}

bool DeviceController::isGenericDevicePartOfScan(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                                 std::uint64_t lun) {
  if (scanMode == MODE_FULL || scanMode == MODE_NO_DRIVER_DEVICES) return true;
  if (scanMode != MODE_PARTIAL_GENERIC) return false;
  const auto address = std::tie(host, bus, targetId, lun);
  return address >= std::tie(firstHostAdapter2Scan, firstBusNumber2Scan, firstTargetId2Scan, firstLun2Scan) &&
         address <= std::tie(lastHostAdapter2Scan, lastBusNumber2Scan, lastTargetId2Scan, lastLun2Scan) &&
         isDeviceNotInExcludeList(host, bus, targetId, lun);
}

bool DeviceController::isQORDevicePartOfScan(std::string name) {
  if (scanMode == MODE_FULL) return true;
  if (scanMode != MODE_PARTIAL_DRIVER) return false;
  return guarded(false, [&] {
    const auto number = firstNumberIn(name);
    const std::size_t prefixLength = scanStart.find_first_of(DECIMAL_DIGITS);
    return number && prefixLength != std::string::npos && *number >= firstQORDevice2Scan &&
           *number <= lastQORDevice2Scan &&
           name.starts_with(std::string_view(scanStart).substr(0, prefixLength)) &&
           isDeviceNotInExcludeList(name);
  });
}

bool DeviceController::isDeviceNotInExcludeList(std::string name) {
  if (std::find(excludeList.begin(), excludeList.end(), name) == excludeList.end()) return true;
  logger->logInfo("SCSI", 0, "SCSI Scan device is part of exclude list <%s>", name.c_str());
  return false;
}

bool DeviceController::isDeviceNotInExcludeList(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                                std::uint64_t lun) {
  return guarded(true, [&] { return isDeviceNotInExcludeList(addressText(host, bus, targetId, lun)); });
}
