#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/api.h"
#include "kiv/device/target.h"

/// @file
/// All devices, and how they are found.

struct InquiryRecord;

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

  ///@{
  /// parseScanOptions, without and with a bus rescan by every port driver, then scanSCSIBus. See there for
  /// the result and the options.
  ReturnCode rediscoverSCSIBus(bool scanDriverDevices, std::string start, std::string end,
                               std::string exclude);
  ReturnCode rescanSCSIBus(bool scanDriverDevices, std::string start, std::string end, std::string exclude);
  ///@}
  /// Decides what every scan covers.
  ///
  /// `start` and `end` are the bounds of a partial scan: both either driver device names ("\\\\.\\tape2";
  /// only the number counts) or addresses (host adapter, bus, target id and LUN, "1 0 5 0" or "H1-B0-T5-L0").
  /// An address part without a number leaves its bound open, a number that is too large becomes the largest,
  /// and text beyond the four parts is ignored; numbers are decimal, or hexadecimal with "0x". Any other
  /// text, the empty one included, asks for a full scan, in which `scanDriverDevices` tells whether the
  /// maker's driver is asked too.
  ///
  /// `exclude` lists device names and addresses that are never added, with ":" between them. It replaces the
  /// list of an earlier call, which an empty one leaves as it was.
  void parseScanOptions(bool forceRescan, bool scanDriverDevices, std::string start, std::string end,
                        std::string exclude);
  /// Finds all devices that the options ask for. CMD_OK, whatever was found, or CMD_NO_MEMORY when the list
  /// may lack some for want of memory.
  ReturnCode scanSCSIBus();
  ///@{
  /// The two scans of the DOS device names. CMD_ERROR when these cannot be read.
  ReturnCode scanKreltDevices();
  ReturnCode scanGenericTapeDevices();
  ///@}
  /// Closes and deletes every target. Always CMD_OK.
  ReturnCode clearDeviceList();
  /// Closes every target; they stay listed.
  void closeHandleOfAllDevices();

  /// Takes the target over, unless it is listed already. The controller closes and deletes it later.
  void addDevice(ScsiTarget* device);
  /// Opens and adds a device unless its address or its driver name is listed: by name through the maker's
  /// driver when there is a name, else by address.
  void addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                 const char* name);
  /// For a device that the driver presents under several instance numbers, one for each path to it: the first
  /// of the first `count` instances that opens as `name` with the number behind it ("\\\\.\\tape" and 3),
  /// else the device at the address.
  void addDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                 const char* name, unsigned int count, std::vector<int> instances);
  ///@{
  /// Each closes, deletes and forgets one target: the given one; the first with the address, or with a driver
  /// name that occurs in `name`. CMD_ERROR when none is listed.
  ReturnCode removeDevice(ScsiTarget* device2Remove);
  ReturnCode removeDevice(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                          const char* name);
  ///@}
  /// Drops pass-through targets of devices that the driver also presents.
  void removeMatchingGenericDevices();

  /// The first target whose driver name or device special file contains the name, or null.
  ScsiTarget* isDeviceInList(std::string name);
  /// Whether a pass-through target has this address.
  bool isGenericDevicePartOfDeviceList(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                       std::uint64_t lun);
  /// Whether the candidate is a pass-through target with the device's serial number, target id and LUN.
  bool isMatchingGenericDevice(ScsiTarget* device, ScsiTarget* candidate);
  ///@{
  /// Whether a scan option is an address, or the name of a driver device.
  bool isGenericDeviceName(std::string name);
  bool isQORDeviceName(std::string name);
  ///@}
  ///@{
  /// Whether the options ask for a device at an address, or for a driver device.
  bool isGenericDevicePartOfScan(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                 std::uint64_t lun);
  bool isQORDevicePartOfScan(std::string name);
  ///@}
  ///@{
  /// Whether the options do not exclude this driver device, or this address.
  bool isDeviceNotInExcludeList(std::string name);
  bool isDeviceNotInExcludeList(std::uint8_t host, std::uint8_t bus, std::uint64_t targetId,
                                std::uint64_t lun);
  ///@}
  /// Replaces the content of `devices` by the targets of the list, which stay the controller's.
  void convertToList(std::list<ScsiTarget*>& devices);
  /// Logs the targets of the list with what Windows tells about their host adapters.
  void printDeviceListIntoLog();

  ///@{
  /// The targets in the order of the list.
  int getDeviceCount() const { return static_cast<int>(deviceList.size()); }
  std::vector<ScsiTarget*>& getDeviceList() { return deviceList; }
  ///@}
  /// Null for an index outside the list.
  ScsiTarget* getDevice(int index) const;
  ///@{
  /// What the last scan found, and what the options ask for: bounds are inclusive.
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
  ///@}

  /// Whether options and targets are equal.
  bool operator==(const DeviceController& other) const;

 private:
  bool isListed(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus, std::uint64_t lun,
                std::string_view name) const;
  void parseExcludeList(const std::string& exclude);
  void countHostAdapters(unsigned first);
  void scanHostAdapter(unsigned number);
  void addListedDevice(unsigned hostAdapter, const InquiryRecord& record);

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
