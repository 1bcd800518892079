// What the host asked of a room, call by call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/devices/scsi.h"

namespace simulator {

/// One Windows call. Its line is one of
///
///     CreateFileA \\.\scsi0: rw                          access is r, w, rw or -
///     CreateFileA \\.\scsi1: rw -> error 2               failed with this Windows error number
///     DeviceIoControl \\.\scsi0: SCSI_GET_INQUIRY_DATA
///     CDB H0-B0-T5-L0 00 00 00 00 00 00 -> 2/3A/00       CHECK CONDITION: key/ASC/ASCQ
///     CDB H0-B0-T5-L0 00 00 00 00 00 00 -> status 08     any other status that is not GOOD
///     CDB H0-B0-T5-L0 00 00 00 00 00 00 -> error 1117    the call failed, the device was not reached
///     Sleep 1000
///     CloseHandle \\.\scsi0:
///
/// A pass-through request is the CDB line alone.
struct JournalEntry {
  std::string call{};     ///< Windows' name of the call, "CDB" for a pass-through request
  std::string device{};   ///< name by which the handle was opened, empty when the call has none
  std::string address{};  ///< of the device that a CDB went to: "H0-B0-T5-L0"
  std::string text{};     ///< arguments worth comparing; the bytes of a CDB
  std::string outcome{};  ///< empty for success

  // Of a pass-through request.
  Bytes cdb{};
  Bytes dataOut{};                   ///< the first 1024 bytes that the host sent
  std::uint32_t transferLength = 0;  ///< size of the host's data buffer
  std::uint32_t transferred = 0;     ///< bytes moved
  std::uint32_t timeOut = 0;         ///< seconds
  std::uint8_t direction = 2;        ///< SCSI_IOCTL_DATA_...
  std::uint8_t senseLength = 0;      ///< room for sense data

  std::string line() const;
};

class Journal {
 public:
  const std::vector<JournalEntry>& entries() const { return entries_; }
  /// Every call, one line each.
  std::vector<std::string> lines() const;
  /// The lines of one device: its handle name ("\\.\scsi0:") or its address ("H0-B0-T5-L0").
  std::vector<std::string> lines(std::string_view device) const;
  /// Every command: "H0-B0-T5-L0 12 00 00 00 24 00 -> 2/3A/00".
  std::vector<std::string> cdbs() const;
  /// The commands that one device got: "12 00 00 00 24 00 -> 2/3A/00".
  std::vector<std::string> cdbs(std::string_view address) const;
  /// How often a call was made, by its name, that of a control request, or the start of a CDB in hex.
  std::size_t count(std::string_view what) const;
  void clear() { entries_.clear(); }
  void add(JournalEntry entry) { entries_.push_back(std::move(entry)); }

 private:
  std::vector<JournalEntry> entries_;
};

}  // namespace simulator
