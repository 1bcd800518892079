// A host adapter with its port driver.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/devices/virtual_device.h"
#include "simulator/windows/handle.h"

namespace simulator {

struct AdapterOptions {
  std::uint32_t maximumTransferLength = 1 << 20;  ///< bytes
  std::uint32_t maximumPhysicalPages = 257;
  std::uint32_t alignmentMask = 3;
  std::uint8_t buses = 1;
  std::uint8_t initiator = 7;  ///< its own target id on every bus

  // What the setup API and the adapter's driver key say.
  std::string description = "Quad Port SAS/FC Host Bus Adapter";
  std::string manufacturer = "Halden Storage";
  std::string service = "hsport";
  std::string location = "PCI bus 4, device 0, function 0";
  std::string driverProvider = "Halden Storage";
  std::string driverVersion = "2.17.4.0";
  std::string driverDate = "3-14-2019";
  std::string driverDescription = "Halden Storage Port Driver";
};

class VirtualAdapter {
 public:
  VirtualAdapter(Room& room, std::uint8_t number, AdapterOptions options);

  std::uint8_t number() const { return number_; }
  AdapterOptions& options() { return options_; }
  /// "\\.\scsi0:"
  std::string name() const;
  /// The path under which the setup API lists it.
  std::string interfacePath() const;

  /// The device that the port driver knows at this address, or null.
  VirtualDevice* find(std::uint8_t bus, std::uint8_t target, std::uint8_t lun) const;
  /// SCSI_ADAPTER_BUS_INFO with its chains of SCSI_INQUIRY_DATA.
  Bytes inquiryList() const;
  /// Answers IOCTL_SCSI_GET_INQUIRY_DATA with these bytes, whatever they are.
  void overrideInquiryList(std::optional<Bytes> bytes) { override_ = std::move(bytes); }
  void rescan();

  /// Requests that both the port and the class devices on it answer. False: not one of them.
  bool control(ControlRequest& request) const;

 private:
  std::vector<VirtualDevice*> devices() const;

  Room& room_;
  std::uint8_t number_;
  AdapterOptions options_;
  std::optional<Bytes> override_;
};

/// "\\.\scsi0:"
class PortHandle : public Handle {
 public:
  PortHandle(std::string name, DWORD access, VirtualAdapter& adapter)
      : Handle(std::move(name), access), adapter_(adapter) {}
  void control(ControlRequest& request) override;

 private:
  VirtualAdapter& adapter_;
};

/// "\\.\Tape0": the class device of a claimed device.
class ClassHandle : public Handle {
 public:
  ClassHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualDevice& device)
      : Handle(std::move(name), access), adapter_(adapter), device_(device) {}
  void control(ControlRequest& request) override;

 protected:
  VirtualDevice& device() const { return device_; }

 private:
  VirtualAdapter& adapter_;
  VirtualDevice& device_;
};

/// IOCTL_SCSI_PASS_THROUGH_DIRECT. With a device given (a class device) the address in the request is
/// ignored.
void passThrough(ControlRequest& request, VirtualAdapter& adapter, VirtualDevice* device);

}  // namespace simulator
