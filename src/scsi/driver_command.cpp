#include "kiv/scsi/driver_command.h"

#include <algorithm>

QORScsiCommand::QORScsiCommand() = default;

QORScsiCommand::QORScsiCommand(CDBLength cdbBytes) : ScsiCommand(cdbBytes) {}

QORScsiCommand::QORScsiCommand(GenericScsiCommand* generic) : genericCommand(generic) {
  if (generic == nullptr) return;
  borrowBuffers();
  timeOut = generic->timeOut;
  dataDirection = generic->dataDirection;
  copyOutcome(*generic);
}

QORScsiCommand::~QORScsiCommand() {
  if (genericCommand == nullptr) return;
  genericCommand->timeOut = timeOut;
  genericCommand->dataDirection = dataDirection;
  genericCommand->copyOutcome(*this);
  ioData = senseData = cdb = nullptr;
}

ReturnCode QORScsiCommand::setSenseDataLength(std::uint8_t n) {
  if (genericCommand == nullptr) return ScsiCommand::setSenseDataLength(n);
  const ReturnCode result = genericCommand->setSenseDataLength(n);
  borrowBuffers();
  return result;
}

ReturnCode QORScsiCommand::setIoDataLength(ulong32 n) {
  if (genericCommand == nullptr) return ScsiCommand::setIoDataLength(n);
  const ReturnCode result = genericCommand->setIoDataLength(n);
  borrowBuffers();
  return result;
}

ReturnCode QORScsiCommand::setCdbLength(std::uint8_t n) {
  if (genericCommand == nullptr) return ScsiCommand::setCdbLength(n);
  const ReturnCode result = genericCommand->setCdbLength(n);
  borrowBuffers();
  return result;
}

ReturnCode QORScsiCommand::doOperation(void*) { return CMD_NOT_SUPPORTED; }

void QORScsiCommand::copyIoData(const void* source, ulong32 n) {
  std::ranges::fill(ioDataSpan(), std::uint8_t{0});
  std::copy_n(static_cast<const std::uint8_t*>(source), std::min(n, ioDataLength), ioData);
}

void QORScsiCommand::borrowBuffers() {
  ioData = genericCommand->getIoData();
  ioDataLength = genericCommand->getIoDataLength();
  senseData = genericCommand->getSenseData();
  senseDataLength = genericCommand->getSenseDataLength();
  cdb = genericCommand->getCdb();
  cdbLength = genericCommand->getCdbLength();
  missingBuffers = genericCommand->missingBuffers;
}
