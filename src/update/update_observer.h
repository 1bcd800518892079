#pragma once

#include <utility>

#include "kiv/scsi/command.h"
#include "platform/win32.h"

/// Bytes of the image that one WRITE BUFFER takes; the last one may take fewer.
inline constexpr ulong32 CHUNK_LENGTH = 0x8000;

/// Whoever wants to know how an update goes while its steps run, from its construction to its end.
class UpdateObserver {
 public:
  UpdateObserver() : before(std::exchange(current, this)) {}
  virtual ~UpdateObserver() { current = before; }
  UpdateObserver(const UpdateObserver&) = delete;
  UpdateObserver& operator=(const UpdateObserver&) = delete;

  /// A step waits for the drive: asked before every probe, and at least once a second. False ends the
  /// waiting, and the step with it.
  virtual bool waits() = 0;
  /// The cartridge was taken out.
  virtual void ejected() = 0;
  /// So many bytes of the image were sent by now.
  virtual void sent(ulong32 bytes) = 0;
  /// A step ends because of this command, or goes on without what it should have done.
  virtual void failed(const ScsiCommand& command) = 0;

 private:
  friend UpdateObserver* updateObserver();
  static inline UpdateObserver* current = nullptr;
  UpdateObserver* before;
};

/// Null while nobody wants to know.
inline UpdateObserver* updateObserver() { return UpdateObserver::current; }

/// Whether a step that waits for the drive goes on.
inline bool goesOn() { return updateObserver() == nullptr || updateObserver()->waits(); }

/// Waits, and tells whether the step goes on.
bool pause(DWORD milliseconds);
