#pragma once

#include <cstdint>

#include "kiv/api.h"
#include "kiv/changer/commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "kiv/types.h"

// Windows' changer structures (winioctl.h).
struct _CHANGER_ELEMENT;
struct _CHANGER_ELEMENT_STATUS;
struct _GET_CHANGER_PARAMETERS;

/// @file
/// The changer commands carried out through Windows' changer interface, which names an element by its kind
/// and a number within that kind. Each doOperation answers CMD_OK or CMD_ERROR unless told otherwise, and
/// writes what it read into the generic command's data buffer in SCSI form.

/// Element address assignment page from IOCTL_CHANGER_GET_PARAMETERS.
class KIV_API QORChangerCmdElementInformation : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;

  ///@{
  /// The element at a SCSI element address. True when the address lies in a range of the changer; where
  /// ranges overlap, the order is transport, drive, import/export, slot.
  static bool translateAddress(void* deviceHandle, std::uint16_t scsiAddress, _CHANGER_ELEMENT& element);
  static bool translateAddress(const _GET_CHANGER_PARAMETERS& parameters, std::uint16_t scsiAddress,
                               _CHANGER_ELEMENT& element);
  ///@}
  /// The SCSI element address of an element; 0 for kinds that have none.
  static std::uint16_t absoluteAddress(const _GET_CHANGER_PARAMETERS& parameters,
                                       const _CHANGER_ELEMENT& element);
};

// clang-format off
/// Locks or unlocks import/export ports and doors; done when either could be.
struct KIV_API QORChangerCmdPreventAllowMediumRemoval : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Twin of ChangerCmdPositionToElement.
struct KIV_API QORChangerCmdPositionToElement : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Twin of ChangerMoveMedium.
struct KIV_API QORChangerMoveMedium : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// CMD_ERROR too when the changer has no media exchange.
struct KIV_API QORChangerCmdExchangeMedium : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// CMD_OK, or CMD_NOT_SUPPORTED when the request fails: the CDB may be sent instead.
struct KIV_API QORChangerCmdInitializeElementStatus : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// Twin of ChangerCmdInitializeElementStatusWithRange.
struct KIV_API QORChangerCmdInitializeElementStatusWithRange : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
/// The driver has no request for opening and closing the import/export station: always CMD_NOT_SUPPORTED.
struct KIV_API QORChangerOpenCloseImportExportElement : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
// clang-format on

/// Rebuilds a READ ELEMENT STATUS report from IOCTL_CHANGER_GET_ELEMENT_STATUS. Device identifiers are
/// available for drives only.
class KIV_API QORChangerCmdReadElementStatus : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;

  /// Counts the records of one element type (Windows' numbering, equal to SMC's up to 4) and stores the index
  /// of the first; `first` is left alone when there is none.
  static unsigned int findOccurence(const _CHANGER_ELEMENT_STATUS* status, unsigned int count,
                                    unsigned int type, unsigned int& first);
  /// The little-endian number in two bytes; 0 for null.
  static std::uint16_t getAddress(const std::uint8_t* bytes);
  ///@{
  /// Bytes of an element descriptor without volume tag: as the standard fixes it, and as rebuilt here.
  static std::uint16_t getSCSIDescriptorLength(ChangerElementTypeCode type);
  static std::uint16_t getDescriptorLength4Windows(ChangerElementTypeCode type, bool withIdentifier);
  ///@}

  ///@{
  /// Write the header of the report, and of a page at `offset`, where the data buffer has room for all eight
  /// bytes. Byte counts tell what there is to report, not what fits. Return the bytes written, 8 or 0.
  unsigned int setHeader(std::uint16_t first, std::uint16_t count, ulong32 byteCount);
  unsigned int setSubHeader(ulong32 offset, ChangerElementTypeCode typeCode, bool volumeTag,
                            std::uint16_t descriptorLength, ulong32 byteCount);
  ///@}
};

/// Storage elements with their cartridges' locations, from the driver's own request.
class KIV_API QORChangerCmdReadCartridgeLocation : public QORChangerCmdReadElementStatus {
 public:
  using QORChangerCmdReadElementStatus::QORChangerCmdReadElementStatus;
  ReturnCode doOperation(void* deviceHandle) override;
};

/// Sense data of the last failed request, from the changer driver's own request. CMD_OK, CMD_ERROR when the
/// driver refuses, or CMD_NOT_SUPPORTED when it keeps none.
class KIV_API QORChangerCmdRequestSense : public QORScsiCmdChangerRequestSense {
 public:
  using QORScsiCmdChangerRequestSense::QORScsiCmdChangerRequestSense;
};

/// Mounting and unmounting by element address is not offered by the driver: always CMD_NOT_SUPPORTED.
class KIV_API QORChangerCmdMount : public QORScsiCommand {
 public:
  ///@{
  /// The address of the drive element.
  explicit QORChangerCmdMount(std::uint16_t elementAddress) : element(elementAddress) {}
  std::uint16_t getElementAddress() const { return element; }
  ///@}

 private:
  std::uint16_t element;
};

/// The same the other way round.
class KIV_API QORChangerCmdUnmount : public QORScsiCommand {
 public:
  ///@{
  /// The address of the drive element.
  explicit QORChangerCmdUnmount(std::uint16_t elementAddress) : element(elementAddress) {}
  std::uint16_t getElementAddress() const { return element; }
  ///@}

 private:
  std::uint16_t element;
};
