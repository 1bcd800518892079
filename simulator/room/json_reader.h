// Reads JSON objects into option structures, with error sentences that name the key at fault.
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>

namespace simulator {

/// Every failure is a std::runtime_error with a sentence that begins with `The key "..."`.
class JsonReader {
 public:
  /// `path` is how the object is called in error sentences: "drives[1]", empty for the outermost.
  JsonReader(const nlohmann::json& object, std::string path) : object_(object), path_(std::move(path)) {
    if (!object_.is_object()) throw std::runtime_error(sentence("must be an object in {}"));
  }

  // Each takes a key, if it is there, and fills the field; an absent key leaves the default.
  void read(const char* key, bool& field) {
    if (const auto* value = take(key)) {
      if (!value->is_boolean()) fail(key, "must be true or false");
      field = value->get<bool>();
    }
  }
  void read(const char* key, std::string& field,
            std::size_t longest = std::numeric_limits<std::size_t>::max()) {
    if (const auto* value = take(key)) {
      if (!value->is_string()) fail(key, "must be a text in double quotes");
      field = value->get<std::string>();
      if (field.size() > longest) fail(key, "must have at most " + std::to_string(longest) + " characters");
    }
  }
  void read(const char* key, double& field) {
    if (const auto* value = take(key)) {
      if (!value->is_number() || value->get<double>() < 0) fail(key, "must be a number that is not negative");
      field = value->get<double>();
    }
  }
  /// A number, or a text such as "0xA1700D75".
  template <std::unsigned_integral T>
  void read(const char* key, T& field, T largest = std::numeric_limits<T>::max(), T smallest = 0) {
    if (const auto* value = take(key)) field = static_cast<T>(number(key, *value, smallest, largest));
  }
  template <class T>
  void read(const char* key, std::optional<T>& field) {
    if (!object_.contains(key)) return;
    T value{};
    read(key, value);
    field = value;
  }
  /// One of a few words.
  template <class T>
  void read(const char* key, T& field, const std::map<std::string, T>& words) {
    std::string word;
    if (!object_.contains(key)) return;
    read(key, word);
    const auto found = words.find(word);
    if (found == words.end()) {
      std::string list;
      for (const auto& [name, value] : words) list += (list.empty() ? "\"" : ", \"") + name + "\"";
      fail(key, "must be one of " + list);
    }
    field = found->second;
  }
  /// Calls `action(reader)` for an object, and finishes it.
  template <class Action>
  void readObject(const char* key, Action action) {
    if (const auto* value = take(key)) {
      JsonReader in(*value, name(key));
      action(in);
      in.finish();
    }
  }
  /// Calls `item(value, path)` for every item of an array.
  template <class Action>
  void readArray(const char* key, Action item) {
    const auto* value = take(key);
    if (!value) return;
    if (!value->is_array()) fail(key, "must be a list in []");
    for (std::size_t i = 0; i < value->size(); ++i)
      item((*value)[i], name(key) + "[" + std::to_string(i) + "]");
  }

  /// Fails when the object has a key that nobody asked for.
  void finish() const {
    for (const auto& [key, value] : object_.items()) {
      if (!known_.contains(key)) fail(key.c_str(), "is unknown");
    }
  }
  [[noreturn]] void fail(const char* key, const std::string& what) const {
    throw std::runtime_error("The key \"" + name(key) + "\" " + what + ".");
  }

 private:
  const nlohmann::json* take(const char* key) {
    known_.insert(key);
    const auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
  }
  std::string name(const char* key) const { return path_.empty() ? key : path_ + "." + key; }
  std::string sentence(const std::string& what) const {
    return path_.empty() ? "The text " + what + "." : "The key \"" + path_ + "\" " + what + ".";
  }
  std::uint64_t number(const char* key, const nlohmann::json& value, std::uint64_t smallest,
                       std::uint64_t largest) const {
    std::uint64_t result = 0;
    bool good = value.is_number_unsigned();
    if (good) result = value.get<std::uint64_t>();
    if (value.is_string()) {
      const std::string text = value.get<std::string>();
      std::size_t used = 0;
      try {
        result = std::stoull(text, &used, 0);
      } catch (const std::logic_error&) {
        used = 0;
      }
      good = used != 0 && used == text.size() && text[0] != '-';
    }
    if (!good || result < smallest || result > largest) {
      fail(key, "must be a whole number from " + std::to_string(smallest) + " to " + std::to_string(largest));
    }
    return result;
  }

  const nlohmann::json& object_;
  std::string path_;
  std::set<std::string> known_;
};

}  // namespace simulator
