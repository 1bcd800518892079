#include "simulator/windows/changer_handle.h"

#include <algorithm>

#include "simulator/devices/virtual_drive.h"

namespace simulator {
namespace {

struct ElementKind {
  ElementType scsi;
  ELEMENT_TYPE windows;
};
constexpr ElementKind kinds[] = {{elementTransport, ChangerTransport},
                                 {elementStorage, ChangerSlot},
                                 {elementImportExport, ChangerIEPort},
                                 {elementDrive, ChangerDrive}};

DWORD exceptionCode(std::pair<std::uint8_t, std::uint8_t> ascAndAscq) {
  if (ascAndAscq.first == 0x30) return ERROR_LABEL_UNREADABLE;  // incompatible medium installed
  if (ascAndAscq == std::pair<std::uint8_t, std::uint8_t>{0x3B, 0x1A}) return ERROR_DRIVE_NOT_INSTALLED;
  return ERROR_UNHANDLED_ERROR;
}

template <std::size_t n>
void putField(BYTE (&field)[n], const std::string& text, char filler) {
  for (std::size_t i = 0; i < n; ++i) field[i] = static_cast<BYTE>(i < text.size() ? text[i] : filler);
}

}  // namespace

ChangerHandle::ChangerHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualChanger& changer)
    : ClassHandle(name, access, adapter, changer), changer_(changer), driver_(changer, std::move(name)) {}

std::uint16_t ChangerHandle::scsiAddress(const CHANGER_ELEMENT& element) const {
  for (const ElementKind& kind : kinds) {
    if (kind.windows != element.ElementType) continue;
    const ElementRange range = changer_.range(kind.scsi);
    if (element.ElementAddress >= range.count) break;
    return static_cast<std::uint16_t>(range.first + element.ElementAddress);
  }
  throw WindowsError{ERROR_ILLEGAL_ELEMENT_ADDRESS};
}

CHANGER_ELEMENT ChangerHandle::windowsElement(std::uint16_t address) const {
  for (const ElementKind& kind : kinds) {
    const ElementRange range = changer_.range(kind.scsi);
    if (range.holds(address)) return {kind.windows, static_cast<DWORD>(address - range.first)};
  }
  return {AllElements, 0};
}

void ChangerHandle::control(ControlRequest& request) {
  switch (request.code) {
    case IOCTL_CHANGER_GET_PARAMETERS:
      return getParameters(request);
    case IOCTL_CHANGER_SET_ACCESS:
      return setAccess(request);
    case IOCTL_CHANGER_SET_POSITION:
      return setPosition(request);
    case IOCTL_CHANGER_MOVE_MEDIUM:
      return moveMedium(request);
    case IOCTL_CHANGER_EXCHANGE_MEDIUM:
      return exchangeMedium(request);
    case IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS:
      return initializeElementStatus(request);
    case IOCTL_CHANGER_GET_ELEMENT_STATUS:
      return getElementStatus(request);
    default:
      return ClassHandle::control(request);
  }
}

void ChangerHandle::setPosition(const ControlRequest& request) {
  const auto block = request.input<CHANGER_SET_POSITION>();
  Bytes cdb{0x2B, 0, 0, 0, 0, 0, 0, 0, flag(block.Flip, 0), 0};
  put16(cdb, 2, scsiAddress(block.Transport));
  put16(cdb, 4, scsiAddress(block.Destination));
  driver_.send(cdb);
}

void ChangerHandle::moveMedium(const ControlRequest& request) {
  const auto block = request.input<CHANGER_MOVE_MEDIUM>();
  Bytes cdb{0xA5, 0, 0, 0, 0, 0, 0, 0, 0, 0, flag(block.Flip, 0), 0};
  put16(cdb, 2, scsiAddress(block.Transport));
  put16(cdb, 4, scsiAddress(block.Source));
  put16(cdb, 6, scsiAddress(block.Destination));
  driver_.send(cdb);
}

void ChangerHandle::exchangeMedium(const ControlRequest& request) {
  const auto block = request.input<CHANGER_EXCHANGE_MEDIUM>();
  const auto flips = static_cast<std::uint8_t>(flag(block.Flip1, 1) | flag(block.Flip2, 0));
  Bytes cdb{0xA6, 0, 0, 0, 0, 0, 0, 0, 0, 0, flips, 0};
  put16(cdb, 2, scsiAddress(block.Transport));
  put16(cdb, 4, scsiAddress(block.Source));
  put16(cdb, 6, scsiAddress(block.Destination1));
  put16(cdb, 8, scsiAddress(block.Destination2));
  driver_.send(cdb);
}

void ChangerHandle::getParameters(ControlRequest& request) const {
  const ChangerOptions& options = changer_.changer();
  // CHANGER_TO_SLOT, CHANGER_TO_IEPORT, CHANGER_TO_DRIVE are the standard's bits.
  const BYTE anywhere = changer_.storingTypes();
  GET_CHANGER_PARAMETERS parameters{};
  parameters.Size = sizeof parameters;
  parameters.NumberTransportElements = options.robots.count;
  parameters.NumberStorageElements = options.slots.count;
  parameters.NumberIEElements = options.importExport.count;
  parameters.NumberDataTransferElements = options.drives.count;
  parameters.NumberOfDoors = options.door ? 1 : 0;
  parameters.FirstSlotNumber = options.slots.first;
  parameters.FirstDriveNumber = options.drives.first;
  parameters.FirstTransportNumber = options.robots.first;
  parameters.FirstIEPortNumber = options.importExport.first;
  parameters.DriveCleanTimeout = 600;
  parameters.Features0 = CHANGER_INIT_ELEM_STAT_WITH_RANGE | CHANGER_CLOSE_IEPORT | CHANGER_OPEN_IEPORT |
                         CHANGER_STATUS_NON_VOLATILE | CHANGER_LOCK_UNLOCK | CHANGER_POSITION_TO_ELEMENT;
  if (options.barcodeReader) parameters.Features0 |= CHANGER_BAR_CODE_SCANNER_INSTALLED;
  if (options.exchanges) parameters.Features0 |= CHANGER_EXCHANGE_MEDIA;
  parameters.MoveFromSlot = parameters.MoveFromIePort = parameters.MoveFromDrive = anywhere;
  if (options.exchanges) {
    parameters.ExchangeFromSlot = parameters.ExchangeFromIePort = parameters.ExchangeFromDrive = anywhere;
  }
  parameters.LockUnlockCapabilities =
      static_cast<BYTE>(LOCK_UNLOCK_IEPORT | (options.door ? LOCK_UNLOCK_DOOR : BYTE{0}));
  parameters.PositionCapabilities = anywhere;
  request.reply(parameters);
}

void ChangerHandle::setAccess(const ControlRequest& request) {
  const auto access = request.input<CHANGER_SET_ACCESS>();
  const bool station =
      access.Element.ElementType == ChangerIEPort && changer_.changer().importExport.count > 0;
  const bool door = access.Element.ElementType == ChangerDoor && changer_.changer().door;
  if (!station && !door) throw WindowsError{ERROR_INVALID_FUNCTION};
  switch (access.Control) {
    case LOCK_ELEMENT:
    case UNLOCK_ELEMENT:
      return driver_.send(
          {0x1E, 0, 0, 0, static_cast<std::uint8_t>(access.Control == LOCK_ELEMENT ? 1 : 0), 0});
    case EXTEND_IEPORT:
    case RETRACT_IEPORT: {
      if (!station) break;
      Bytes cdb{0x1B, 0, 0, 0, static_cast<std::uint8_t>(access.Control == EXTEND_IEPORT ? 0 : 1), 0};
      put16(cdb, 2, scsiAddress(access.Element));
      return driver_.send(cdb);
    }
    default:
      break;
  }
  throw WindowsError{ERROR_INVALID_PARAMETER};
}

void ChangerHandle::initializeElementStatus(const ControlRequest& request) {
  const auto block = request.input<CHANGER_INITIALIZE_ELEMENT_STATUS>();
  if (block.ElementList.Element.ElementType == AllElements) return driver_.send({0x07, 0, 0, 0, 0, 0});
  if (block.ElementList.NumberOfElements > 0xFFFF) throw WindowsError{ERROR_INVALID_PARAMETER};
  Bytes cdb{0x37, 0x01, 0, 0, 0, 0, 0, 0, 0, 0};
  put16(cdb, 2, scsiAddress(block.ElementList.Element));
  put16(cdb, 6, static_cast<std::uint16_t>(block.ElementList.NumberOfElements));
  driver_.send(cdb);
}

/// The elements that a list names: of one type, or, numbered through, of all.
std::vector<const Element*> ChangerHandle::listed(const CHANGER_ELEMENT_LIST& list) const {
  std::vector<const Element*> all;
  for (const ElementKind& kind : kinds) {
    if (list.Element.ElementType != AllElements && list.Element.ElementType != kind.windows) continue;
    for (const auto& [address, element] : changer_.elements()) {
      if (element.type == kind.scsi) all.push_back(&element);
    }
  }
  const std::size_t first = list.Element.ElementAddress;
  if (list.NumberOfElements == 0) throw WindowsError{ERROR_INVALID_PARAMETER};
  if (first > all.size() || list.NumberOfElements > all.size() - first) {
    throw WindowsError{ERROR_ILLEGAL_ELEMENT_ADDRESS};
  }
  const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
  return {begin, begin + static_cast<std::ptrdiff_t>(list.NumberOfElements)};
}

CHANGER_ELEMENT_STATUS_EX ChangerHandle::status(const Element& element, bool volumeTags) const {
  CHANGER_ELEMENT_STATUS_EX record{};
  record.Element = windowsElement(element.address);
  record.Flags =
      changer_.stateByte(element);  // FULL, IMPEXP, EXCEPT, ACCESS, EXENAB, INENAB: the standard's bits
  if (const auto exception = VirtualChanger::exceptionOf(element)) {
    record.ExceptionCode = exceptionCode(*exception);
  }
  if (element.source) {
    record.Flags |= ELEMENT_STATUS_SVALID;
    record.SrcElementAddress = windowsElement(*element.source);
  }
  if (element.inverted) record.Flags |= ELEMENT_STATUS_INVERT;
  if (element.drive) {
    const DeviceOptions& drive = element.drive->options();
    if (drive.interface == Interface::ParallelScsi) {
      record.Flags |= ELEMENT_STATUS_ID_VALID | ELEMENT_STATUS_LUN_VALID;
      if (drive.adapter != changer_.options().adapter || drive.bus != changer_.options().bus) {
        record.Flags |= ELEMENT_STATUS_NOT_BUS;
      }
      record.TargetId = drive.target;
      record.Lun = drive.lun;
    }
    record.Flags |= ELEMENT_STATUS_PRODUCT_DATA;
    putField(record.VendorIdentification, drive.vendor, ' ');
    putField(record.ProductIdentification, drive.model, ' ');
    putField(record.SerialNumber, drive.serial, '\0');
  }
  if (volumeTags && element.medium() && !element.medium()->options().barcode.empty()) {
    record.Flags |= ELEMENT_STATUS_PVOLTAG;
    const Bytes tag = changer_.volumeTag(element);
    std::copy(tag.begin(), tag.end(), record.PrimaryVolumeID);
  }
  return record;
}

void ChangerHandle::getElementStatus(ControlRequest& request) {
  const auto block = request.input<CHANGER_READ_ELEMENT_STATUS>();
  const std::vector<const Element*> elements = listed(block.ElementList);
  // An output buffer that fits the extended records exactly asks for them.
  const bool extended = request.outSize == elements.size() * sizeof(CHANGER_ELEMENT_STATUS_EX);
  const std::size_t size = extended ? sizeof(CHANGER_ELEMENT_STATUS_EX) : sizeof(CHANGER_ELEMENT_STATUS);
  if (request.outSize < elements.size() * size) throw WindowsError{ERROR_INSUFFICIENT_BUFFER};
  driver_.read({0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0}, 8);  // whether the library answers at all

  Bytes records(elements.size() * size);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    CHANGER_ELEMENT_STATUS_EX record =
        status(*elements[i], block.VolumeTagInfo && changer_.changer().barcodeReader);
    if (!extended) record.Flags &= ~DWORD{ELEMENT_STATUS_PRODUCT_DATA};
    std::memcpy(&records[i * size], &record, size);  // the plain record is the beginning of the extended one
  }
  request.reply(records);
}

}  // namespace simulator
