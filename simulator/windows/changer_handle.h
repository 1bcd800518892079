// "\\.\Changer0" behind Windows' class driver: the changer interface (ntddchgr.h).
#pragma once

#include <string>
#include <vector>

#include "simulator/devices/virtual_changer.h"
#include "simulator/windows/class_driver.h"
#include "simulator/windows/virtual_adapter.h"

namespace simulator {

class ChangerHandle : public ClassHandle {
 public:
  ChangerHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualChanger& changer);
  void control(ControlRequest& request) override;

 protected:
  VirtualChanger& changer() const { return changer_; }
  ClassDriver& driver() { return driver_; }

 private:
  void getParameters(ControlRequest& request) const;
  void setAccess(const ControlRequest& request);
  void setPosition(const ControlRequest& request);
  void moveMedium(const ControlRequest& request);
  void exchangeMedium(const ControlRequest& request);
  void initializeElementStatus(const ControlRequest& request);
  void getElementStatus(ControlRequest& request);

  /// SCSI address of an element that Windows numbers from 0 within its type.
  std::uint16_t scsiAddress(const CHANGER_ELEMENT& element) const;
  CHANGER_ELEMENT windowsElement(std::uint16_t address) const;
  std::vector<const Element*> listed(const CHANGER_ELEMENT_LIST& list) const;
  CHANGER_ELEMENT_STATUS_EX status(const Element& element, bool volumeTags) const;

  VirtualChanger& changer_;
  ClassDriver driver_;
};

}  // namespace simulator
