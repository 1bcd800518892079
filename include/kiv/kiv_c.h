/** @file
 * The C interface of kiv.dll, for hosts in any language and of any compiler.
 *
 * Calling order: kiv_scan(), then anything about the devices that it found; kiv_close() before unloading.
 * Everything else may be called at any time: kiv_report_start() before the updates of a run, kiv_report_add()
 * after them. Texts go in and come out as UTF-8, ended by a zero byte; texts that come from a device hold
 * printable ASCII only, any other byte being shown as '?', without blanks at the end.
 *
 * Every function that returns an int32_t returns a result code (KIV_OK or one of kiv_result below) unless it
 * says otherwise, and keeps text, Windows error and sense data of a failure for kiv_last_error(). A host sets
 * the member `size` of every structure that it hands over to the structure's sizeof, any other one being
 * KIV_BAD_ARGUMENT; structures do not change within a major version.
 *
 * One thread at a time. A call while another one runs, also from inside one of the functions that the host
 * handed over, is refused with KIV_CALL_RUNNING; kiv_result_name, kiv_result_text, kiv_sense_text,
 * kiv_verdict_name, kiv_phase_name and kiv_interface_version are always allowed.
 */
#ifndef KIV_KIV_C_H
#define KIV_KIV_C_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Versions and texts
 *  @{ */
/** Major version in the high 16 bits, minor in the low ones. A host works with every DLL of the same major
 * version and the same or a higher minor one. */
#define KIV_INTERFACE_VERSION 0x00010001u

/** Result codes. 0 to 9 are those of kiv.h. */
enum kiv_result {
  KIV_OK = 0,
  KIV_DEVICE_DISCONNECTED = 1, /**< the drive is not in a state for a download, or is gone */
  KIV_INVALID_FILE_NAME = 2,   /**< the firmware image cannot be opened */
  KIV_FILE_CORRUPTED = 3,      /**< the firmware image is empty, short, or above 16 MiB */
  KIV_UPDATE_FAILED = 4,       /**< the drive refused the download */
  KIV_REBOOT_FAILED = 5,       /**< the drive did not come back after the download */
  KIV_NO_DRIVE_CONNECTED = 6,  /**< nothing was found */
  KIV_INVALID_UCODE = 7,       /**< the configured level is lower than the drive's, and force is not set */
  KIV_CONFIG_ERROR = 8,        /**< Config.txt has no entry for the device, or could not be read */
  KIV_NO_MEMORY = 9,           /**< memory could not be had */
  KIV_LEVEL_NOT_REACHED = 10,  /**< the drive came back with another level than the wanted one */
  KIV_IN_USE = 11,             /**< a cartridge, a reservation or a prevented removal is in the way */
  KIV_NO_ACCESS = 12,          /**< Windows does not open the device */
  KIV_IMAGE_MISMATCH = 13,     /**< for hosts that compare images with checksums; no function returns it */
  KIV_INTERRUPTED = 14,        /**< the progress function stopped the update before its first chunk */
  KIV_ALREADY_RUNNING = 15,    /**< for hosts that allow one update a machine; no function returns it */
  KIV_NOT_BACK_IN_TIME = 16,   /**< the drive was not back within the limit of kiv_set_restart_limit() */
  KIV_BAD_ARGUMENT = 64,   /**< a null pointer, a structure's size, a number or a name that makes no sense */
  KIV_STALE_DEVICE = 65,   /**< the device is none of the last scan */
  KIV_CALL_RUNNING = 66,   /**< another call is running */
  KIV_COMMAND_FAILED = 67, /**< the device or the way to it ended a command with a failure */
  KIV_NOT_SUPPORTED = 68,  /**< this device cannot do that */
  KIV_NOT_FOUND = 69,      /**< no device, parameter or directory of this name */
  KIV_UNEXPECTED = 70      /**< anything else */
};

/** The interface version of the DLL itself. */
uint32_t kiv_interface_version(void);
/** The library's version and build date, "1.95 Sep 18 2019". */
const char* kiv_version(void);
/** The name of a result code: "FW_UPDATE_FAILED" for 4, "KIV_LEVEL_NOT_REACHED" for 10; "UNKNOWN" for a
 * number that is none. Never null; valid for ever. */
const char* kiv_result_name(int32_t result);
/** One sentence that says what a result code means and what to do next. Never null; valid for ever. */
const char* kiv_result_text(int32_t result);
/** The words of the standards (SPC-4, SSC-4, SMC-3) for a sense key with additional sense code and qualifier;
 * for one that is not known, those of its sense key. Never null; valid for ever. */
const char* kiv_sense_text(uint8_t key, uint8_t asc, uint8_t ascq);

/** @} */

/** @name Errors
 *  @{ */
/** Sense data of a command (SPC-4), in short. `valid` is 0 when the device sent none. */
typedef struct kiv_sense {
  uint8_t valid; /**< 1: the device sent sense data */
  uint8_t key;   /**< sense key */
  uint8_t asc;   /**< additional sense code */
  uint8_t ascq;  /**< additional sense code qualifier */
} kiv_sense;

/** What the last call that failed has to say. */
typedef struct kiv_error {
  uint32_t size;          /**< the structure's sizeof */
  int32_t result;         /**< its result code; KIV_OK when no call has failed yet */
  uint32_t windows_error; /**< 0 when Windows did not complain */
  kiv_sense sense;        /**< of the device */
  char text[512];         /**< a sentence, with the device's and Windows' own words */
} kiv_error;
/** Fills the structure. KIV_OK or KIV_BAD_ARGUMENT. */
int32_t kiv_last_error(kiv_error* error);

/** @} */

/** @name Log and directory
 *  @{ */
/** Levels of the log: lines of this and the lower levels are written. */
enum kiv_log_level {
  KIV_LOG_NONE = -1,
  KIV_LOG_ERROR = 0,
  KIV_LOG_WARNING = 1,
  KIV_LOG_INFO = 2,
  KIV_LOG_DEBUG = 3
};
/** Takes one line of the log, without its line feed. */
typedef void (*kiv_log_function)(int32_t level, const char* line, void* user);
/** Sets the level; lines go to the function, or to standard output when it is null. */
int32_t kiv_set_log(int32_t level, kiv_log_function function, void* user);

/** Where Config.txt, Devlist.txt, the images named in Config.txt and the reports lie. Null or empty: the
 * working directory. A name without a place in the process's code page is KIV_BAD_ARGUMENT, a directory that
 * is not there KIV_NOT_FOUND. */
int32_t kiv_set_directory(const char* directory);

/** Seconds that a drive may take to come back after the last byte, by the clock that the library waits by; 0
 * (at first) for as long as the library has patience, which may be hours. */
int32_t kiv_set_restart_limit(uint32_t seconds);

/** @} */

/** @name Scan
 *  @{ */
/** A device of the last scan; 0 is none. Never a pointer: a value of an earlier scan is recognised. */
typedef uint64_t kiv_device;

/** What kiv_scan() does beyond its own search; flags may be added up. */
enum kiv_scan_flags {
  KIV_SCAN_DRIVER = 1,   /**< ask the maker's driver, too; the devices that it holds are reached through it */
  KIV_SCAN_LIBRARIES = 2 /**< ask each library once which drives stand in it */
};
/** Looks for the maker's drives and libraries, by address: all that are there, whatever Config.txt names,
 * also those that cannot be opened. Unit attentions are cleared and a device that is busy is asked once more,
 * so that neither changes what is found. Sends nothing that writes. KIV_OK when something was found, also
 * when nothing of it could be opened; else KIV_NO_DRIVE_CONNECTED. Devices of an earlier scan are stale from
 * here on. */
int32_t kiv_scan(uint32_t flags);
/** How many devices the last scan found. Not a result code. */
uint32_t kiv_device_count(void);
/** The device at an index from 0 to the count less 1, in the order of addresses; 0 beyond. */
kiv_device kiv_device_at(uint32_t index);
/** The first device with this serial number; 0 when there is none. A drive with two paths is two devices. */
kiv_device kiv_device_find(const char* serial);

/** Peripheral device types (SPC-4). */
enum kiv_device_type {
  KIV_TYPE_UNKNOWN = 0, /**< could not be opened, and nobody told its type */
  KIV_TYPE_DRIVE = 1,
  KIV_TYPE_LIBRARY = 8
};
/** What is known of a device; texts that nobody told are empty. */
typedef struct kiv_info {
  uint32_t size;          /**< the structure's sizeof */
  int32_t type;           /**< kiv_device_type */
  int32_t reachable;      /**< 0: could not be opened, or does not answer; what nobody told is then empty */
  uint32_t windows_error; /**< why not */
  int32_t through_driver; /**< 1: by the maker's driver, 0: by Windows' SCSI port driver */
  uint32_t adapter; /**< the address: host adapter, bus, target, logical unit; UINT32_MAX when unknown */
  uint32_t bus;     /**< path id */
  uint32_t target;  /**< SCSI target id */
  uint32_t lun;     /**< logical unit number */
  uint32_t maximum_transfer; /**< bytes that one command can move */
  int32_t supported_index; /**< in listOfSupportedDevices, for updateFirmware(); -1 when it is not in there */
  int32_t configured;      /**< 1: Config.txt names its product string */
  int32_t in_library;      /**< 1: stands in the library below, in its element below */
  uint32_t element;        /**< element address of the drive bay */
  char library_serial[36]; /**< serial number of the library */
  char vendor[12];         /**< vendor identification of INQUIRY */
  char product[20];        /**< product identification of INQUIRY */
  char level[8];           /**< firmware level: the revision of INQUIRY */
  char serial[36];         /**< unit serial number */
  char interface_type[12]; /**< "SAS", "Fibre", "SCSI", or "N/A" */
  char product_string[96]; /**< the name in Config.txt and Devlist.txt */
  char component[128];     /**< what Devlist.txt calls it; empty when it does not */
  char path[128]; /**< the device path, such as "\\.\tape0"; that of its adapter while it is not known */
} kiv_info;
/** Fills the structure. KIV_OK, KIV_STALE_DEVICE or KIV_BAD_ARGUMENT. */
int32_t kiv_device_info(kiv_device device, kiv_info* info);

/** @} */

/** @name Plan
 *  @{ */
/** What an update would do; the first that fits, in this order. */
enum kiv_verdict {
  KIV_PLAN_NOT_REACHABLE = 1, /**< does not open or does not answer */
  KIV_PLAN_NOT_CONFIGURED,    /**< Config.txt does not name its product */
  KIV_PLAN_IMAGE_MISSING,     /**< its image cannot be opened */
  KIV_PLAN_IMAGE_UNUSABLE,    /**< its image is empty, above 16 MiB, or cannot be read to its end */
  KIV_PLAN_RESERVED,          /**< reserved by another host */
  KIV_PLAN_NOT_READY,         /**< neither ready nor without a cartridge; the sense data say more */
  KIV_PLAN_DOWNGRADE,         /**< the wanted level is lower: needs KIV_FORCE */
  KIV_PLAN_CARTRIDGE_LOADED,  /**< needs KIV_EJECT */
  KIV_PLAN_REMOVAL_PREVENTED, /**< KIV_EJECT was given, but a host keeps the cartridge in */
  KIV_PLAN_CURRENT,           /**< runs the wanted level */
  KIV_PLAN_UPDATE             /**< will be updated */
};
/** "cartridge loaded"; "unknown" for a number that is none. Never null; valid for ever. */
const char* kiv_verdict_name(int32_t verdict);

/** How kiv_plan() and kiv_update() go about a drive; flags may be added up. */
enum kiv_update_flags {
  KIV_FORCE = 1,        /**< also to a lower level, and to the level that it runs */
  KIV_EJECT = 2,        /**< a loaded cartridge is ejected; without it the drive is left alone */
  KIV_REPORT_APPEND = 4 /**< add to scsiExe.txt instead of writing it anew */
};
/** What kiv_update() would do with a drive, and why. */
typedef struct kiv_plan_info {
  uint32_t size;          /**< the structure's sizeof */
  int32_t verdict;        /**< kiv_verdict */
  int32_t result;         /**< the result code that fits: KIV_OK for current and update */
  uint32_t windows_error; /**< of a device or an image that cannot be opened */
  kiv_sense sense;        /**< of the check that failed */
  int32_t cartridge;      /**< 1: one is loaded; 0 also when another verdict came first */
  uint64_t image_bytes;   /**< size of the image; 0 when it was not found */
  char level[8];          /**< that the drive runs, asked now */
  char wanted[64];        /**< that Config.txt names */
  char image[264];        /**< as Config.txt names it */
  char image_path[520];   /**< where it was found */
  char text[512];         /**< why, and what to do, as a sentence */
} kiv_plan_info;
/** Finds out what kiv_update() would do, on the drive itself, without writing anything or moving a cartridge.
 * Flags as for kiv_update(). KIV_OK whatever the verdict; a library is KIV_NOT_SUPPORTED. */
int32_t kiv_plan(kiv_device device, uint32_t flags, kiv_plan_info* info);

/** @} */

/** @name Update
 *  @{ */
/** The steps of an update, in their order. */
enum kiv_phase {
  KIV_PHASE_CHECK = 0, /**< the checks of kiv_plan() */
  KIV_PHASE_EJECT,     /**< waits for the drive, takes the cartridge out */
  KIV_PHASE_READ,      /**< reads the image */
  KIV_PHASE_DOWNLOAD,  /**< sends it; from the first chunk on there is no way back */
  KIV_PHASE_RESTART,   /**< the drive restarts: it must not be switched off */
  KIV_PHASE_VERIFY,    /**< reads the level back */
  KIV_PHASE_COUNT
};
/** "download"; "unknown" for a number that is none. Never null; valid for ever. */
const char* kiv_phase_name(int32_t phase);

/** How far an update is. */
typedef struct kiv_progress {
  uint32_t size;    /**< the structure's sizeof */
  int32_t phase;    /**< kiv_phase */
  uint64_t bytes;   /**< of the image, sent */
  uint64_t total;   /**< of the image; 0 until it was read */
  uint32_t seconds; /**< in this phase so far, by the clock that the library waits by */
  int32_t can_stop; /**< 1 as long as the function's answer counts */
} kiv_progress;
/** Told at the start of each phase, after each chunk, and at least once a second of that clock while the
 * library waits. Anything but 0 stops the update while can_stop is 1, and is ignored later. */
typedef int32_t (*kiv_progress_function)(const kiv_progress* progress, void* user);

/** How an update ended. */
typedef struct kiv_update_result {
  uint32_t size;          /**< the structure's sizeof */
  int32_t result;         /**< what kiv_update() returns */
  int32_t verdict;        /**< of the plan that came first */
  int32_t phase;          /**< that it ended in */
  int32_t verified;       /**< 1: the drive itself has told, after all else, that it runs the wanted level */
  int32_t stop_too_late;  /**< 1: the progress function wanted to stop when that was no longer possible */
  int32_t ejected;        /**< 1: a cartridge was taken out */
  uint32_t chunk;         /**< number of the chunk that was refused, from 1; 0 when none was */
  uint32_t chunks;        /**< in all; 0 until the image was read */
  uint32_t windows_error; /**< of the step that failed */
  kiv_sense sense;        /**< of the step that failed */
  uint8_t scsi_status;    /**< of the command that failed (SAM-5); 0xFF when it did not come that far */
  uint8_t reserved[3];    /**< 0 */
  uint64_t bytes_written; /**< handed to the drive */
  uint32_t seconds[8];    /**< in each phase; KIV_PHASE_COUNT of them are used */
  char before[8];         /**< levels: before, */
  char wanted[64];        /**< wanted, */
  char after[8];          /**< and read back, after a failure too; empty when the drive does not answer */
  char text[512];         /**< what was done, or what failed at which step and what to do next: a sentence */
} kiv_update_result;
/** Brings one drive to the level that Config.txt names, and writes scsiExe.txt, but for a drive that the scan
 * could not open: then the report stays as it is. Nothing is sent unless it can be written, and unless the
 * plan says "update"; "current" is a success without a write. Before the first byte the drive at this address
 * is asked whether it is still the one that the scan found. In the end the level is read back: a drive that
 * runs another one than wanted is KIV_LEVEL_NOT_REACHED, whatever the report says. May take hours; see
 * kiv_set_restart_limit(). `progress` and `result` may be null. `result` is filled whatever comes in
 * the way, an update that could not begin too, unless its size is wrong or another call runs. */
int32_t kiv_update(kiv_device device, uint32_t flags, kiv_progress_function progress, void* user,
                   kiv_update_result* result);

/** @} */

/** @name Report
 *  scsiExe.txt of a run over several drives: kiv_report_start(); for each drive kiv_update() with
 *  KIV_REPORT_APPEND, in this process or another one, but never in two at the same time; and kiv_report_add()
 *  for each of which kiv_update() has not told. The file is replaced at once, so it is whole at any moment.
 *  @{ */
/** Begins the report anew, without a device. KIV_OK, or KIV_UNEXPECTED when it cannot be written; then it
 * stays as it was. */
int32_t kiv_report_start(void);
/** What the report is to tell of one device. Its texts may be null for empty ones; any byte of them that is
 * not printable ASCII is written as '?'. */
typedef struct kiv_report_entry {
  uint32_t size;              /**< the structure's sizeof */
  int32_t result;             /**< how its update ended: 0 for a success; any number */
  uint32_t adapter;           /**< the address, as in kiv_info: host adapter, */
  uint32_t bus;               /**< path id, */
  uint32_t target;            /**< SCSI target id, */
  uint32_t lun;               /**< logical unit number */
  const char* product_string; /**< the name in Config.txt */
  const char* component;      /**< what Devlist.txt calls it */
  const char* level;          /**< the firmware level that it runs, as far as is known */
} kiv_report_entry;
/** Adds a device that was refused before its update, or whose update ended without a word, to the report,
 * with the words that kiv_update() finds for the same result. An address that the report tells of already is
 * left as it is. What an update left torn goes, and a file that is no report is begun anew. Asks no device,
 * and needs no scan. KIV_OK, KIV_BAD_ARGUMENT, or KIV_UNEXPECTED when it cannot be read or written; then the
 * report stays as it was. */
int32_t kiv_report_add(const kiv_report_entry* entry);

/** @} */

/** @name SCSI commands
 *  @{ */
/** The direction of a command's data, seen from the host. */
enum kiv_direction { KIV_DATA_NONE = 0, KIV_DATA_IN = 1, KIV_DATA_OUT = 2 };
/** One SCSI command. */
typedef struct kiv_request {
  uint32_t size;        /**< the structure's sizeof */
  uint32_t cdb_length;  /**< 6, 10, 12 or 16 */
  uint8_t cdb[16];      /**< command descriptor block */
  int32_t direction;    /**< kiv_direction */
  uint32_t data_length; /**< bytes of the buffer, which is the host's; not above maximum_transfer */
  void* data;           /**< null without data */
  uint32_t seconds;     /**< time-out; 0 for what the library holds right for this command */
  /* The answer. */
  uint32_t transferred; /**< bytes moved */
  uint8_t
      status; /**< SCSI status (SAM-5): 00h GOOD, 02h CHECK CONDITION, 08h BUSY, 18h RESERVATION CONFLICT */
  uint8_t sense_length;   /**< bytes of sense data, 0 to 96 */
  uint8_t timed_out;      /**< 1: it ran out of time */
  uint8_t reserved;       /**< 0 */
  uint32_t windows_error; /**< 0 when Windows did not complain */
  uint8_t sense[96];      /**< as the device sent it */
} kiv_request;
/** KIV_OK for status GOOD, else KIV_COMMAND_FAILED. Nothing is retried. */
int32_t kiv_command(kiv_device device, kiv_request* request);

/** @} */

/** @name Drive parameters
 *  @{ */
/** One parameter of a drive. */
typedef struct kiv_parameter {
  uint32_t size;       /**< the structure's sizeof */
  uint32_t value;      /**< 0 or 1, or a number in the unit that `choices` tells */
  const char* name;    /**< for kiv_parameter_set(): "compression" */
  const char* title;   /**< for people: "Compression" */
  const char* text;    /**< the value in words; texts are valid during the call only */
  const char* choices; /**< "on or off", "0 to 16777215 bytes, 0 for blocks of any length" */
} kiv_parameter;
/** Anything but 0 ends the list. */
typedef int32_t (*kiv_parameter_function)(const kiv_parameter* parameter, void* user);
/** Tells every parameter that the drive has. */
int32_t kiv_parameters(kiv_device device, kiv_parameter_function function, void* user);
/** Whether a name and a value make sense, without a device: KIV_OK, KIV_NOT_FOUND or KIV_BAD_ARGUMENT. */
int32_t kiv_parameter_check(const char* name, const char* value);
/** Sets one and reads it back. Values: "on", "off", or a number. */
int32_t kiv_parameter_set(kiv_device device, const char* name, const char* value);

/** @} */

/** @name Libraries and cartridges
 *  @{ */
/** Element types (SMC-3). */
enum kiv_element_type {
  KIV_ELEMENT_TRANSPORT = 1,
  KIV_ELEMENT_STORAGE = 2,
  KIV_ELEMENT_IMPORT_EXPORT = 3,
  KIV_ELEMENT_DRIVE = 4
};
/** One element of a library. Flags are 0 or 1, and mean what SMC-3 says of the bits of that name. */
typedef struct kiv_element {
  uint32_t size;           /**< the structure's sizeof */
  int32_t type;            /**< kiv_element_type */
  uint32_t address;        /**< element address */
  uint8_t full;            /**< a cartridge is in it */
  uint8_t access;          /**< the robot reaches it */
  uint8_t except;          /**< asc and ascq say why */
  uint8_t asc;             /**< additional sense code */
  uint8_t ascq;            /**< additional sense code qualifier */
  uint8_t import_enabled;  /**< INENAB and EXENAB of import/export elements */
  uint8_t export_enabled;  /**< the cartridge can go out */
  uint8_t operator_placed; /**< IMPEXP */
  uint8_t source_valid;    /**< `source` is known */
  uint8_t invert;          /**< the cartridge was turned over */
  uint8_t lun_valid;       /**< of drive elements, as are the next four */
  uint8_t lun;             /**< logical unit number of the drive */
  uint8_t id_valid;        /**< `bus_address` is known */
  uint8_t bus_address;     /**< of the drive on the bus */
  uint8_t not_bus;         /**< the address is not on this library's own bus */
  uint8_t reserved;        /**< 0 */
  uint32_t source;         /**< element that the cartridge came from */
  char barcode[36];        /**< primary volume tag */
  char drive_serial[36];   /**< from the element's device identifier */
} kiv_element;
/** Anything but 0 ends the list. */
typedef int32_t (*kiv_element_function)(const kiv_element* element, void* user);
/** Tells every element of a library, in the order of addresses within each type. Read in pieces that its
 * adapter can move, so that ten thousand elements are no matter. */
int32_t kiv_elements(kiv_device library, kiv_element_function function, void* user);
/** Moves a cartridge (MOVE MEDIUM, SMC-3); transport 0 for the library's choice. */
int32_t kiv_move_medium(kiv_device library, uint32_t transport, uint32_t source, uint32_t destination);
/** Loads the cartridge of a drive (LOAD UNLOAD, SSC-4), and waits for the end. */
int32_t kiv_load(kiv_device drive);
/** Unloads the cartridge of a drive (LOAD UNLOAD, SSC-4), and waits for the end. */
int32_t kiv_unload(kiv_device drive);

/** @} */

/** @name Close
 *  @{ */
/** Forgets the scan, gives log and directory back. Harmless when repeated. */
int32_t kiv_close(void);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
