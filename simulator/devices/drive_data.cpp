// Reading, writing, filemarks and erasing (SSC-4 chapters 5 and 6).
#include <algorithm>
#include <utility>

#include "simulator/room/room.h"

namespace simulator {
namespace {

constexpr std::uint8_t fixedBit = 0x01;

Sense endOfData(std::uint32_t residual) {
  return {.key = 8, .asc = 0x00, .ascq = 0x05, .information = residual};
}
Sense filemarkDetected(std::uint32_t residual) {
  return {.key = 0, .asc = 0x00, .ascq = 0x01, .information = residual, .filemark = true};
}
Sense wrongLength(std::uint32_t residual) {
  return {.key = 0, .asc = 0x00, .ascq = 0x00, .information = residual, .incorrectLength = true};
}

}  // namespace

void VirtualDrive::addDataCommands() {
  const Bytes transfer{0xFF, 0x03, 0xFF, 0xFF, 0xFF, 0};
  onReady(0x08, transfer, &VirtualDrive::read);
  onReady(0x0A, {0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::write);
  onReady(0x10, {0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::writeFilemarks);
  onReady(0x13, {0xFF, 0x3F, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::verify);
  onReady(0x19, {0xFF, 0x03, 0, 0, 0, 0}, &VirtualDrive::erase);
  onReady(0x04, {0xFF, 0x03, 0x0F, 0xFF, 0xFF, 0}, &VirtualDrive::formatMedium);
  onReady(0x0B, {0xFF, 0x01, 0, 0xFF, 0xFF, 0}, &VirtualDrive::setCapacity);
  onReady(0x82, {0xFF, 0, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
          &VirtualDrive::allowOverwrite);
  onCommand(0x05, {0xFF, 0, 0, 0, 0, 0}, [](ScsiRequest& request) {
    Bytes limits(6);
    put24(limits, 1, maximumBlockLength);
    put16(limits, 4, 1);
    request.reply(std::move(limits), 6);
  });
}

Partition& VirtualDrive::partition() { return medium_->partitions()[partition_]; }

const TapeObject* VirtualDrive::objectHere() {
  return object_ < partition().objects.size() ? &partition().objects[object_] : nullptr;
}

void VirtualDrive::checkWritable() const {
  if (medium_->options().writeProtected) refuse(7, 0x27, 0x00);
  // A drive writes its own generation and the one before.
  if (generationOf(medium_->options().densityCode) + 1 < model_.generation) refuse(7, 0x30, 0x05);
}

void VirtualDrive::checkReadable(const TapeObject& block) const {
  constexpr std::uint8_t disabled = 0, raw = 1, decryptOnly = 2;
  const std::uint8_t mode = encryption_.decryptionMode;
  if (block.key == 0 && mode == decryptOnly) refuse(7, 0x74, 0x02);
  if (block.key == 0 || mode == raw) return;
  if (mode == disabled) refuse(7, 0x74, 0x01);
  if (block.key != encryption_.key) refuse(7, 0x74, 0x03);
}

/// In append-only mode what is on the tape stays, unless the host allowed this overwriting just before.
void VirtualDrive::checkOverwrite(Overwrite needed) {
  const bool appendOnly = modes_.has(0x10, 0x01) && modes_.current(0x10, 0x01)[5] >> 4 == 1;
  const bool atEnd = needed == Overwrite::Here && object_ == partition().objects.size();
  const bool allowed = std::exchange(overwrite_, Overwrite::Nothing) == needed;
  if (appendOnly && !atEnd && !allowed) refuse(7, 0x30, 0x0C);
}

void VirtualDrive::allowOverwrite(ScsiRequest& request) {
  if (request.cdb[2] > static_cast<std::uint8_t>(Overwrite::Format)) invalidField(2);
  const auto asked = static_cast<Overwrite>(request.cdb[2]);
  if (asked == Overwrite::Here) {
    if (request.cdb[3] != partition_) invalidField(3);
    if (request.cdb64(4) != object_) invalidField(4);
  }
  overwrite_ = asked;
}

/// Block length and count of a command with a FIXED bit. A variable-length command moves one block.
VirtualDrive::Transfer VirtualDrive::transferOf(const ScsiRequest& request) const {
  const std::uint32_t length = request.cdb24(2);
  if (!(request.cdb[1] & fixedBit)) {
    if (length > maximumBlockLength) invalidField(2);
    return {.blockLength = length, .blocks = length == 0 ? 0u : 1u, .fixed = false};
  }
  if (blockLength_ == 0) invalidField(1);
  return {.blockLength = blockLength_, .blocks = length, .fixed = true};
}

/// Walks over `transfer` on the tape, giving each good block to `take`. INFORMATION counts blocks when they
/// are fixed, bytes otherwise.
template <class Action>
void VirtualDrive::passBlocks(const Transfer& transfer, bool suppressLength, Action take) {
  for (std::uint32_t done = 0; done < transfer.blocks; ++done) {
    const std::uint32_t residual = transfer.fixed ? transfer.blocks - done : transfer.blockLength;
    const TapeObject* object = objectHere();
    if (!object) throw CheckCondition{endOfData(residual)};
    checkReadable(*object);
    ++object_;
    if (object->filemark) throw CheckCondition{filemarkDetected(residual)};
    const std::size_t size = object->data.size();
    const bool same = size == transfer.blockLength;
    if (transfer.fixed && !same) throw CheckCondition{wrongLength(residual)};
    take(object->data);
    // SILI hides a block that is too short, and with variable blocks one that is too long.
    const bool hidden = suppressLength && (size < transfer.blockLength || blockLength_ == 0);
    if (!same && !hidden)
      throw CheckCondition{wrongLength(transfer.blockLength - static_cast<std::uint32_t>(size))};
  }
}

void VirtualDrive::read(ScsiRequest& request) {
  const bool suppressLength = request.cdb[1] & 0x02;
  if (suppressLength && (request.cdb[1] & fixedBit)) invalidField(1);
  const Transfer transfer = transferOf(request);
  passBlocks(transfer, suppressLength, [&](const Bytes& block) {
    request.dataIn.insert(request.dataIn.end(), block.begin(),
                          block.begin() + static_cast<std::ptrdiff_t>(
                                              std::min<std::size_t>(block.size(), transfer.blockLength)));
  });
  counters_.bytesRead += request.dataIn.size();
  medium_->noteRead(request.dataIn.size());
}

void VirtualDrive::verify(ScsiRequest& request) {
  const std::uint8_t flags = request.cdb[1];
  const bool byFilemarks = flags & 0x08;
  const bool toEnd = flags & 0x20;
  if (flags & 0x02) invalidField(1);  // byte by byte comparison
  if (toEnd && request.cdb24(2) != 0) invalidField(2);
  if (toEnd || byFilemarks) {
    space(toEnd ? SpaceCode::EndOfData : SpaceCode::Filemarks, static_cast<std::int32_t>(request.cdb24(2)));
    return;
  }
  const bool suppressLength = false;
  passBlocks(transferOf(request), suppressLength, [](const Bytes&) {});
}

/// Writes one object here: what stood here and behind is gone. Throws when the partition is full.
void VirtualDrive::put(TapeObject object, std::uint32_t residual) {
  Partition& here = partition();
  here.objects.resize(object_);
  const std::uint64_t size = object.data.size() + object.filemark;
  if (here.used(object_) + size > here.capacity) {
    throw CheckCondition{
        {.key = 0x0D, .asc = 0x00, .ascq = 0x02, .information = residual, .endOfMedium = true}};
  }
  here.objects.push_back(std::move(object));
  ++object_;
}

bool VirtualDrive::pastEarlyWarning() {
  const Partition& here = partition();
  return here.used(object_) > here.capacity - here.capacity / earlyWarningShare;
}

/// Ends a write that took place in the early-warning zone.
void VirtualDrive::warnEarly() {
  if (pastEarlyWarning()) {
    throw CheckCondition{{.key = 0, .asc = 0x00, .ascq = 0x02, .information = 0, .endOfMedium = true}};
  }
}

void VirtualDrive::write(ScsiRequest& request) {
  checkWritable();
  const Transfer transfer = transferOf(request);
  checkOverwrite(Overwrite::Here);
  auto data = request.parameterList(std::size_t{transfer.blocks} * transfer.blockLength);
  for (std::uint32_t done = 0; done < transfer.blocks; ++done) {
    const auto block = data.first(transfer.blockLength);
    put({.data = Bytes(block.begin(), block.end()), .key = encryption_.mode == 0 ? 0 : encryption_.key},
        transfer.fixed ? transfer.blocks - done : transfer.blockLength);
    data = data.subspan(transfer.blockLength);
    counters_.bytesWritten += transfer.blockLength;
    medium_->noteWritten(transfer.blockLength);
  }
  if (transfer.blocks > 0) warnEarly();
}

void VirtualDrive::writeFilemarks(ScsiRequest& request) {
  checkWritable();
  const std::uint32_t count = request.cdb24(2);
  if (count > 0) checkOverwrite(Overwrite::Here);
  for (std::uint32_t done = 0; done < count; ++done) put({.filemark = true}, count - done);
  if (count > 0) warnEarly();
}

void VirtualDrive::erase(ScsiRequest& request) {
  checkWritable();
  checkOverwrite(Overwrite::Here);
  partition().objects.resize(object_);
  const bool isLong = request.cdb[1] & 0x01;
  const bool immediate = request.cdb[1] & 0x02;
  if (isLong && !immediate) request.duration += std::int64_t{drive_.eraseSeconds} * 1000;
}

// SET CAPACITY leaves a share of the tape, in 65535ths, and makes one partition of it; a twentieth stays
// always.
void VirtualDrive::setCapacity(ScsiRequest& request) {
  checkWritable();
  if (partition_ != 0 || object_ != 0) refuse(5, 0x3B, 0x0C);
  checkOverwrite(Overwrite::Format);
  const std::uint64_t whole = medium_->options().capacity;
  medium_->format({std::max(whole / 0xFFFF * request.cdb16(3), whole / 20)});
  showPartitions();
}

}  // namespace simulator
