#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kiv/api.h"
#include "kiv/changer/commands.h"
#include "kiv/types.h"

/// @file
/// READ ELEMENT STATUS data (SMC-3): a header, then a page per element type with descriptors of one length.
/// The image is not copied: it must live while it is decoded. What was decoded stays valid after it.
///
/// Nothing is thrown: a page or an image without memory for all of its content stays empty, and so does a
/// text.

/// One element. A descriptor of which less than its full length is there keeps its defaults: zero and empty.
class KIV_API ElemStatusDescriptor {
 public:
  /// `available` bytes are there from `data` on, of which the descriptor takes `length`.
  ElemStatusDescriptor(const std::uint8_t* data, ulong32 available, std::uint16_t length, bool volumeTag);
  ElemStatusDescriptor(const ElemStatusDescriptor&) = delete;
  ElemStatusDescriptor& operator=(const ElemStatusDescriptor&) = delete;
  virtual ~ElemStatusDescriptor();

  /// Decodes the descriptor anew; whoever builds one calls it once.
  virtual void decodeData();
  /// One line per field, each begun with a line feed.
  virtual std::string toString() const;

  ///@{
  /// ADDRESS, FULL and EXCEPT of the descriptor.
  std::uint16_t getElementAddress() const { return elementAddress; }
  bool isFull() const { return full; }
  bool isExcept() const { return except; }
  ///@}
  ///@{
  /// What is wrong with the element, when isExcept().
  std::uint8_t getAsc() const { return asc; }
  std::uint8_t getAscq() const { return ascq; }
  ///@}
  ///@{
  /// SVALID, and the element that the cartridge came from.
  bool isSrcValid() const { return srcValid; }
  std::uint16_t getSrcStorageElemAddress() const { return srcStorageElemAddress; }
  ///@}
  /// Whether the page carries primary volume tags.
  bool isPrimVolumeTagValid() const { return primVolumeTagValid; }
  /// Without trailing blanks; " " for an empty tag, "<not valid>" when the page carries none.
  std::string getPrimVolumeTag() const;

  ///@{
  /// The parts of toString().
  std::string fullToString() const;
  std::string exceptToString() const;
  std::string asc_ascqToString() const;
  std::string srcElemAddressToString() const;
  ///@}

 protected:
  /// The descriptor's bytes; empty while the descriptor is not wholly there.
  std::span<const std::uint8_t> bytes() const;
  bool bit(std::size_t byte, unsigned int number) const;
  /// The lines that fullToString, asc_ascqToString and srcElemAddressToString give.
  std::string sharedToString() const;

  const std::uint8_t* descriptorData;
  ulong32 bytesAvailable;
  std::uint16_t descriptorLength;
  bool primVolumeTagValid;
  std::uint16_t elementAddress = 0;
  bool full = false;
  bool except = false;
  std::uint8_t asc = 0;
  std::uint8_t ascq = 0;
  bool srcValid = false;
  std::uint16_t srcStorageElemAddress = 0;
  std::string primVolumeTag;
};

/// The identification block that ends a descriptor when device identifiers were asked for: a designation
/// descriptor (SPC-4).
class KIV_API ElementIdentification {
 public:
  ///@{
  /// CODE SET and DESIGNATOR TYPE (SPC-4).
  std::uint8_t getCodeSet() const { return codeSet; }
  std::uint8_t getIdentifierType() const { return identifierType; }
  ///@}
  /// As the changer gives it; getBinary_Identifier holds no more than the descriptor.
  std::uint8_t getIdentifierLength() const { return identifierLength; }
  /// The identifier's bytes.
  const std::vector<std::uint8_t>& getBinary_Identifier() const { return binaryIdentifier; }

 protected:
  void decodeIdentification(std::span<const std::uint8_t> descriptor, bool volumeTag);
  /// As text without trailing blanks; a binary identifier in hexadecimal.
  std::string identifierToString() const;

  std::uint8_t codeSet = 0;
  std::uint8_t identifierType = 0;
  std::uint8_t identifierLength = 0;
  std::vector<std::uint8_t> binaryIdentifier;
};

/// A storage element: a slot.
class KIV_API StorageElemStatusDescriptor : public ElemStatusDescriptor {
 public:
  using ElemStatusDescriptor::ElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}

  ///@{
  /// ACCESS: the robot reaches it. INVERT: the cartridge was turned over.
  bool isAccess() const { return access; }
  bool isInvert() const { return invert; }
  ///@}

 protected:
  std::string storageToString() const;

  bool access = false;
  bool invert = false;
};

/// Its identifier tells the location of the cartridge.
class KIV_API StorageWithDVCIDElemStatusDescriptor : public StorageElemStatusDescriptor,
                                                     public ElementIdentification {
 public:
  using StorageElemStatusDescriptor::StorageElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}
};

/// An import/export element.
class KIV_API IOElemStatusDescriptor : public ElemStatusDescriptor {
 public:
  using ElemStatusDescriptor::ElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}

  ///@{
  /// ACCESS, INVERT, EXENAB, INENAB and IMPEXP of the descriptor.
  bool isAccess() const { return access; }
  bool isInvert() const { return invert; }
  bool isExportEnable() const { return exportEnable; }
  bool isImportEnable() const { return importEnable; }
  bool isOperatorPlacedMedium() const { return operatorPlacedMedium; }
  ///@}

 protected:
  std::string stationToString() const;

  bool access = false;
  bool invert = false;
  bool exportEnable = false;
  bool importEnable = false;
  bool operatorPlacedMedium = false;
};

/// Its identifier tells the neighbouring library that a pass-through station leads to.
class KIV_API IOElemwDVCIDStatusDescriptor : public IOElemStatusDescriptor, public ElementIdentification {
 public:
  using IOElemStatusDescriptor::IOElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}

  ///@{
  /// Whether another library is behind the station, and what its identifier tells of it; empty otherwise.
  bool isMediaChangerConnected() const { return mediaChangerConnected; }
  std::string getVendorId() const { return vendorId; }
  std::string getModelId() const { return modelId; }
  std::string getSerialNumber() const { return serialNumber; }
  std::string getFirstStorageElementAddress() const { return firstStorageElementAddress; }
  std::string getFrameNumber() const { return frameNumber; }
  ///@}

 private:
  bool mediaChangerConnected = false;
  std::string vendorId;
  std::string modelId;
  std::string serialNumber;
  std::string firstStorageElementAddress;
  std::string frameNumber;
};

/// A medium transport element: a robot.
class KIV_API MediumTransportElemStatusDescriptor : public ElemStatusDescriptor {
 public:
  using ElemStatusDescriptor::ElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}

  /// INVERT: the cartridge was turned over.
  bool isInvert() const { return invert; }

 private:
  bool invert = false;
};

/// A data transfer element: a drive bay.
class KIV_API DataTransferElemStatusDescriptor : public ElemStatusDescriptor {
 public:
  using ElemStatusDescriptor::ElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}

  ///@{
  /// ACCESS, INVERT, LU VALID, ID VALID, NOT BUS, LOGICAL UNIT NUMBER and SCSI BUS ADDRESS of the
  /// descriptor.
  bool isAccess() const { return access; }
  bool isInvert() const { return invert; }
  bool isLunValid() const { return lunValid; }
  bool isIdValid() const { return idValid; }
  bool isNotBus() const { return notBus; }
  std::uint8_t getLun() const { return lun; }
  std::uint8_t getScsiBusAddress() const { return scsiBusAddress; }
  ///@}
  /// False for a bay whose drive was removed (ASC 3Bh, ASCQ 1Ah), or was never installed (exception code 8 of
  /// Windows' changer interface).
  virtual bool isDrivePresent() const;

 protected:
  std::string driveToString(const std::string& deviceId) const;

  bool access = false;
  bool invert = false;
  bool lunValid = false;
  bool idValid = false;
  bool notBus = false;
  std::uint8_t lun = 0;
  std::uint8_t scsiBusAddress = 0;
};

/// Its identifier names the drive in the bay.
class KIV_API DataTransferwDVCIDElemStatusDescriptor : public DataTransferElemStatusDescriptor,
                                                       public ElementIdentification {
 public:
  using DataTransferElemStatusDescriptor::DataTransferElemStatusDescriptor;
  ///@{
  /// As those of the base, for this kind of element.
  void decodeData() override;
  std::string toString() const override;
  ///@}
  /// False too for a bay that names no drive.
  bool isDrivePresent() const override;
};

/// One page: elements of one type.
class KIV_API ChangerElementStatusPage {
 public:
  /// `available` bytes are there from the page header on.
  ChangerElementStatusPage(const std::uint8_t* data, ulong32 available, bool deviceIdentifier);
  ChangerElementStatusPage(const ChangerElementStatusPage&) = delete;
  ChangerElementStatusPage& operator=(const ChangerElementStatusPage&) = delete;

  /// Decodes the page anew; the constructor does it too.
  void initialize();
  /// The page and all its elements as lines of text.
  std::string toString() const;

  ///@{
  /// Type, PVOLTAG, AVOLTAG and bytes per descriptor of the page header.
  ChangerElementTypeCode getElementTypeCode() const { return typeCode; }
  bool isPrimaryVolumeTag() const { return primaryVolumeTag; }
  bool isAlternateVolumeTag() const { return alternateVolumeTag; }
  std::uint16_t getDescriptorLength() const { return descriptorLength; }
  ///@}
  /// Bytes of descriptors, as the page header tells it.
  ulong32 getByteDescAvailable() const { return byteDescAvailable; }
  /// How many descriptors were decoded.
  std::uint16_t getNumberDescriptors() const { return static_cast<std::uint16_t>(descriptors.size()); }
  /// Null when `index` is out of range.
  ElemStatusDescriptor* getDescriptor(std::uint16_t index) const;
  /// 0 without descriptors.
  std::uint16_t getMaxReportedElementAddress() const;

 private:
  void decodeData();

  const std::uint8_t* pageData;
  ulong32 bytesAvailable;
  bool withIdentifier;
  ChangerElementTypeCode typeCode = 0;
  bool primaryVolumeTag = false;
  bool alternateVolumeTag = false;
  std::uint16_t descriptorLength = 0;
  ulong32 byteDescAvailable = 0;
  std::vector<std::shared_ptr<ElemStatusDescriptor>> descriptors;
};

/// The data of a READ ELEMENT STATUS. At most four pages are decoded, one per element type.
class KIV_API ChangerElementStatusData {
 public:
  /// `deviceIdentifier` tells whether the command asked for device identifiers.
  ChangerElementStatusData(const std::uint8_t* data, ulong32 length, bool deviceIdentifier);
  ChangerElementStatusData(const ChangerElementStatusData&) = delete;
  ChangerElementStatusData& operator=(const ChangerElementStatusData&) = delete;

  /// All pages as lines of text.
  std::string toString() const;

  ///@{
  /// First address, number of elements and bytes available of the data's header; 0 when that is not whole.
  std::uint16_t getFirstElementAddressReported() const { return firstElementAddressReported; }
  std::uint16_t getNumberElementsAvail() const { return numberElementsAvail; }
  ulong32 getByteCntReportAvail() const { return byteCntReportAvail; }
  ///@}
  /// How many pages were decoded.
  std::uint16_t getNumberPages() const { return static_cast<std::uint16_t>(pages.size()); }
  /// Null when `index` is out of range.
  ChangerElementStatusPage* getElementStatusPage(std::uint16_t index) const;
  /// The highest element address; 0 without elements.
  std::uint16_t getMaxReportedElementAddress() const;

 private:
  void decodeData(std::span<const std::uint8_t> data, bool deviceIdentifier);

  std::uint16_t firstElementAddressReported = 0;
  std::uint16_t numberElementsAvail = 0;
  ulong32 byteCntReportAvail = 0;
  std::vector<std::unique_ptr<ChangerElementStatusPage>> pages;
};
