// A tape library's medium changer (SMC-3).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/devices/medium.h"
#include "simulator/devices/medium_device.h"

namespace simulator {

class VirtualDrive;

/// A blank cartridge of the generation that the last character of its barcode tells ("QOR001L6"). An empty
/// barcode: without a label.
std::unique_ptr<Medium> makeCartridge(const std::string& barcode);

/// Element type codes; also the order in which a library reports its element status pages.
enum ElementType : std::uint8_t {
  elementTransport = 1,
  elementStorage = 2,
  elementImportExport = 3,
  elementDrive = 4,
};

struct ElementRange {
  std::uint16_t first;
  std::uint16_t count;

  bool holds(std::uint32_t address) const {
    return address >= first && address < std::uint32_t{first} + count;
  }
};

/// An identification descriptor of an element.
struct Designator {
  std::uint8_t codeSet = 2;  ///< 1 binary, 2 ASCII
  std::uint8_t type = 1;     ///< 1 T10 vendor identification
  Bytes identifier{};
  /// A library that lies: IDENTIFIER LENGTH says this, whatever stands behind it.
  std::optional<std::uint8_t> claimedLength{};
};

/// A place where a cartridge can be.
struct Element {
  std::uint16_t address = 0;
  ElementType type = elementStorage;
  std::unique_ptr<Medium> cartridge{};    ///< of a bay with a drive, the drive has it
  std::optional<std::uint16_t> source{};  ///< storage element that the cartridge came from
  bool inverted = false;
  bool accessible = true;                                            ///< by the robot
  bool placedByOperator = false;                                     ///< IMPEXP, of import/export elements
  std::optional<std::pair<std::uint8_t, std::uint8_t>> exception{};  ///< EXCEPT with ASC and ASCQ
  VirtualDrive* drive = nullptr;                                     ///< in this bay
  std::optional<Designator> designator{};                            ///< instead of the drive's own

  /// The cartridge here, null without one.
  const Medium* medium() const;
};

struct ChangerOptions {
  ElementRange robots{0x0001, 1};
  ElementRange importExport{0x0010, 4};
  ElementRange drives{0x0100, 2};
  ElementRange slots{0x1000, 24};
  std::vector<VirtualDrive*> bays{};  ///< drives in the bays, from the first; null: an empty bay
  std::map<std::uint16_t, std::string> cartridges{};  ///< barcodes by element address
  bool barcodeReader = true;                          ///< otherwise there are no volume tags
  bool exchanges = true;                              ///< EXCHANGE MEDIUM is supported
  bool door = true;                                   ///< it has a door that can be locked
  std::uint32_t becomingReadySeconds = 0;             ///< after power on: 2/04/01 for so long
  bool neverReady = false;
  std::uint32_t moveSeconds = 0;
  std::uint32_t inventorySeconds = 0;  ///< INITIALIZE ELEMENT STATUS
};

class VirtualChanger : public MediumDevice {
 public:
  VirtualChanger(Room& room, DeviceOptions identity, ChangerOptions options = {});

  const ChangerOptions& changer() const { return changer_; }
  ElementRange range(ElementType type) const;
  /// The element at this address; std::out_of_range when there is none.
  Element& element(std::uint16_t address) { return elements_.at(address); }
  const std::map<std::uint16_t, Element>& elements() const { return elements_; }
  /// The kinds of elements that can hold cartridges, by the bits of the device capabilities page.
  std::uint8_t storingTypes() const;
  /// ASC and ASCQ of what keeps the robot from an element: a bay without a drive, or what was set.
  static std::optional<std::pair<std::uint8_t, std::uint8_t>> exceptionOf(const Element& element);
  /// Byte 2 of the element's descriptor: FULL, IMPEXP, EXCEPT, ACCESS, EXENAB, INENAB.
  std::uint8_t stateByte(const Element& element) const;
  /// Byte 9: SVALID, INVERT.
  static std::uint8_t originByte(const Element& element);
  /// Primary volume tag, 36 bytes: the barcode and a volume sequence number of 0.
  static Bytes volumeTag(const Element& element);
  /// Bays tell the drive in them by vendor, product and serial number.
  static Designator designatorOf(const Element& element);

  /// What a person at the import/export station or at an open door does.
  void placeCartridge(std::uint16_t address, std::unique_ptr<Medium> cartridge);
  /// Power cycle: 6/29/00, 2/04/01 for so many seconds, then 6/28/00.
  void restart(std::uint32_t becomingReadySeconds);

  /// A library that lies in its element status pages.
  struct Lies {
    std::optional<std::uint16_t> descriptorLength{};
    std::optional<std::uint32_t> pageByteCount{};
    std::optional<std::uint16_t> elementCount{};
    std::optional<std::uint32_t> reportByteCount{};
  };
  Lies& lies() { return lies_; }

 protected:
  void checkReady() override;
  Sense idleSense() override;

 private:
  void addCommands();
  void addElements();
  void becomeReadyIn(std::uint32_t seconds);
  std::optional<Sense> notReady() const;

  // Moves (virtual_changer.cpp).
  void moveMedium(ScsiRequest& request);
  void exchangeMedium(ScsiRequest& request);
  void positionToElement(ScsiRequest& request);
  void openCloseStation(ScsiRequest& request);
  void checkTransport(std::uint16_t address);
  Element& addressed(std::uint16_t address);
  void checkLeaves(const Element& source, const Element& destination);
  std::unique_ptr<Medium> take(Element& source);
  void put(Element& destination, std::unique_ptr<Medium> cartridge, std::optional<std::uint16_t> from,
           bool inverted);

  // Reports (element_status.cpp).
  void addModePages();
  void readElementStatus(ScsiRequest& request);
  std::size_t identifierWidth(ElementType type) const;
  Bytes descriptor(const Element& element, bool volumeTags, bool identifiers) const;

  ChangerOptions changer_;
  std::map<std::uint16_t, Element> elements_;
  Lies lies_;
  std::int64_t readyAt_ = 0;
  bool stationOpen_ = false;
};

}  // namespace simulator
