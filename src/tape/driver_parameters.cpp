#include "kiv/tape/driver_parameters.h"

#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "tape/driver_call.h"
#include "tape/tape_driver_requests.h"

QORTapeMetaCmdSetParam::QORTapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter,
                                               std::uint32_t newValue)
    : target(device), type(parameter), value(newValue) {}

ReturnCode QORTapeMetaCmdSetParam::doOperation(void* deviceHandle) {
  std::uint32_t previous = value;
  ReturnCode result = CMD_INVALID_PARAMETER_TYPE;
  switch (type) {
    case PARAM_COMPRESSION: {
      TAPE_SET_DRIVE_PARAMETERS drive{};
      drive.Compression = static_cast<BOOLEAN>(value);
      result = tapeResult(SetTapeParameters(deviceHandle, SET_TAPE_DRIVE_INFORMATION, &drive));
      break;
    }
    case PARAM_BLOCK_LENGTH: {
      TAPE_GET_MEDIA_PARAMETERS present{};
      DWORD size = sizeof present;
      result = tapeResult(GetTapeParameters(deviceHandle, GET_TAPE_MEDIA_INFORMATION, &size, &present));
      if (result != CMD_OK) break;
      previous = present.BlockSize;
      TAPE_SET_MEDIA_PARAMETERS media{value};
      result = tapeResult(SetTapeParameters(deviceHandle, SET_TAPE_MEDIA_INFORMATION, &media));
      break;
    }
    case PARAM_DATA_SAFE_MODE:
    case PARAM_SKIP_SYNC:
    case PARAM_SLEEP_MODE_TIMER:
    case PARAM_ARCHIVE_MODE_UNTHREAD: {
      driver::ParameterBlock block{type, value};
      if (!tellDevice(deviceHandle, driver::IOCTL_TAPE_SET_PARAMETER, block)) return CMD_ERROR;
      result = CMD_OK;
      break;
    }
    default:
      break;
  }
  if (result == CMD_OK) {
    logger->logDebug("SCSI", 0, "QORScsiCmdSetParameter succeeded, type %d, value %d", static_cast<int>(type),
                     static_cast<int>(value));
    value = previous;
  }
  return result;
}

QORTapeMetaCmdQueryParam::QORTapeMetaCmdQueryParam(ScsiTarget* device, ParamType parameter)
    : target(device), type(parameter) {}

ReturnCode QORTapeMetaCmdQueryParam::doOperation(void* deviceHandle) {
  switch (type) {
    case PARAM_COMPRESSION: {
      TAPE_GET_DRIVE_PARAMETERS drive{};
      DWORD size = sizeof drive;
      const ReturnCode result =
          tapeResult(GetTapeParameters(deviceHandle, GET_TAPE_DRIVE_INFORMATION, &size, &drive));
      return result == CMD_OK ? answer(drive.Compression != 0) : result;
    }
    case PARAM_BLOCK_LENGTH: {
      TAPE_GET_MEDIA_PARAMETERS media{};
      DWORD size = sizeof media;
      const ReturnCode result =
          tapeResult(GetTapeParameters(deviceHandle, GET_TAPE_MEDIA_INFORMATION, &size, &media));
      return result == CMD_OK ? answer(media.BlockSize) : result;
    }
    case PARAM_DATA_SAFE_MODE:
    case PARAM_SKIP_SYNC:
    case PARAM_SLEEP_MODE_TIMER:
    case PARAM_ARCHIVE_MODE_UNTHREAD: {
      driver::ParameterBlock block{type, 0};
      if (exchangeWithDevice(deviceHandle, driver::IOCTL_TAPE_QUERY_PARAMETER, block) != sizeof block)
        return CMD_ERROR;
      return answer(block.value);
    }
    default:
      return CMD_INVALID_PARAMETER_TYPE;
  }
}

ReturnCode QORTapeMetaCmdQueryParam::answer(std::uint32_t newValue) {
  value = newValue;
  if (setIoDataLength(sizeof value) != CMD_OK) return CMD_NO_MEMORY;
  copyIoData(&value, sizeof value);
  return CMD_OK;
}
