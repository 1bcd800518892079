#include "simulator/devices/virtual_changer.h"

#include <set>
#include <stdexcept>
#include <utility>

#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

namespace simulator {
namespace {

[[noreturn]] void invalidElementAddress() { refuse(5, 0x21, 0x01); }
[[noreturn]] void removalIsPrevented() { refuse(5, 0x53, 0x02); }

/// A drive has to give its cartridge free. Libraries ask it themselves, over a line of their own.
void unload(const Element& place) {
  if (!place.drive || !place.drive->loaded()) return;
  constexpr int mostAttentions = 8;
  for (int attempt = 0; attempt <= mostAttentions; ++attempt) {
    ScsiRequest request;
    request.cdb[0] = 0x1B;
    request.cdbLength = 6;
    try {
      place.drive->execute(request);
    } catch (const WindowsError&) {
      refuse(4, 0x44, 0x00);
    }
    if (request.status == statusGood) return;
    const int key = request.sense.size() > 2 ? request.sense[2] & 0x0F : 0;
    if (key == 5) refuse(5, 0x53, 0x03);  // its removal is prevented by the drive
    if (key != 6) break;
  }
  refuse(4, 0x53, 0x00);
}

}  // namespace

std::unique_ptr<Medium> makeCartridge(const std::string& barcode) {
  const std::uint32_t number = crc32({reinterpret_cast<const std::uint8_t*>(barcode.data()), barcode.size()});
  const DriveModel& model = driveModel(barcode.empty() ? "" : std::string("PX") + barcode.back());
  return std::make_unique<Medium>(MediumOptions{.barcode = barcode,
                                                .serial = "QM" + std::to_string(10000000 + number % 90000000),
                                                .densityCode = model.densityCode,
                                                .capacity = std::uint64_t{model.capacity} * 1'000'000,
                                                .cleaning = barcode.starts_with("CLN")});
}

const Medium* Element::medium() const { return drive ? drive->medium() : cartridge.get(); }

VirtualChanger::VirtualChanger(Room& room, DeviceOptions identity, ChangerOptions options)
    : MediumDevice(room, typeChanger, std::move(identity), ModePages(ModePages::Saving::Never)),
      changer_(std::move(options)) {
  addElements();
  addModePages();
  addCommands();
  if (changer_.becomingReadySeconds != 0) becomeReadyIn(changer_.becomingReadySeconds);
}

ElementRange VirtualChanger::range(ElementType type) const {
  switch (type) {
    case elementTransport:
      return changer_.robots;
    case elementImportExport:
      return changer_.importExport;
    case elementDrive:
      return changer_.drives;
    default:
      return changer_.slots;
  }
}

static void check(bool makesSense, const std::string& sentence) {
  if (!makesSense) throw std::invalid_argument(sentence);
}

void VirtualChanger::addElements() {
  constexpr std::uint32_t addresses = 0x10000;
  constexpr std::uint16_t mostRobots = 127;  // that the transport geometry page holds
  check(changer_.robots.count <= mostRobots, "there are more than 127 robots");
  for (const ElementType type : {elementTransport, elementStorage, elementImportExport, elementDrive}) {
    check(std::uint32_t{range(type).first} + range(type).count <= addresses,
          "there are elements beyond 65535");
    for (std::uint16_t i = 0; i < range(type).count; ++i) {
      const auto address = static_cast<std::uint16_t>(range(type).first + i);
      check(!elements_.contains(address), "two elements have the address " + std::to_string(address));
      Element& place = elements_[address];
      place.address = address;
      place.type = type;
    }
  }
  check(changer_.bays.size() <= changer_.drives.count, "there are more drives than bays");
  std::set<std::string> serials;
  for (const auto& other : room().devices()) {
    const auto* library = dynamic_cast<const VirtualChanger*>(other.get());
    if (!library) continue;
    for (const VirtualDrive* drive : library->changer_.bays)
      serials.insert(drive ? drive->options().serial : "");
  }
  for (std::size_t i = 0; i < changer_.bays.size(); ++i) {
    VirtualDrive* drive = changer_.bays[i];
    elements_.at(static_cast<std::uint16_t>(changer_.drives.first + i)).drive = drive;
    if (!drive) continue;
    const std::string& serial = drive->options().serial;
    check(serials.insert(serial).second, "two bays have a drive with the serial number " + serial);
  }
  for (const auto& [address, barcode] : changer_.cartridges) {
    check(elements_.contains(address), "there is no element " + std::to_string(address) + " for a cartridge");
    Element& place = elements_.at(address);
    put(place, makeCartridge(barcode), {}, false);
    if (place.drive) place.drive->clearUnitAttentions();
  }
}

void VirtualChanger::addCommands() {
  const auto inventory = [this](ScsiRequest& request) {
    request.duration += std::int64_t{changer_.inventorySeconds} * 1000;
  };
  const Bytes rangeUsage{0xFF, 0x03, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0};

  onReady(0x07, {0xFF, 0, 0, 0, 0, 0}, inventory);
  const auto rangeInventory = [this, inventory](ScsiRequest& request) {
    if (request.cdb[1] & 0x01) addressed(request.cdb16(2));
    inventory(request);
  };
  onReady(0x37, rangeUsage, rangeInventory);
  onReady(0xE7, rangeUsage, rangeInventory);  // the code that libraries used before the standard had one
  // A library learns its elements while it becomes ready.
  onReady(0x1A, {0xFF, 0x08, 0xFF, 0xFF, 0xFF, 0}, &VirtualChanger::modeSense);
  onReady(0x5A, {0xFF, 0x08, 0xFF, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualChanger::modeSense);
  onCommand(0xB8, {0xFF, 0x1F, 0xFF, 0xFF, 0xFF, 0xFF, 0x03, 0xFF, 0xFF, 0xFF, 0, 0},
            [this](ScsiRequest& request) {
              if (!(request.cdb[6] & 0x02)) checkReady();  // CURDATA: what is known already
              readElementStatus(request);
            });
  onReady(0xA5, {0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0x01, 0}, &VirtualChanger::moveMedium);
  if (changer_.exchanges) {
    onReady(0xA6, {0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x03, 0},
            &VirtualChanger::exchangeMedium);
  }
  onReady(0x2B, {0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0x01, 0}, &VirtualChanger::positionToElement);
  onReady(0x1B, {0xFF, 0, 0xFF, 0xFF, 0x1F, 0}, &VirtualChanger::openCloseStation);
}

void VirtualChanger::becomeReadyIn(std::uint32_t seconds) {
  readyAt_ = room().clock().milliseconds() + std::int64_t{seconds} * 1000;
  addUnitAttention(0x28, 0x00, readyAt_);
}

void VirtualChanger::restart(std::uint32_t becomingReadySeconds) {
  resetState();
  clearUnitAttentions();
  addUnitAttention(0x29, 0x00);
  becomeReadyIn(becomingReadySeconds);
}

std::optional<Sense> VirtualChanger::notReady() const {
  if (changer_.neverReady || room().clock().milliseconds() < readyAt_) {
    return Sense{.key = 2, .asc = 0x04, .ascq = 0x01};
  }
  return std::nullopt;
}

void VirtualChanger::checkReady() {
  if (const auto sense = notReady()) throw CheckCondition{*sense};
}

Sense VirtualChanger::idleSense() { return notReady().value_or(Sense{}); }

Element& VirtualChanger::addressed(std::uint16_t address) {
  const auto found = elements_.find(address);
  if (found == elements_.end()) invalidElementAddress();
  return found->second;
}

/// Address 0 is the default robot.
void VirtualChanger::checkTransport(std::uint16_t address) {
  if (address != 0 && !changer_.robots.holds(address)) invalidElementAddress();
}

void VirtualChanger::checkLeaves(const Element& source, const Element& destination) {
  if (!source.medium()) refuse(5, 0x3B, 0x0E);
  if (removalPrevented() && destination.type == elementImportExport) removalIsPrevented();
  for (const Element* element : {&source, &destination}) {
    if (!element->accessible || (stationOpen_ && element->type == elementImportExport)) refuse(5, 0x3B, 0x11);
  }
  if (destination.type == elementDrive && !destination.drive) refuse(5, 0x3B, 0x1A);
}

/// Takes the cartridge of an element into the robot's hand.
std::unique_ptr<Medium> VirtualChanger::take(Element& source) {
  source.source.reset();
  source.inverted = false;
  source.placedByOperator = false;
  return source.drive ? source.drive->remove() : std::move(source.cartridge);
}

void VirtualChanger::put(Element& destination, std::unique_ptr<Medium> cartridge,
                         std::optional<std::uint16_t> from, bool inverted) {
  destination.source = from;
  destination.inverted = inverted;
  if (destination.drive) {
    destination.drive->insert(std::move(cartridge));
  } else {
    destination.cartridge = std::move(cartridge);
  }
}

static std::optional<std::uint16_t> sourceAfterMove(const Element& from) {
  return from.type == elementStorage ? from.address : from.source;
}

void VirtualChanger::moveMedium(ScsiRequest& request) {
  checkTransport(request.cdb16(2));
  Element& source = addressed(request.cdb16(4));
  Element& destination = addressed(request.cdb16(6));
  checkLeaves(source, destination);
  if (&source != &destination && destination.medium()) refuse(5, 0x3B, 0x0D);
  const auto from = sourceAfterMove(source);
  const bool inverted = source.inverted != ((request.cdb[10] & 0x01) != 0);
  unload(source);
  put(destination, take(source), from, inverted);
  request.duration += std::int64_t{changer_.moveSeconds} * 1000;
}

/// The cartridge of the source goes to the first destination, the one that is there to the second.
void VirtualChanger::exchangeMedium(ScsiRequest& request) {
  checkTransport(request.cdb16(2));
  Element& source = addressed(request.cdb16(4));
  Element& first = addressed(request.cdb16(6));
  Element& second = addressed(request.cdb16(8));
  if (&source == &first || &first == &second) invalidField(6);
  checkLeaves(source, first);
  checkLeaves(first, second);
  if (&second != &source && second.medium()) refuse(5, 0x3B, 0x0D);
  const auto fromSource = sourceAfterMove(source);
  const auto fromFirst = sourceAfterMove(first);
  const bool inverted = source.inverted != ((request.cdb[10] & 0x02) != 0);
  const bool displacedInverted = first.inverted != ((request.cdb[10] & 0x01) != 0);
  unload(source);
  unload(first);
  std::unique_ptr<Medium> displaced = take(first);
  std::unique_ptr<Medium> moved = take(source);
  put(first, std::move(moved), fromSource, inverted);
  put(second, std::move(displaced), fromFirst, displacedInverted);
  request.duration += std::int64_t{changer_.moveSeconds} * 2000;
}

void VirtualChanger::positionToElement(ScsiRequest& request) {
  checkTransport(request.cdb16(2));
  addressed(request.cdb16(4));
  request.duration += std::int64_t{changer_.moveSeconds} * 500;
}

void VirtualChanger::openCloseStation(ScsiRequest& request) {
  if (!changer_.importExport.holds(request.cdb16(2))) invalidElementAddress();
  const std::uint8_t action = request.cdb[4];
  if (action > 1) invalidField(4);
  const bool open = action == 0;
  if (open && removalPrevented()) removalIsPrevented();
  stationOpen_ = open;
}

void VirtualChanger::placeCartridge(std::uint16_t address, std::unique_ptr<Medium> cartridge) {
  Element& place = element(address);
  put(place, std::move(cartridge), {}, false);
  place.placedByOperator = place.type == elementImportExport;
  addUnitAttention(0x28, place.placedByOperator ? 0x01 : 0x00);
}

}  // namespace simulator
