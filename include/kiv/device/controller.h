#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "kiv/api.h"
#include "kiv/device/target.h"

/// The list of devices that the library can talk to, and the bus scan that fills it.
///
/// Owns every target in its list and keeps them closed between operations. Every scan starts from an empty
/// list, so all earlier target pointers are invalid after it. The calling thread only.
class KIV_API DeviceController {
 public:
  DeviceController();
  ~DeviceController();
  DeviceController(const DeviceController&) = delete;
  DeviceController& operator=(const DeviceController&) = delete;

  /// parseScanOptions, without and with a bus rescan by every port driver, then scanSCSIBus.
  ReturnCode rediscoverSCSIBus(bool scanDriverDevices, std::string start, std::string end,
                               std::string exclude);
  ReturnCode rescanSCSIBus(bool scanDriverDevices, std::string start, std::string end, std::string exclude);
  void parseScanOptions(bool forceRescan, bool scanDriverDevices, std::string start, std::string end,
                        std::string exclude);
  ReturnCode scanSCSIBus();
  ReturnCode scanKreltDevices();
  ReturnCode scanGenericTapeDevices();
  ReturnCode clearDeviceList();
  void closeHandleOfAllDevices();

  void addDevice(ScsiTarget* device);
  void addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                 const char* name);
  void addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                 const char* name, unsigned int count, std::vector<int> instances);
  ReturnCode removeDevice(ScsiTarget* device2Remove);
  ReturnCode removeDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                          const char* name);
  void removeMatchingGenericDevices();

  ScsiTarget* isDeviceInList(std::string name);
  bool isGenericDevicePartOfDeviceList(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                       std::uint64_t lun);
  bool isMatchingGenericDevice(ScsiTarget* device, ScsiTarget* candidate);
  bool isGenericDeviceName(std::string name);
  bool isQORDeviceName(std::string name);
  bool isGenericDevicePartOfScan(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                 std::uint64_t lun);
  bool isQORDevicePartOfScan(std::string name);
  bool isDeviceNotInExcludeList(std::string name);
  bool isDeviceNotInExcludeList(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                std::uint64_t lun);
  void convertToList(std::list<ScsiTarget*>& devices);
  void printDeviceListIntoLog();

  int getDeviceCount() const { return static_cast<int>(deviceList.size()); }
  std::vector<ScsiTarget*>& getDeviceList() { return deviceList; }
  /// Null for an index outside the list.
  ScsiTarget* getDevice(int index) const;
  int getHostAdapterCount() const { return hostAdapterCount; }
  int getScanMode() const { return scanMode; }
  bool isForceRescan() const { return forceRescan; }
  std::uint8_t getFirstHostAdapter2Scan() const { return firstHostAdapter2Scan; }
  std::uint8_t getLastHostAdapter2Scan() const { return lastHostAdapter2Scan; }
  std::uint64_t getFirstTargetId2Scan() const { return firstTargetId2Scan; }
  std::uint64_t getLastTargetId2Scan() const { return lastTargetId2Scan; }
  std::uint64_t getFirstLun2Scan() const { return firstLun2Scan; }
  std::uint64_t getLastLun2Scan() const { return lastLun2Scan; }
  std::uint8_t getFirstBusNumber2Scan() const { return firstBusNumber2Scan; }
  std::uint8_t getLastBusNumber2Scan() const { return lastBusNumber2Scan; }
  std::uint8_t getFirstQORDevice2Scan() const { return firstQORDevice2Scan; }
  std::uint8_t getLastQORDevice2Scan() const { return lastQORDevice2Scan; }

  bool operator==(const DeviceController& other) const;

 private:
  std::vector<ScsiTarget*> deviceList;
  int hostAdapterCount = 0;
  int scanMode = 0;
  bool forceRescan = false;
  std::uint8_t firstHostAdapter2Scan = 255;
  std::uint8_t lastHostAdapter2Scan = 255;
  std::uint64_t firstTargetId2Scan = 4294967295;
  std::uint64_t lastTargetId2Scan = 4294967295;
  std::uint64_t firstLun2Scan = 4294967295;
  std::uint64_t lastLun2Scan = 4294967295;
  std::uint8_t firstBusNumber2Scan = 255;
  std::uint8_t lastBusNumber2Scan = 255;
  std::uint8_t firstQORDevice2Scan = 0;
  std::uint8_t lastQORDevice2Scan = 255;
  std::string scanStart;
  std::string scanEnd;
  std::vector<std::string> excludeList;
};
