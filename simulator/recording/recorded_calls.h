// The Windows calls of the library, on their way to the room: both doors lead here. What is recorded or
// replayed of them is told by the transcript that stands; without one they just go on.
#pragma once

#include <span>

#include "simulator/windows/windows_calls.h"

namespace simulator::recording {

decltype(calls::createFile) createFile;
decltype(calls::closeHandle) closeHandle;
decltype(calls::deviceIoControl) deviceIoControl;
decltype(calls::readFile) readFile;
decltype(calls::writeFile) writeFile;
using calls::getFileSize;  // of files only, which are left out
decltype(calls::queryDosDevice) queryDosDevice;
decltype(calls::sleep) sleep;
decltype(calls::time64) time64;

decltype(calls::eraseTape) eraseTape;
decltype(calls::prepareTape) prepareTape;
decltype(calls::setTapePosition) setTapePosition;
decltype(calls::writeTapemark) writeTapemark;
decltype(calls::getTapeParameters) getTapeParameters;
decltype(calls::setTapeParameters) setTapeParameters;

decltype(calls::getClassDevs) getClassDevs;
decltype(calls::enumDeviceInterfaces) enumDeviceInterfaces;
decltype(calls::getDeviceInterfaceDetail) getDeviceInterfaceDetail;
decltype(calls::enumDeviceInfo) enumDeviceInfo;
decltype(calls::getDeviceRegistryProperty) getDeviceRegistryProperty;
decltype(calls::openDevRegKey) openDevRegKey;
decltype(calls::destroyDeviceInfoList) destroyDeviceInfoList;
decltype(calls::regQueryValue) regQueryValue;
decltype(calls::regCloseKey) regCloseKey;

/// Windows' name of a call, and the function here that takes it.
struct Call {
  const char* name;
  void* function;
};
/// Every call that is taken over.
std::span<const Call> table();

}  // namespace simulator::recording
