// The documents that --json writes; docs/kivhost.schema.json describes them.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "host/core/config_lint.h"
#include "host/core/device.h"
#include "host/core/plan.h"

namespace host {

using Json = nlohmann::ordered_json;

Json toJson(const std::vector<Warning>& warnings);
Json toJson(const std::vector<Unreachable>& unreachable);
Json toJson(const Device& device);
/// A device with its plan.
Json toJson(const Device& device, const Plan& plan);
/// Null for sense data that never came.
Json toJson(const kiv_sense& sense);

/// What an update adds to a drive with its plan; its turn has not come yet.
void addNoOutcome(Json& drive);
/// A drive for which nothing more happens than its plan says.
void addOutcome(Json& drive, const Plan& plan, const std::string& message);
/// What kiv_update() returned.
Json outcome(const kiv_update_result& result, const std::string& message);
/// What became of a drive whose process did not tell.
Json outcome(int result, const std::string& before, const std::string& after, std::uint64_t written,
             const std::string& message);

/// What a command found, in the frame that every document has.
Json document(const Json& found, const std::vector<Warning>& warnings, int status,
              const std::string& message);

/// A document of a command that has not found anything yet.
Json emptyLists(std::initializer_list<const char*> names);

/// A value without its quotation marks; null is empty.
std::string textOf(const Json& value);

/// In one piece, with a line feed behind it; bytes that are no UTF-8 are replaced.
std::string dump(const Json& document, int indent = 2);

}  // namespace host
