#include "agent/config/ConfigValue.h"

#include <cmath>

#include "agent/StatementArgs.h"

namespace KorAgent {

void ConfigValue::fail(std::string const& reason) const { throw ConfigError(pointer(), reason); }

std::string ConfigValue::typeText() const {
  if (json_->is_number_float()) return "a number with a fraction";
  if (json_->is_number()) return "a number";
  if (json_->is_object()) return "an object";
  if (json_->is_array()) return "an array";
  if (json_->is_string()) return "a string";
  if (json_->is_boolean()) return "true or false";
  return "null";
}

void ConfigValue::object(std::initializer_list<char const*> known) const {
  if (!json_->is_object()) fail("expected an object, got " + typeText());
  for (auto const& [key, value] : json_->items()) {
    bool found = false;
    for (char const* k : known) found = found || key == k;
    if (found) continue;
    std::string list;
    for (char const* k : known) list += std::string(list.empty() ? "" : ", ") + k;
    ConfigValue(value, pointer_ / key).fail("unknown key '" + key + "' (known here: " + list + ")");
  }
}

// A missing key is this value's error, named where the key should be: the
// JSON library's own text names no place in the file.
ConfigValue ConfigValue::at(char const* key) const {
  if (!json_->is_object()) fail("expected an object, got " + typeText());
  auto it = json_->find(key);
  if (it == json_->end()) {
    std::string reason = "missing key '";
    reason += key;
    reason += "'";
    fail(reason);
  }
  return ConfigValue(*it, pointer_ / key);
}

std::vector<std::pair<std::string, ConfigValue>> ConfigValue::members() const {
  if (!json_->is_object()) fail("expected an object, got " + typeText());
  std::vector<std::pair<std::string, ConfigValue>> m;
  for (auto const& [key, value] : json_->items()) m.emplace_back(key, ConfigValue(value, pointer_ / key));
  return m;
}

std::vector<ConfigValue> ConfigValue::elements() const {
  if (!json_->is_array()) fail("expected an array, got " + typeText());
  std::vector<ConfigValue> e;
  for (size_t i = 0; i < json_->size(); ++i) e.emplace_back((*json_)[i], pointer_ / i);
  return e;
}

bool ConfigValue::boolean() const {
  if (!json_->is_boolean()) fail("expected true or false, got " + typeText());
  return json_->get<bool>();
}

uint64_t ConfigValue::unsignedInt(uint64_t min, uint64_t max) const {
  std::string const range = std::to_string(min) + ".." + std::to_string(max);
  if (!json_->is_number_integer()) fail("expected an integer " + range + ", got " + typeText());
  if (json_->is_number_unsigned()) {
    uint64_t v = json_->get<uint64_t>();
    if (v >= min && v <= max) return v;
    fail(std::to_string(v) + " is out of range " + range);
  }
  fail(std::to_string(json_->get<int64_t>()) + " is out of range " + range);
}

int64_t ConfigValue::signedInt(int64_t min, int64_t max) const {
  std::string const range = std::to_string(min) + ".." + std::to_string(max);
  if (!json_->is_number_integer()) fail("expected an integer " + range + ", got " + typeText());
  if (json_->is_number_unsigned() && json_->get<uint64_t>() > uint64_t(max))
    fail(std::to_string(json_->get<uint64_t>()) + " is out of range " + range);
  int64_t v = json_->get<int64_t>();
  if (v < min || v > max) fail(std::to_string(v) + " is out of range " + range);
  return v;
}

std::string ConfigValue::name() const {
  if (!json_->is_string()) fail("expected a string, got " + typeText());
  std::string const& s = json_->get_ref<std::string const&>();
  checkName(s);
  return s;
}

void ConfigValue::checkName(std::string const& s) const {
  if (s.empty()) fail("empty name");
  // The parser took only valid UTF-8; names end up in the chip, the logs and
  // JSON shows, so no control character either (the column, never the byte).
  for (size_t i = 0; i < s.size(); ++i) {
    auto b = static_cast<unsigned char>(s[i]);
    if (b < 0x20 || b == 0x7f) fail("control character at column " + std::to_string(i + 1) + " of the name");
  }
}

std::string ConfigValue::word(std::initializer_list<char const*> words) const {
  std::string list;
  for (char const* w : words) list += std::string(list.empty() ? "" : ", ") + w;
  if (!json_->is_string()) fail("expected one of " + list + ", got " + typeText());
  std::string const& s = json_->get_ref<std::string const&>();
  for (char const* w : words)
    if (s == w) return s;
  fail("expected one of " + list + ", got '" + name() + "'");
}

double ConfigValue::duration() const {
  if (json_->is_string()) {
    try {
      return StatementArgs::parseDuration(name());
    } catch (ConfigError const&) {
      throw;
    } catch (std::exception const& e) {
      fail(e.what());
    }
  }
  if (!json_->is_number()) fail("expected a duration (seconds, or a string such as \"250ms\"), got " + typeText());
  double v = json_->get<double>();
  if (!(v >= 0) || !std::isfinite(v) || v > StatementArgs::kMaxDuration)
    fail("duration " + json_->dump() + " is out of range 0.." + std::to_string(int64_t(StatementArgs::kMaxDuration)) +
         "s");
  return v;
}

}  // namespace KorAgent
