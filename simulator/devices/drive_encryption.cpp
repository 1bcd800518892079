// Tape data encryption: security protocol 20h (SSC-4 8.5), which drives have from the fourth generation on.
#include <algorithm>

#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

namespace simulator {
namespace {

constexpr std::uint8_t firstGeneration = 4;
constexpr std::uint8_t encryptionProtocol = 0x20;
constexpr std::uint8_t keySize = 32;
constexpr std::uint8_t algorithmIndex = 1;
constexpr std::uint32_t aes256Gcm = 0x00010014;
/// Longest unauthenticated and authenticated key-associated data, by the type of their descriptor.
constexpr std::size_t longestDescriptor[] = {32, 12};

Bytes pageCodes(std::initializer_list<std::uint16_t> codes) {
  Bytes data;
  for (const std::uint16_t code : codes) append(data, bigEndian(2, code));
  return data;
}

}  // namespace

void VirtualDrive::addEncryptionCommands() {
  if (model_.generation < firstGeneration) return;
  onCommand(0xA2, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
            &VirtualDrive::securityProtocolIn);
  onCommand(0xB5, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}, [this](ScsiRequest& request) {
    if (request.cdb[1] != encryptionProtocol) invalidField(1);
    if (request.cdb16(2) != 0x0010) invalidField(2);  // set data encryption
    setEncryption(request.parameterList(request.cdb32(6)));
  });
}

void VirtualDrive::securityProtocolIn(ScsiRequest& request) {
  const std::uint16_t page = request.cdb16(2);
  const std::uint32_t allocation = request.cdb32(6);
  if (request.cdb[1] == 0x00) {  // the protocols that there are, and no certificate
    if (page > 1) invalidField(2);
    const Bytes protocols{0, 0, 0, 0, 0, 0, 0, 2, 0x00, encryptionProtocol};
    return request.reply(page == 0 ? protocols : Bytes(4), allocation);
  }
  if (request.cdb[1] != encryptionProtocol) invalidField(1);
  const struct {
    std::uint16_t page;
    std::function<Bytes()> content;
  } rows[] = {
      {0x0000,
       [] {
         return pageCodes({0x0000, 0x0001, 0x0010, 0x0011, 0x0012, 0x0020, 0x0021});
       }},
      {0x0001, [] { return pageCodes({0x0010}); }},  // pages out
      {0x0010, [this] { return encryptionCapabilities(); }},
      {0x0011, [] { return Bytes{0}; }},                                         // key formats: plain text
      {0x0012, [] { return Bytes{0, 0x04, 0, 0x07, 0, 0, 0, 0, 0, 0, 0, 0}; }},  // CKOD_C; every scope
      {0x0020, [this] { return encryptionStatus(); }},
      {0x0021, [this] { return nextBlockEncryption(); }},
  };
  const auto row = std::ranges::find(rows, page, [](const auto& candidate) { return candidate.page; });
  if (row == std::end(rows)) invalidField(2);
  const Bytes content = row->content();
  Bytes data = bigEndian(2, page);
  append(data, bigEndian(2, content.size()));
  append(data, content);
  request.reply(std::move(data), allocation);
}

Bytes VirtualDrive::encryptionCapabilities() const {
  const bool fits = loaded() && generationOf(medium_->options().densityCode) >= firstGeneration;
  Bytes data(16);
  data[0] = 0x01;  // configuration is not prevented
  Bytes algorithm(24);
  algorithm[0] = algorithmIndex;
  put16(algorithm, 2, algorithm.size() - 4);
  // AVFMV; distinguishes encrypted blocks; decrypts and encrypts by hardware.
  algorithm[4] = static_cast<std::uint8_t>(flag(fits, 7) | 0x1A);
  algorithm[5] = static_cast<std::uint8_t>(flag(fits, 7) | 0x18);  // AVFCLP; nonces of its own; KAD format
  put16(algorithm, 6, longestDescriptor[0]);
  put16(algorithm, 8, longestDescriptor[1]);
  put16(algorithm, 10, keySize);
  algorithm[12] = 0x18;  // no external mode; raw decryption is allowed or not, as the host says
  put32(algorithm, 20, aes256Gcm);
  append(data, algorithm);
  return data;
}

Bytes VirtualDrive::encryptionStatus() const {
  const Encryption& e = encryption_;
  Bytes data{static_cast<std::uint8_t>(e.scope << 5 | e.scope), e.mode, e.decryptionMode, e.algorithm};
  append(data, bigEndian(4, keyInstances_));
  // Parameters control: by hosts only. External mode check; whether raw decryption is off.
  append(data, {static_cast<std::uint8_t>(0x10 | e.externalModeCheck << 1 | flag(e.rawDecryption == 3, 0)),
                e.descriptorFormat});
  data.resize(20);
  append(data, e.keyDescriptors);
  return data;
}

Bytes VirtualDrive::nextBlockEncryption() {
  checkReady();
  const TapeObject* next = objectHere();
  const bool isBlock = next && !next->filemark;
  const bool known = isBlock && encryption_.decryptionMode > 1 && next->key == encryption_.key;
  const std::uint8_t encryption = !isBlock ? 2 : next->key == 0 ? 3 : known ? 5 : 6;
  const std::uint8_t compression = isBlock ? 1 : 2;  // not known before it is read; no block
  Bytes data = bigEndian(8, object_);
  append(data, {static_cast<std::uint8_t>(compression << 4 | encryption),
                encryption > 3 ? algorithmIndex : std::uint8_t{0}, 0, encryption_.descriptorFormat});
  if (known) append(data, encryption_.keyDescriptors);
  return data;
}

void VirtualDrive::setEncryption(std::span<const std::uint8_t> page) {
  if (page.size() < 20 || readNumber(page, 2, 2) != page.size() - 4) parameterListLengthError();
  if (readNumber(page, 0, 2) != 0x0010) invalidParameter(0);
  const auto scope = static_cast<std::uint8_t>(page[4] >> 5);
  if (scope > 2) invalidParameter(4);
  if (scope == 0) {  // the public parameters: nothing else in the page counts
    encryption_ = {};
    ++keyInstances_;
    return;
  }
  Encryption set{.scope = scope,
                 .mode = page[6],
                 .decryptionMode = page[7],
                 .algorithm = page[8],
                 .externalModeCheck = static_cast<std::uint8_t>(page[5] >> 6),
                 .rawDecryption = static_cast<std::uint8_t>(page[5] >> 4 & 3),
                 .clearOnDemount = (page[5] & 0x04) != 0,
                 .descriptorFormat = page[10]};
  const std::size_t length = readNumber(page, 18, 2);
  const bool needsKey = set.mode == 2 || set.decryptionMode >= 2;
  if (set.mode != 0 && set.mode != 2) invalidParameter(6);
  if (set.decryptionMode > 3) invalidParameter(7);
  if (needsKey && set.algorithm != algorithmIndex) invalidParameter(8);
  if (page[9] != 0) invalidParameter(9);  // a key that is not plain text
  if (set.descriptorFormat > 2) invalidParameter(10);
  if ((length != 0 || needsKey) && length != keySize) invalidParameter(18);
  if (20 + length > page.size()) parameterListLengthError();
  if (needsKey) set.key = crc32(page.subspan(20, length)) | 1;
  for (std::size_t at = 20 + length; at < page.size();) {
    const auto position = static_cast<std::uint16_t>(at);
    const std::size_t size = readNumber(page, at + 2, 2);
    if (page[at] >= std::size(longestDescriptor) || size > longestDescriptor[page[at]])
      invalidParameter(position);
    if (at + 4 + size > page.size()) parameterListLengthError();
    append(set.keyDescriptors, {page[at], page[at], 0, static_cast<std::uint8_t>(size)});
    const auto value = page.subspan(at + 4, size);
    set.keyDescriptors.insert(set.keyDescriptors.end(), value.begin(), value.end());
    at += 4 + size;
  }
  encryption_ = std::move(set);
  ++keyInstances_;
}

}  // namespace simulator
