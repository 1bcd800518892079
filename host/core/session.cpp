#include "host/core/session.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/core/text.h"
#include "host/platform/platform.h"
#include "kiv/kiv_c.h"

namespace host {

std::string SessionOptions::lockName() const {
  const std::string& file = replay.empty() ? room : replay;
  if (file.empty()) return simulate ? "simulation" : "update";
  std::error_code error;
  const std::filesystem::path path = std::filesystem::weakly_canonical(toPath(file), error);
  std::string name = fromPath(error ? toPath(file) : path);
  // To Windows the case is the same file.
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  // A name of an object holds neither backslashes nor much text.
  return fmt::format("room-{:016x}", std::hash<std::string>()(name));
}

Session::Session(const SessionOptions& options, LogLine log, Replay* replay)
    : log_(std::move(log)), replay_(replay) {
  platform::loadLibrary(options.library);
  if (!options.room.empty() || options.simulate) simulation_.emplace(options.room);
  if (!options.record.empty()) recorder_.emplace(options);
  if (replay_) player_ = replay_->begin(options.command);
  if (recorder_ || player_) platform::enterRoom();
  if (!log_) return;
  const auto takeLine = [](std::int32_t, const char* line, void* user) {
    static_cast<Session*>(user)->log_(line);
  };
  kiv_set_log(KIV_LOG_DEBUG, takeLine, this);
}

Session::~Session() {
  kiv_close();
  if (player_) replay_->add(player_->left());
}

void Session::keepRoom() {
  if (simulation_) simulation_->keepLevels();
}

}  // namespace host
