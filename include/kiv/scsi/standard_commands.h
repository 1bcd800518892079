#pragma once

#include <cstdint>
#include <string>

#include "kiv/api.h"
#include "kiv/scsi/command.h"
#include "kiv/types.h"

/// @file
/// The primary commands (SPC-4) that drives and libraries share. A setter that changes an allocation length
/// also replaces the data buffer by a zeroed one of that length.

/// TEST UNIT READY (00h): no data.
class KIV_API ScsiCmdTestUnitReady : public GenericScsiCommand {
 public:
  ScsiCmdTestUnitReady();
  QORScsiCommand* createQORCommand() override;
};

/// REQUEST SENSE (03h): sense data in.
class KIV_API ScsiCmdRequestSense : public GenericScsiCommand {
 public:
  /// Asks for `allocation` bytes of sense data.
  explicit ScsiCmdRequestSense(std::uint8_t allocation);
  QORScsiCommand* createQORCommand() override;
  /// Bytes to ask for. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setTransferLength(std::uint8_t length);
};

/// INQUIRY (12h): standard inquiry data, or a vital product data page.
class KIV_API ScsiCmdInquiry : public GenericScsiCommand {
 public:
  /// A page code other than 0 sets EVPD by itself.
  ScsiCmdInquiry(std::uint8_t pageCode, bool evpd, std::uint16_t allocation);
  QORScsiCommand* createQORCommand() override;
  /// Sets EVPD for a page code other than 0 and clears it for 0.
  void setPageCode(std::uint8_t pageCode);
  /// EVPD: a vital product data page in place of standard inquiry data.
  void setEnableVitalProductDataFlag(bool evpd);
  /// Bytes to ask for. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setTransferLength(std::uint16_t allocation);

  ///@{
  /// Of standard inquiry data; empty and 0 for a vital product data page. A text is read at its width (8, 16
  /// and 4 bytes), up to the first zero byte; blanks stay.
  std::string getVendorId() const;
  std::string getProductId() const;
  std::string getRevisionLevel() const;
  std::uint8_t getPeripheralDeviceType() const;
  ///@}

 private:
  bool isStandardInquiry() const;
};

/// MODE SENSE(6) (1Ah): mode pages in.
class KIV_API ScsiCmdModeSense6 : public GenericScsiCommand {
 public:
  /// `dbd` disables block descriptors; page control 0 to 3; an allocation of 0 stands for 255.
  ScsiCmdModeSense6(bool dbd, std::uint8_t pageControl, std::uint8_t pageCode, std::uint8_t allocation);
  QORScsiCommand* createQORCommand() override;
  ///@{
  /// The fields of the CDB, as in the constructor; the subpage code is 0 at first.
  void setDBDFlag(bool dbd);
  void setPageControl(std::uint8_t pageControl);
  void setPageCode(std::uint8_t pageCode);
  void setSubPageCode(std::uint8_t subpageCode);
  ///@}
  /// 0 stands for 255, as in the constructor.
  ReturnCode setTransferLength(std::uint8_t allocation);

  /// The mode data length of a successful execution: the bytes that follow the first; else 0.
  std::uint8_t getPageLength() const;
};

/// MODE SELECT(6) (15h): mode pages out, in page format.
class KIV_API ScsiCmdModeSelect6 : public GenericScsiCommand {
 public:
  /// A length of 0 stands for 255.
  explicit ScsiCmdModeSelect6(std::uint8_t parameterListLength);
  QORScsiCommand* createQORCommand() override;
  /// SP: the drive shall keep the pages beyond a power cycle.
  void setSavePageFlag(bool save);
  /// 0 stands for 255, as in the constructor.
  ReturnCode setTransferLength(std::uint8_t parameterListLength);
};

/// READ CAPACITY(10) (25h): 128 bytes in.
class KIV_API ScsiCmdReadCapacity : public GenericScsiCommand {
 public:
  ScsiCmdReadCapacity();
  QORScsiCommand* createQORCommand() override;
};

/// READ BUFFER (3Ch). Of the mode field the low three bits are sent; offset and length have 24 bits.
class KIV_API ScsiCmdReadBuffer : public GenericScsiCommand {
 public:
  /// Offset and length in bytes; the length is also that of the data buffer.
  ScsiCmdReadBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset, ulong32 allocation);
  QORScsiCommand* createQORCommand() override;
  ///@{
  /// The fields of the CDB, as in the constructor.
  void setMode(std::uint8_t mode);
  void setBufferId(std::uint8_t bufferId);
  void setOffset(ulong32 offset);
  ///@}
  /// Bytes to move. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setParameterListLength(ulong32 length);
};

/// WRITE BUFFER (3Bh). Of the mode field the low three bits are sent; offset and length have 24 bits.
class KIV_API ScsiCmdWriteBuffer : public GenericScsiCommand {
 public:
  /// Offset and length in bytes; the length is also that of the data buffer.
  ScsiCmdWriteBuffer(std::uint8_t mode, std::uint8_t bufferId, ulong32 offset, ulong32 length);
  QORScsiCommand* createQORCommand() override;
  ///@{
  /// The fields of the CDB, as in the constructor.
  void setMode(std::uint8_t mode);
  void setBufferId(std::uint8_t bufferId);
  void setOffset(ulong32 offset);
  ///@}
  /// Bytes to move. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setParameterListLength(ulong32 length);
};

/// SEND DIAGNOSTIC (1Dh): a diagnostic page out when the length is not 0.
class KIV_API ScsiCmdSendDiagnostic : public GenericScsiCommand {
 public:
  /// PF and SELFTEST bits; bytes of the page, which is for the caller to fill.
  ScsiCmdSendDiagnostic(bool pageFormat, bool selfTest, std::uint16_t parameterListLength);
  QORScsiCommand* createQORCommand() override;
  ///@{
  /// SELFTEST and PF bits.
  void setSelfTestFlag(bool selfTest);
  void setPageFlag(bool pageFormat);
  ///@}
  /// Sets the length in the CDB and the direction that goes with it; the data buffer stays as it is.
  void setParameterLength(std::uint8_t parameterListLength);
};

/// RECEIVE DIAGNOSTIC RESULTS (1Ch): a diagnostic page in.
class KIV_API ScsiCmdReceiveDiagnostic : public GenericScsiCommand {
 public:
  /// Asks for `allocation` bytes.
  explicit ScsiCmdReceiveDiagnostic(std::uint16_t allocation);
  QORScsiCommand* createQORCommand() override;
  /// Bytes to ask for. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setParameterLength(std::uint16_t allocation);
};

/// REPORT LUNS (A0h): the LUN list in. Entries are numbered from 0; what lies beyond the buffer reads as 0.
class KIV_API ScsiCmdReportLuns : public GenericScsiCommand {
 public:
  /// Asks for `allocation` bytes.
  explicit ScsiCmdReportLuns(ulong32 allocation);
  QORScsiCommand* createQORCommand() override;
  /// Bytes to ask for. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setAllocationLength(ulong32 allocation);

  /// As many as the device has, which may be more than the buffer holds.
  ulong32 getNumberOfAttachedLuns() const;
  /// The LUN entry of eight bytes (SAM-5) as a number.
  std::uint64_t getAttachedLun(ulong32 index) const;
  /// SAM-5 address method: 0 peripheral, 1 flat space, 2 logical unit, 3 extended.
  std::uint8_t getAddressMethod(ulong32 index) const;
  /// The LUN that the entry's first level holds in its address method; 0 for extended addressing.
  std::uint16_t getLunViaAddressMethod(ulong32 index) const;
};

/// LOG SENSE (4Dh): a log page in. Its parameters are found by their codes; offsets count from the start of
/// the page header. The decoders read the page of a successful execution.
class KIV_API ScsiCmdLogSense : public GenericScsiCommand {
 public:
  /// Page control 0 to 3: threshold, cumulative, default threshold, default cumulative values.
  ScsiCmdLogSense(std::uint8_t pageControl, std::uint8_t pageCode, std::uint16_t parameterPointer,
                  std::uint16_t allocationLength);
  QORScsiCommand* createQORCommand() override;
  ///@{
  /// The fields of the CDB, as in the constructor.
  void setPageControl(std::uint8_t pageControl);
  void setPageCode(std::uint8_t pageCode);
  ///@}
  /// Does nothing for 0.
  void setSubpageCode(std::uint8_t subpageCode);
  /// The parameter code from which on the drive shall answer.
  void setParameterPointer(std::uint16_t parameterPointer);
  /// Bytes to ask for. CMD_OK or CMD_NO_MEMORY.
  ReturnCode setTransferLength(std::uint16_t allocationLength);
  /// Keeps the driver twin from asking the driver, so that the CDB is sent.
  void setForcePassthrough(bool force) { forcePassthrough = force; }

  /// Bytes that follow the 4-byte page header; 0 without a page.
  std::uint16_t getPageLength() const;
  /// Where a parameter starts; 0 when the page does not hold it. The walk ends at the page length counted
  /// from the start of the header: a parameter in the last four bytes of the page is not found.
  std::uint16_t getParameterOffset(std::uint16_t code) const;
  /// A parameter's value; of more than eight bytes the last eight. 0 for an absent one.
  std::uint64_t getAttributeValue(std::uint16_t code) const;
  /// CMD_OK when the page holds the parameter, else CMD_NOT_SUPPORTED.
  ReturnCode isAttributeSupported(std::uint16_t code) const;
  /// CMD_OK when the page holds the parameter and it has at most eight bytes, else CMD_ERROR.
  ReturnCode isAttributeTypeInteger(std::uint16_t code) const;
  /// Reads the parameter that starts at `offset`. False, with the value 0, when there is none there or it has
  /// not one to eight bytes.
  bool getParameter(std::uint16_t offset, std::uint16_t& code, std::uint8_t& length,
                    std::uint64_t& value) const;
  /// An integer parameter in decimal, a longer one as its text; empty for an absent one.
  std::string getAttributeValueAsString(std::uint16_t code) const;

 private:
  bool forcePassthrough = false;
};
