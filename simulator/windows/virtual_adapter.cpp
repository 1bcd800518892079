#include "simulator/windows/virtual_adapter.h"

#include <algorithm>
#include <cstdio>
#include <tuple>

#include "simulator/room/room.h"

namespace simulator {

VirtualAdapter::VirtualAdapter(Room& room, std::uint8_t number, AdapterOptions options)
    : room_(room), number_(number), options_(std::move(options)) {}

std::string VirtualAdapter::name() const { return "\\\\.\\scsi" + std::to_string(number_) + ":"; }

std::string VirtualAdapter::interfacePath() const {
  char path[96];
  std::snprintf(path, sizeof path,
                "\\\\?\\pci#ven_1b4d&dev_00a2#4&%02x#{2accfe60-c130-11d2-b082-00a0c91efb8b}", number_);
  return path;
}

std::vector<VirtualDevice*> VirtualAdapter::devices() const {
  std::vector<VirtualDevice*> result;
  for (const auto& device : room_.devices()) {
    if (device->options().adapter == number_ && device->known()) result.push_back(device.get());
  }
  // The port driver lists what it found in the order in which it asked.
  std::stable_sort(result.begin(), result.end(), [](const VirtualDevice* a, const VirtualDevice* b) {
    const auto key = [](const DeviceOptions& o) { return std::tuple(o.bus, o.target, o.lun); };
    return key(a->options()) < key(b->options());
  });
  return result;
}

VirtualDevice* VirtualAdapter::find(std::uint8_t bus, std::uint8_t target, std::uint8_t lun) const {
  for (VirtualDevice* device : devices()) {
    const DeviceOptions& o = device->options();
    if (o.bus == bus && o.target == target && o.lun == lun) return device;
  }
  return nullptr;
}

void VirtualAdapter::rescan() {
  for (const auto& device : room_.devices()) {
    if (device->options().adapter == number_) device->rescanned();
  }
}

Bytes VirtualAdapter::inquiryList() const {
  constexpr std::size_t inquirySize = 36;
  constexpr std::size_t recordSize =
      (offsetof(SCSI_INQUIRY_DATA, InquiryData) + inquirySize + alignof(ULONG) - 1) / alignof(ULONG) *
      alignof(ULONG);
  const std::vector<VirtualDevice*> all = devices();
  const std::size_t head = offsetof(SCSI_ADAPTER_BUS_INFO, BusData) + options_.buses * sizeof(SCSI_BUS_DATA);
  Bytes list(head + all.size() * recordSize);
  list[0] = options_.buses;
  std::size_t at = head;
  for (std::uint8_t bus = 0; bus < options_.buses; ++bus) {
    SCSI_BUS_DATA busData{};
    busData.InitiatorBusId = options_.initiator;
    std::size_t previous = 0;
    for (VirtualDevice* device : all) {
      const DeviceOptions& o = device->options();
      if (o.bus != bus) continue;
      SCSI_INQUIRY_DATA record{};
      record.PathId = o.bus;
      record.TargetId = o.target;
      record.Lun = o.lun;
      record.DeviceClaimed = o.claimed;
      record.InquiryDataLength = inquirySize;
      const Bytes& inquiry = device->listedInquiry();
      std::memcpy(&list[at], &record, offsetof(SCSI_INQUIRY_DATA, InquiryData));
      std::copy_n(inquiry.begin(), inquirySize, &list[at + offsetof(SCSI_INQUIRY_DATA, InquiryData)]);
      const auto offset = static_cast<ULONG>(at);
      if (previous == 0) {
        busData.InquiryDataOffset = offset;
      } else {
        std::memcpy(&list[previous + offsetof(SCSI_INQUIRY_DATA, NextInquiryDataOffset)], &offset,
                    sizeof offset);
      }
      ++busData.NumberOfLogicalUnits;
      previous = at;
      at += recordSize;
    }
    std::memcpy(&list[offsetof(SCSI_ADAPTER_BUS_INFO, BusData) + bus * sizeof busData], &busData,
                sizeof busData);
  }
  return list;
}

bool VirtualAdapter::control(ControlRequest& request) const {
  switch (request.code) {
    case IOCTL_SCSI_GET_INQUIRY_DATA:
      request.reply(override_ ? *override_ : inquiryList());
      return true;
    case IOCTL_SCSI_GET_CAPABILITIES: {
      IO_SCSI_CAPABILITIES capabilities{};
      capabilities.Length = sizeof capabilities;
      capabilities.MaximumTransferLength = options_.maximumTransferLength;
      capabilities.MaximumPhysicalPages = options_.maximumPhysicalPages;
      capabilities.AlignmentMask = options_.alignmentMask;
      capabilities.TaggedQueuing = 1;
      request.reply(capabilities);
      return true;
    }
    case IOCTL_STORAGE_QUERY_PROPERTY: {
      const auto query = request.input<STORAGE_PROPERTY_QUERY>();
      if (query.PropertyId != StorageAdapterProperty) throw WindowsError{ERROR_INVALID_FUNCTION};
      if (query.QueryType == PropertyExistsQuery) return true;
      STORAGE_ADAPTER_DESCRIPTOR descriptor{};
      descriptor.Version = sizeof descriptor;
      descriptor.Size = sizeof descriptor;
      descriptor.MaximumTransferLength = options_.maximumTransferLength;
      descriptor.MaximumPhysicalPages = options_.maximumPhysicalPages;
      descriptor.AlignmentMask = options_.alignmentMask;
      descriptor.CommandQueueing = 1;
      descriptor.BusType = 6;  // BusTypeFibre
      // A short output buffer gets the beginning: callers ask for the header first to learn the size.
      const auto* bytes = reinterpret_cast<const std::uint8_t*>(&descriptor);
      request.reply(std::span(bytes, std::min(sizeof descriptor, request.outSize)));
      return true;
    }
    default:
      return false;
  }
}

void PortHandle::control(ControlRequest& request) {
  if (request.code == IOCTL_SCSI_PASS_THROUGH_DIRECT) {
    passThrough(request, adapter_, nullptr);
  } else if (request.code == IOCTL_SCSI_RESCAN_BUS) {
    adapter_.rescan();
  } else if (!adapter_.control(request)) {
    Handle::control(request);
  }
}

void ClassHandle::control(ControlRequest& request) {
  const DeviceOptions& o = device_.options();
  if (request.code == IOCTL_SCSI_PASS_THROUGH_DIRECT) {
    passThrough(request, adapter_, &device_);
  } else if (request.code == IOCTL_SCSI_GET_ADDRESS) {
    request.reply(SCSI_ADDRESS{sizeof(SCSI_ADDRESS), o.adapter, o.bus, o.target, o.lun});
  } else if (!adapter_.control(request)) {
    Handle::control(request);
  }
}

}  // namespace simulator
