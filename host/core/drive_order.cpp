#include "host/core/drive_order.h"

namespace host {
namespace {

std::string line(const Json& json) { return dump(json, -1); }

}  // namespace

std::string toLine(const DriveOrder& order) {
  return line({{"library", order.session.library},
               {"room", order.session.room},
               {"simulate", order.session.simulate},
               {"record", order.session.record},
               {"replay", order.session.replay},
               {"recording", order.recording},
               {"address", order.address},
               {"serial", order.serial},
               {"wanted", order.wanted},
               {"sha256", order.sha256},
               {"force", order.flags.force},
               {"eject", order.flags.eject},
               {"restartLimit", order.restartLimit},
               {"log", order.log},
               {"askOnly", order.askOnly}});
}

DriveOrder parseOrder(const std::string& text) {
  const Json json = Json::parse(text);
  return {.session = {.library = json.at("library"),
                      .room = json.at("room"),
                      .simulate = json.at("simulate"),
                      .record = json.at("record"),
                      .replay = json.at("replay")},
          .address = json.at("address"),
          .serial = json.at("serial"),
          .wanted = json.at("wanted"),
          .sha256 = json.at("sha256"),
          .flags = {.force = json.at("force"), .eject = json.at("eject")},
          .restartLimit = json.at("restartLimit"),
          .log = json.at("log"),
          .askOnly = json.at("askOnly"),
          .recording = json.at("recording")};
}

std::string progressLine(const Progress& progress) {
  return line({{"phase", progress.phase},
               {"bytes", progress.bytes},
               {"total", progress.total},
               {"seconds", progress.seconds}});
}

std::string logLine(std::string_view text) { return line({{"log", text}}); }
std::string levelLine(const std::string& level) { return line({{"level", level}}); }
std::string outcomeLine(const Json& outcome) { return line({{"outcome", outcome}}); }
std::string departureLine(const std::string& sentences) { return line({{"departure", sentences}}); }
std::string leftLine(const CallsLeft& left) { return line({{"left", left.count}, {"first", left.first}}); }

DriveNews parseNews(const std::string& text) {
  const Json json = Json::parse(text, nullptr, false);
  DriveNews news;
  if (!json.is_object()) return news;
  if (json.contains("phase"))
    news.progress = Progress{json.at("phase"), json.at("bytes"), json.at("total"), json.at("seconds")};
  if (json.contains("log")) news.log = json.at("log");
  if (json.contains("level")) news.level = json.at("level");
  if (json.contains("outcome")) news.outcome = json.at("outcome");
  if (json.contains("departure")) news.departure = json.at("departure");
  if (json.contains("left")) news.left = {json.at("left"), json.at("first")};
  return news;
}

}  // namespace host
