// The Windows calls of the library, answered by the current room. What is not for a simulated device goes on
// to the system underneath.
#pragma once

#include <optional>
#include <string>

#include "simulator/windows/real_system.h"

namespace simulator::calls {

decltype(real::createFile) createFile;
decltype(real::closeHandle) closeHandle;
decltype(real::readFile) readFile;
decltype(real::writeFile) writeFile;
decltype(real::getFileSize) getFileSize;
decltype(real::deviceIoControl) deviceIoControl;
decltype(real::queryDosDevice) queryDosDevice;
decltype(real::sleep) sleep;
decltype(real::time64) time64;

decltype(real::eraseTape) eraseTape;
decltype(real::prepareTape) prepareTape;
decltype(real::setTapePosition) setTapePosition;
decltype(real::writeTapemark) writeTapemark;
decltype(real::getTapeParameters) getTapeParameters;
decltype(real::setTapeParameters) setTapeParameters;

decltype(real::getClassDevs) getClassDevs;
decltype(real::enumDeviceInterfaces) enumDeviceInterfaces;
decltype(real::getDeviceInterfaceDetail) getDeviceInterfaceDetail;
decltype(real::enumDeviceInfo) enumDeviceInfo;
decltype(real::getDeviceRegistryProperty) getDeviceRegistryProperty;
decltype(real::openDevRegKey) openDevRegKey;
decltype(real::destroyDeviceInfoList) destroyDeviceInfoList;
decltype(real::regQueryValue) regQueryValue;
decltype(real::regCloseKey) regCloseKey;

/// "SCSI_GET_ADDRESS", or "0x001F6068" for a control code without a name.
std::string controlName(DWORD code);
/// The name by which a fault finds a call or a control request ("0x1f60cc" becomes "0x001F60CC"); none when
/// there is no such call, or none that fails.
std::optional<std::string> nameForFaults(const std::string& name);

}  // namespace simulator::calls
