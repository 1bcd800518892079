// A SCSI target that nobody here wrote, as the system underneath the simulator's doors.
//
// One host adapter, "\\.\scsi0:", whose one bus and target are the iSCSI target of the portal in
// KIV_ISCSI_PORTAL. Nothing is claimed by a class driver, there are no DOS device names, no tape or changer
// interfaces and no setup API.
extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "simulator/windows/real_system.h"

namespace {

constexpr const char* TARGET_NAME = "iqn.2026-11.room:kiv";
constexpr const char* INITIATOR_NAME = "iqn.2026-11.host:kiv";
constexpr const char* ADAPTER_NAME = "\\\\.\\scsi0:";
constexpr int MAXIMUM_TRANSFER = 1 << 20;

std::int64_t slept = 0;  // milliseconds

template <typename Result>
Result fail(DWORD error, Result result) {
  SetLastError(error);
  return result;
}

struct EndSession {
  void operator()(iscsi_context* session) const { iscsi_destroy_context(session); }
};
struct EndTask {
  void operator()(scsi_task* task) const { scsi_free_scsi_task(task); }
};
using Session = std::unique_ptr<iscsi_context, EndSession>;
using Task = std::unique_ptr<scsi_task, EndTask>;

/// An open adapter or file.
struct Opened {
  Session session;
  std::FILE* file = nullptr;
  ~Opened() {
    if (session) iscsi_logout_sync(session.get());
    if (file) std::fclose(file);
  }
};

Session logIn() {
  const char* portal = std::getenv("KIV_ISCSI_PORTAL");
  if (!portal) return nullptr;
  Session session(iscsi_create_context(INITIATOR_NAME));
  iscsi_set_targetname(session.get(), TARGET_NAME);
  iscsi_set_session_type(session.get(), ISCSI_SESSION_NORMAL);
  iscsi_set_header_digest(session.get(), ISCSI_HEADER_DIGEST_NONE);
  iscsi_set_timeout(session.get(), 20);
  iscsi_set_noautoreconnect(session.get(), 1);
  return iscsi_full_connect_sync(session.get(), portal, 0) == 0 ? std::move(session) : nullptr;
}

/// Sends a CDB. Null when no answer came.
Task send(iscsi_context* session, int lun, std::span<const unsigned char> cdb, int direction, int length,
          unsigned char* buffer) {
  std::vector<unsigned char> bytes(cdb.begin(), cdb.end());
  Task task(scsi_create_task(static_cast<int>(bytes.size()), bytes.data(), direction, length));
  // Data that come with a CHECK CONDITION would be lost behind the sense data: the buffer takes them as they
  // arrive.
  if (direction == SCSI_XFER_READ && buffer) scsi_task_add_data_in_buffer(task.get(), length, buffer);
  iscsi_data out{static_cast<std::size_t>(length), buffer};
  return iscsi_scsi_command_sync(session, lun, task.get(), direction == SCSI_XFER_WRITE ? &out : nullptr)
             ? std::move(task)
             : nullptr;
}

/// Answers IOCTL_SCSI_GET_INQUIRY_DATA: asks the target for its logical units, and each of them who it is.
bool inquiryList(iscsi_context* session, std::span<unsigned char> buffer, DWORD& used) {
  constexpr std::size_t FIRST_RECORD = sizeof(SCSI_ADAPTER_BUS_INFO);
  constexpr std::size_t RECORD_SIZE = 48;
  constexpr unsigned char INQUIRY_LENGTH = 36;
  Task report = send(session, 0, std::array<unsigned char, 12>{0xA0, 0, 0, 0, 0, 0, 0, 0, 1, 0},
                     SCSI_XFER_READ, 256, nullptr);
  if (!report || report->status != SCSI_STATUS_GOOD) return fail(ERROR_IO_DEVICE, false);
  const std::size_t units =
      report->datain.size < 8 ? 0 : static_cast<std::size_t>(report->datain.size - 8) / 8;
  if (buffer.size() < FIRST_RECORD + units * RECORD_SIZE) return fail(ERROR_INSUFFICIENT_BUFFER, false);

  SCSI_ADAPTER_BUS_INFO info{};
  info.NumberOfBuses = 1;
  info.BusData[0].NumberOfLogicalUnits = static_cast<UCHAR>(units);
  info.BusData[0].InquiryDataOffset = FIRST_RECORD;
  std::memcpy(buffer.data(), &info, sizeof info);
  for (std::size_t unit = 0; unit < units; ++unit) {
    SCSI_INQUIRY_DATA record{};
    record.Lun = report->datain.data[8 + unit * 8 + 1];
    record.InquiryDataLength = INQUIRY_LENGTH;
    const std::size_t offset = FIRST_RECORD + unit * RECORD_SIZE;
    record.NextInquiryDataOffset = unit + 1 < units ? static_cast<ULONG>(offset + RECORD_SIZE) : 0;
    std::memcpy(buffer.data() + offset, &record, offsetof(SCSI_INQUIRY_DATA, InquiryData));
    Task inquiry = send(session, record.Lun, std::array<unsigned char, 6>{0x12, 0, 0, 0, INQUIRY_LENGTH, 0},
                        SCSI_XFER_READ, INQUIRY_LENGTH, nullptr);
    if (!inquiry || inquiry->status != SCSI_STATUS_GOOD) return fail(ERROR_IO_DEVICE, false);
    std::memcpy(buffer.data() + offset + offsetof(SCSI_INQUIRY_DATA, InquiryData), inquiry->datain.data,
                std::min<std::size_t>(static_cast<std::size_t>(inquiry->datain.size), INQUIRY_LENGTH));
  }
  used = static_cast<DWORD>(FIRST_RECORD + units * RECORD_SIZE);
  return true;
}

/// Answers IOCTL_SCSI_PASS_THROUGH_DIRECT.
bool passThrough(iscsi_context* session, std::span<unsigned char> buffer) {
  SCSI_PASS_THROUGH_DIRECT request;
  std::memcpy(&request, buffer.data(), sizeof request);
  if (request.PathId != 0 || request.TargetId != 0) return fail(ERROR_FILE_NOT_FOUND, false);
  const int direction = request.DataTransferLength == 0         ? SCSI_XFER_NONE
                        : request.DataIn == SCSI_IOCTL_DATA_IN  ? SCSI_XFER_READ
                        : request.DataIn == SCSI_IOCTL_DATA_OUT ? SCSI_XFER_WRITE
                                                                : SCSI_XFER_NONE;
  auto* data = static_cast<unsigned char*>(request.DataBuffer);
  Task task = send(session, request.Lun, {request.Cdb, request.CdbLength}, direction,
                   static_cast<int>(request.DataTransferLength), data);
  if (!task || task->status > 0xFF) return fail(ERROR_IO_DEVICE, false);

  request.ScsiStatus = static_cast<UCHAR>(task->status);
  const std::span<const unsigned char> answer(task->datain.data, static_cast<std::size_t>(task->datain.size));
  if (task->status == SCSI_STATUS_CHECK_CONDITION) {
    // Two bytes of length stand before the sense data.
    const std::size_t length = answer.size() < 2
                                   ? 0
                                   : std::min({answer.size() - 2, std::size_t{request.SenseInfoLength},
                                               buffer.size() - request.SenseInfoOffset});
    if (length) std::memcpy(buffer.data() + request.SenseInfoOffset, answer.data() + 2, length);
  }
  if (task->residual_status == SCSI_RESIDUAL_UNDERFLOW) {
    request.DataTransferLength -= std::min(request.DataTransferLength, static_cast<ULONG>(task->residual));
  }
  std::memcpy(buffer.data(), &request, sizeof request);
  return true;
}

}  // namespace

namespace simulator::real {

HANDLE createFile(LPCSTR name, DWORD, DWORD, void*, DWORD, DWORD, HANDLE) {
  auto opened = std::make_unique<Opened>();
  if (std::strcmp(name, ADAPTER_NAME) == 0) {
    opened->session = logIn();
  } else if (std::filesystem::is_regular_file(name)) {
    opened->file = std::fopen(name, "rb");
  }
  if (!opened->session && !opened->file) return fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  return opened.release();
}

BOOL closeHandle(HANDLE handle) {
  delete static_cast<Opened*>(handle);
  return TRUE;
}

BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void*) {
  iscsi_context* session = static_cast<Opened*>(device)->session.get();
  const std::span<unsigned char> answer(static_cast<unsigned char*>(out), outSize);
  DWORD used = outSize;
  bool done = false;
  switch (code) {
    case IOCTL_SCSI_GET_INQUIRY_DATA:
      done = inquiryList(session, answer, used);
      break;
    case IOCTL_SCSI_PASS_THROUGH_DIRECT:
      if (in == out && inSize == outSize && outSize >= sizeof(SCSI_PASS_THROUGH_DIRECT)) {
        done = passThrough(session, answer);
      } else {
        SetLastError(ERROR_INVALID_PARAMETER);
      }
      break;
    case IOCTL_SCSI_GET_CAPABILITIES: {
      IO_SCSI_CAPABILITIES capabilities{};
      capabilities.Length = sizeof capabilities;
      capabilities.MaximumTransferLength = MAXIMUM_TRANSFER;
      used = sizeof capabilities;
      done = outSize >= used;
      if (done) std::memcpy(out, &capabilities, used);
      break;
    }
    default:
      SetLastError(ERROR_INVALID_FUNCTION);
  }
  if (returned) *returned = done ? used : 0;
  return done;
}

BOOL readFile(HANDLE handle, LPVOID buffer, DWORD count, LPDWORD read, void*) {
  *read = static_cast<DWORD>(std::fread(buffer, 1, count, static_cast<Opened*>(handle)->file));
  return TRUE;
}

BOOL writeFile(HANDLE, LPCVOID, DWORD, LPDWORD, void*) { return fail(ERROR_ACCESS_DENIED, FALSE); }

DWORD getFileSize(HANDLE handle, LPDWORD) {
  std::FILE* file = static_cast<Opened*>(handle)->file;
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::rewind(file);
  return static_cast<DWORD>(size);
}

DWORD queryDosDevice(LPCSTR, LPSTR target, DWORD size) {
  constexpr char NAMES[] = "C:\0";
  if (size < sizeof NAMES) return fail(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
  std::memcpy(target, NAMES, sizeof NAMES);
  return sizeof NAMES;
}

// The target needs no time; the library's clock moves as if it had slept.
void sleep(DWORD milliseconds) { slept += milliseconds; }
std::int64_t milliseconds() {
  using namespace std::chrono;
  return duration_cast<std::chrono::milliseconds>(system_clock::now().time_since_epoch()).count() + slept;
}
__time64_t time64(__time64_t* result) {
  const __time64_t now = milliseconds() / 1000;
  if (result) *result = now;
  return now;
}

}  // namespace simulator::real
