#pragma once
// One value of a configuration document and its JSON pointer. Every typed
// read checks the JSON type and the range and, on a mismatch, throws a
// ConfigError naming this value's pointer, so a section reads its part of
// the file as plain code and a bad value is always reported where it is.
// Refers into the document; lives no longer than it.
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/config/ConfigError.h"

namespace KorAgent {

class ConfigValue {
 public:
  using Json = nlohmann::json;

  ConfigValue(Json const& json, Json::json_pointer pointer) : json_(&json), pointer_(std::move(pointer)) {}

  Json const& json() const { return *json_; }
  std::string pointer() const { return pointer_.to_string(); }
  [[noreturn]] void fail(std::string const& reason) const;

  // An object whose keys are all among `known` (a ConfigError at the first
  // unknown key otherwise).
  void object(std::initializer_list<char const*> known) const;
  bool has(char const* key) const { return json_->is_object() && json_->contains(key); }
  ConfigValue at(char const* key) const;
  // An object whose keys are names the file chooses (VRFs, interfaces...):
  // its members in key order.
  std::vector<std::pair<std::string, ConfigValue>> members() const;
  std::vector<ConfigValue> elements() const;

  bool boolean() const;
  uint64_t unsignedInt(uint64_t min, uint64_t max) const;
  int64_t signedInt(int64_t min, int64_t max) const;
  // A name: text without control characters, not empty.
  std::string name() const;
  // One of `words`.
  std::string word(std::initializer_list<char const*> words) const;
  // Seconds: a number, or a string as the scenario language writes a
  // duration ("250ms", "2s").
  double duration() const;
  // A value type read from this value's text (an address, a prefix, an
  // interface name): its parse error becomes this value's error.
  template <class T>
  T parsed() const {
    return doParse<T>(name());
  }
  // The same from `key`, the name this value is stored under in its object
  // ("Ethernet1" of /interfaces/Ethernet1): its errors are this value's.
  template <class T>
  T keyParsed(std::string const& key) const {
    checkName(key);
    return doParse<T>(key);
  }

 private:
  std::string typeText() const;
  void checkName(std::string const& text) const;
  template <class T>
  T doParse(std::string const& text) const {
    try {
      return T(text);
    } catch (std::exception const& e) {
      fail(e.what());
    }
  }

  Json const* json_;
  Json::json_pointer pointer_;
};

}  // namespace KorAgent
