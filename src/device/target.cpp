#include "kiv/device/target.h"

#include <tuple>

#include "device/timeouts.h"
#include "device/unknown_address.h"
#include "frame/guarded.h"
#include "platform/win32.h"
#include "scsi/store.h"

namespace {

ReturnCode store(std::string& field, const char* text) {
  return guarded(CMD_NO_MEMORY, [&] {
    field = text != nullptr ? text : "";
    return CMD_OK;
  });
}

}  // namespace

ScsiTarget::ScsiTarget() : deviceHandle(INVALID_HANDLE_VALUE), secondHandle(INVALID_HANDLE_VALUE) {}
ScsiTarget::ScsiTarget(const ScsiTarget& other) = default;
ScsiTarget& ScsiTarget::operator=(const ScsiTarget& other) = default;
ScsiTarget::~ScsiTarget() = default;

ReturnCode ScsiTarget::openDevice() {
  // The last host adapter bears the number that stands for none; what was identified there has its address.
  const bool hostUnknown = hostAdapterId == UNKNOWN_NUMBER && !inquiryDataValid;
  if (hostUnknown || targetId == UNKNOWN_ID || lun == UNKNOWN_ID || busNumber == UNKNOWN_NUMBER)
    return CMD_NO_ADDRESS;
  if (isOpened()) return CMD_OK;
  return openDevice(hostAdapterId, targetId, busNumber, lun, driverName.c_str(), 1);
}

ReturnCode ScsiTarget::closeDevice() {
  if (isOpened()) CloseHandle(deviceHandle);
  deviceHandle = INVALID_HANDLE_VALUE;
  return CMD_OK;
}

ReturnCode ScsiTarget::resetDevice() { return CMD_NOT_SUPPORTED; }

bool ScsiTarget::isOpened() const { return deviceHandle != INVALID_HANDLE_VALUE; }

ulong32 ScsiTarget::GetTransferredDataLength() { return transferredDataLength; }

const char* ScsiTarget::getProperty(const char* key) {
  if (key == nullptr) return nullptr;
  return guarded(static_cast<const char*>(nullptr), [&]() -> const char* {
    const auto found = properties.find(key);
    if (found != properties.end()) return found->second.c_str();
    // A built-in time-out becomes a text when somebody asks for it.
    const auto opcode = timeoutOpcode(key);
    const ulong32 seconds = opcode ? builtInTimeout({r477Timeouts, ltoTimeouts}, *opcode) : 0;
    return seconds != 0 ? properties.emplace(key, std::to_string(seconds)).first->second.c_str() : nullptr;
  });
}

ReturnCode ScsiTarget::setProperty(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return CMD_ERROR;
  return guarded(CMD_NO_MEMORY, [&] {
    properties.insert_or_assign(key, value);
    hasOwnTimeouts = hasOwnTimeouts || timeoutOpcode(key).has_value();
    return CMD_OK;
  });
}

ReturnCode ScsiTarget::setModelName(const char* text) { return store(modelName, text); }
ReturnCode ScsiTarget::setVendorName(const char* text) { return store(vendorName, text); }
ReturnCode ScsiTarget::setFirmwareVersion(const char* text) { return store(firmwareVersion, text); }
ReturnCode ScsiTarget::setSerialNumber(const char* text) { return store(serialNumber, text); }
ReturnCode ScsiTarget::setDeviceSpecialFile(const char* text) { return store(deviceSpecialFile, text); }
ReturnCode ScsiTarget::setDriverName(const char* text) { return store(driverName, text); }
ReturnCode ScsiTarget::setTapeDrvVersion(const char* text) { return store(tapeDrvVersion, text); }
ReturnCode ScsiTarget::setInterfaceType(const char* text) { return store(interfaceType, text); }
ReturnCode ScsiTarget::setDeviceTyp(std::uint8_t value) { return store(deviceTyp, value); }
ReturnCode ScsiTarget::setHostAdapterId(std::uint8_t value) { return store(hostAdapterId, value); }
ReturnCode ScsiTarget::setTargetId(std::uint64_t value) { return store(targetId, value); }
ReturnCode ScsiTarget::setLun(std::uint64_t value) { return store(lun, value); }
ReturnCode ScsiTarget::setBusNumber(std::uint8_t value) { return store(busNumber, value); }
ReturnCode ScsiTarget::setBusyBit(std::uint8_t value) { return store(busyBit, value); }
ReturnCode ScsiTarget::setLengthTargetId(std::uint8_t value) { return store(lengthTargetId, value); }
ReturnCode ScsiTarget::setLengthLun(std::uint8_t value) { return store(lengthLun, value); }
ReturnCode ScsiTarget::setDeviceOpenMode(std::uint32_t value) { return store(deviceOpenMode, value); }
ReturnCode ScsiTarget::setDeviceHandle(void* handle) { return store(deviceHandle, handle); }

bool ScsiTarget::operator==(const ScsiTarget& other) const {
  const auto identity = [](const ScsiTarget& target) {
    return std::tie(target.deviceTyp, target.modelName, target.vendorName, target.firmwareVersion,
                    target.serialNumber, target.interfaceType, target.hostAdapterId, target.targetId,
                    target.lun, target.busNumber);
  };
  return identity(*this) == identity(other);
}

bool ScsiTarget::operator<(const ScsiTarget& other) const {
  return std::tie(hostAdapterId, targetId, lun, busNumber) <
         std::tie(other.hostAdapterId, other.targetId, other.lun, other.busNumber);
}
