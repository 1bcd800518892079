// The commands of kivhost. Each returns the exit status, and adds to the document what it found.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/core/document.h"
#include "host/core/output.h"
#include "host/core/selection.h"
#include "host/core/session.h"

namespace host {

struct Options {
  bool json = false;
  bool debug = false;
  std::string log;
  SessionOptions session;
  std::string record;  ///< file of a recording
  bool mask = false;

  Selection selection;
  UpdateFlags update;
  bool yes = false;
  std::uint32_t maxRebootMinutes = 20;
  bool elements = false;
  bool xml = false;
  std::vector<std::string> settings;  ///< NAME=VALUE
  std::string file, copy, level;
  std::size_t size = 0;
};

/// One run of the program.
struct Run {
  explicit Run(const Options& given);

  const Options& options;
  Output output;
  Log log;
  Json document = Json::object();  ///< beyond what every command tells
  std::vector<Warning> warnings;
  std::optional<Replay> replay;

  Session openSession();
  /// Throws HostError with KIV_ALREADY_RUNNING while an update holds the lock.
  void refuseDuringUpdate() const;
  /// Shows warnings, and keeps them for the document.
  void warn(const std::vector<Warning>& more);
  /// Scans; puts the devices that could not be opened into the document, and says what they are.
  Inventory findDevices();
  /// Whether devices were asked for as a whole, and a part of them is unknown.
  bool isIncomplete(const Inventory& inventory) const;
};

/// The end of every run: a sentence for people, a document for programs. Returns the exit status.
int finish(const Options& options, const Json& found, const std::vector<Warning>& warnings, int status,
           const std::string& message);

int scan(Run& run);
int plan(Run& run);
int update(Run& run);
int check(Run& run);
int params(Run& run);
int elements(Run& run);
int version(Run& run);
int makeRoom(Run& run);
int makeImage(Run& run);
int mask(Run& run);

/// The process of one drive: its order comes on standard input.
int driveProcess();

// For several commands.

/// Adds the elements of a library to a list of the document.
void addElements(const Device& library, Json& elements);
std::string elementsTable(const Json& elements);

/// Selects drives. Throws HostError for a library among them.
std::vector<Device> selectDrives(const Run& run, const Inventory& inventory);

struct PlannedDrive {
  Device drive;
  Plan plan;
};
/// Selects drives and asks each; shows the plan.
std::vector<PlannedDrive> makePlans(Run& run, const Inventory& inventory);

}  // namespace host
