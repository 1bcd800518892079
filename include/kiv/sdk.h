#pragma once

// Every class that kiv.dll exports.
#include "kiv/changer/commands.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"
#include "kiv/device/controller.h"
#include "kiv/device/driver_target.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"
#include "kiv/frame/text.h"
#include "kiv/kiv.h"
#include "kiv/library/drive_mapping.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/command.h"
#include "kiv/scsi/driver_command.h"
