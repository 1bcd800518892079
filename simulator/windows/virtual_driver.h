// The maker's tape and changer driver: what stands behind "\\.\Tape0" and "\\.\Changer0" when
// DeviceOptions::driver is set. It is a class driver with requests of its own.
#pragma once

#include <string>

#include "simulator/windows/changer_handle.h"
#include "simulator/windows/driver_options.h"
#include "simulator/windows/tape_handle.h"

namespace simulator {

class VirtualDrive;

class DriverTapeHandle : public TapeHandle {
 public:
  DriverTapeHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualDevice& drive)
      : TapeHandle(std::move(name), access, adapter, drive) {}
  void control(ControlRequest& request) override;

 private:
  void logSense(ControlRequest& request);
  void encryptionStatus(ControlRequest& request);
  void encryptionDiagnostic(ControlRequest& request);
  void queryPartition(ControlRequest& request);
  void createPartition(const ControlRequest& request);
  void verify(const ControlRequest& request);
  void queryBlockProtection(ControlRequest& request);
  void setBlockProtection(const ControlRequest& request);
  void queryParameter(ControlRequest& request);
  void setParameter(const ControlRequest& request);
};

class DriverChangerHandle : public ChangerHandle {
 public:
  DriverChangerHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualChanger& changer)
      : ChangerHandle(std::move(name), access, adapter, changer) {}
  void control(ControlRequest& request) override;

 private:
  void cartridgeLocations(ControlRequest& request);
};

/// The handle of a device below "\\.\", behind Windows' class driver or the maker's.
std::unique_ptr<Handle> openDevice(std::string name, DWORD access, VirtualAdapter& adapter,
                                   VirtualDevice& device);

}  // namespace simulator
