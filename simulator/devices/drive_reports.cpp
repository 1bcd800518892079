// What a drive reports about itself: densities, timestamp, diagnostics, and the maker's own commands.
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

constexpr std::uint8_t makersPage = 0x80;  // the maker's diagnostic page

Bytes densityDescriptor(const DriveModel& model, bool writable, bool isDefault) {
  Bytes bytes(52);
  bytes[0] = bytes[1] = model.densityCode;
  bytes[2] = static_cast<std::uint8_t>((writable ? 0x80 : 0) | (isDefault ? 0x20 : 0));
  put24(bytes, 5, model.bitsPerMillimetre);
  put16(bytes, 8, 127);  // media width, tenths of a millimetre
  put16(bytes, 10, model.tracks);
  put32(bytes, 12, model.capacity);
  putText(bytes, 16, 8, "LTO-CVE");
  putText(bytes, 24, 8, "U-" + std::to_string(model.generation));
  putText(bytes, 32, 20, "Ultrium " + std::to_string(model.generation));
  return bytes;
}

Bytes mediumTypeDescriptor(const DriveModel& model) {
  Bytes bytes(56);
  bytes[0] = static_cast<std::uint8_t>(model.generation << 4 | 0x08);
  put16(bytes, 2, bytes.size() - 4);
  bytes[4] = 1;  // density codes
  bytes[5] = model.densityCode;
  put16(bytes, 14, 127);  // medium width, tenths of a millimetre
  put16(bytes, 16, 846);  // length, metres
  putText(bytes, 20, 8, "LTO-CVE");
  putText(bytes, 28, 8, "Ultrium");
  putText(bytes, 36, 20, "Ultrium " + std::to_string(model.generation) + " Data");
  return bytes;
}

}  // namespace

void VirtualDrive::addReportCommands() {
  onCommand(0x44, {0xFF, 0x03, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::reportDensities);
  onServiceAction(0xA3, 0x0F, {0xFF, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
                  [this](ScsiRequest& request) {
                    Bytes data = bigEndian(2, 10);
                    append(data, timestamp());
                    data.resize(12);
                    request.reply(std::move(data), request.cdb32(6));
                  });
  onServiceAction(0xA4, 0x0F, {0xFF, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
                  [this](ScsiRequest& request) {
                    if (request.cdb32(6) != 12) parameterListLengthError();
                    timestampSet_ = readNumber(request.parameterList(12), 4, 6);
                    timestampSince_ = room().clock().milliseconds();
                  });
  onCommand(0x1D, {0xFF, 0xF7, 0, 0xFF, 0xFF, 0}, &VirtualDrive::sendDiagnostic);
  onCommand(0x1C, {0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::receiveDiagnostic);
  onCommand(0xC0, {0xFF, 0, 0, 0, 0xFF, 0}, &VirtualDrive::displayMessage);
  onCommand(0xD1, {0xFF, 0x1F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
            &VirtualDrive::runtimeInformation);
}

void VirtualDrive::reportDensities(ScsiRequest& request) {
  const bool ofMedium = request.cdb[1] & 0x01;
  const bool mediumTypes = request.cdb[1] & 0x02;
  if (ofMedium) checkReady();
  Bytes data(4);
  for (int generation = model_.oldest; generation <= model_.generation; ++generation) {
    const DriveModel& model = driveModel("PX" + std::to_string(generation));
    if (ofMedium && model.densityCode != medium_->options().densityCode) continue;
    append(data, mediumTypes ? mediumTypeDescriptor(model)
                             : densityDescriptor(model, generation >= model_.generation - 1,
                                                 generation == model_.generation));
  }
  put16(data, 0, data.size() - 2);
  request.reply(std::move(data), request.cdb16(7));
}

/// Origin, and milliseconds: since power on, or counted on from what a host set (SPC-4 5.2).
Bytes VirtualDrive::timestamp() const {
  const auto passed = static_cast<std::uint64_t>(room().clock().milliseconds() - timestampSince_);
  Bytes data{flag(timestampSet_.has_value(), 1), 0};
  append(data, bigEndian(6, timestampSet_.value_or(0) + passed));
  return data;
}

void VirtualDrive::sendDiagnostic(ScsiRequest& request) {
  const std::uint16_t length = request.cdb16(3);
  const bool selfTest = request.cdb[1] & 0x04;
  if (selfTest && length != 0) invalidField(3);
  const auto page = request.parameterList(length);
  if (page.empty()) return;
  if (!(request.cdb[1] & 0x10)) invalidField(1);  // only pages in page format are known
  if (page.size() < 4 || readNumber(page, 2, 2) != page.size() - 4) parameterListLengthError();
  if (page[0] != makersPage && page[0] != 0x00) invalidParameter(0);
  diagnosticPage_.assign(page.begin(), page.end());
  if (page[0] == makersPage && page.size() >= 6 && readNumber(page, 4, 2) == 0x2002) reboot();
}

// The results of the last page sent, or the list of pages.
void VirtualDrive::receiveDiagnostic(ScsiRequest& request) {
  const bool chosen = request.cdb[1] & 0x01;
  if (!chosen && request.cdb[2] != 0) invalidField(2);
  const std::uint8_t page = chosen                    ? request.cdb[2]
                            : diagnosticPage_.empty() ? std::uint8_t{0}
                                                      : diagnosticPage_[0];
  Bytes data;
  if (page == 0x00) {
    data = {0x00, 0x00, 0x00, 0x02, 0x00, makersPage};
  } else if (page == makersPage) {
    data = {makersPage, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00};
    if (diagnosticPage_.size() >= 6) std::copy_n(diagnosticPage_.begin() + 4, 2, data.begin() + 4);
  } else {
    invalidField(2);
  }
  request.reply(std::move(data), request.cdb16(3));
}

// The maker's message for the operator panel: a header of eight bytes and two lines of eight characters.
void VirtualDrive::displayMessage(ScsiRequest& request) {
  if (request.cdb[4] != 24) invalidField(4);
  const auto list = request.parameterList(24);
  if (list[7] != 16) invalidParameter(7);
  display_.assign(list.begin() + 8, list.end());
}

// The maker's run-time attributes: identifier, format and length before each value.
void VirtualDrive::runtimeInformation(ScsiRequest& request) {
  if ((request.cdb[1] & 0x1F) > 1) invalidField(1);
  const std::uint16_t first = request.cdb16(2);
  const std::uint16_t last = request.cdb16(4);
  if (first > last) invalidField(4);
  const std::pair<std::uint16_t, std::uint64_t> all[] = {
      {0x0001, counters_.loads}, {0x0002, counters_.bytesWritten}, {0x0003, counters_.bytesRead}};
  Bytes data(8);
  for (const auto& [id, value] : all) {
    if (id < first || id > last) continue;
    Bytes entry(5);
    put16(entry, 0, id);
    put16(entry, 3, 8);
    put64(entry, 5, value);
    append(data, entry);
  }
  put32(data, 4, data.size() - 8);
  request.reply(std::move(data), request.cdb32(6));
}

}  // namespace simulator
