#include "agent/StatementArgs.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
}  // namespace

std::string const& StatementArgs::next(char const* what) {
  if (!more()) fail(std::string("expected ") + what);
  return w_[i_++];
}

void StatementArgs::keyword(char const* kw) {
  std::string const& t = next(kw);
  if (t != kw) fail(std::string("expected '") + kw + "', got '" + t + "'");
}

bool StatementArgs::accept(char const* kw) {
  if (more() && w_[i_] == kw) {
    ++i_;
    return true;
  }
  return false;
}

void StatementArgs::end() const {
  if (more()) fail("unexpected '" + w_[i_] + "'");
}

bool StatementArgs::option(char const* kw) {
  if (!accept(kw)) return false;
  if (!seen_.insert(kw).second) fail(std::string("option '") + kw + "' given twice");
  return true;
}

std::vector<std::string> StatementArgs::rest() {
  std::vector<std::string> r(w_.begin() + std::ptrdiff_t(i_), w_.end());
  i_ = w_.size();
  return r;
}

uint64_t StatementArgs::parseUnsigned(std::string const& t, char const* what, uint64_t max) {
  uint64_t v = 0;
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || end != t.data() + t.size() || v > max) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

int64_t StatementArgs::parseSigned(std::string const& t, char const* what) {
  int64_t v = 0;
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || end != t.data() + t.size()) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

double StatementArgs::parseNumber(std::string const& t, char const* what) {
  // from_chars for double is missing in older standard libraries; strtod with
  // a full-match check does the same.
  if (t.empty()) fail(std::string("bad ") + what + " ''");
  char* end = nullptr;
  double v = std::strtod(t.c_str(), &end);
  if (end != t.c_str() + t.size() || v != v) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

bool StatementArgs::parseOnOff(std::string const& t) {
  if (t == "on") return true;
  if (t == "off") return false;
  fail("expected 'on' or 'off', got '" + t + "'");
}

Kor::VlanId StatementArgs::parseVlan(std::string const& t) { return Kor::VlanId(parseSigned(t, "VLAN id")); }

double StatementArgs::parseDuration(std::string const& text) {
  std::string num = text;
  double scale = 1.0;
  auto endsWith = [&](char const* s) {
    std::string suffix(s);
    return num.size() > suffix.size() && num.compare(num.size() - suffix.size(), suffix.size(), suffix) == 0;
  };
  if (endsWith("ms")) {
    num.resize(num.size() - 2);
    scale = 1e-3;
  } else if (endsWith("us")) {
    num.resize(num.size() - 2);
    scale = 1e-6;
  } else if (endsWith("s")) {
    num.resize(num.size() - 1);
  }
  double v = 0;
  try {
    v = parseNumber(num, "duration");
  } catch (std::invalid_argument const&) {
    fail("bad duration '" + text + "'");
  }
  // "inf", "1e308" and the like would carry the loop's clock past where a
  // timer can still be told from the next one (or to infinity).
  v *= scale;
  if (!(v >= 0) || !std::isfinite(v)) fail("bad duration '" + text + "'");
  if (v > kMaxDuration)
    fail("duration '" + text + "' is longer than " + std::to_string(int64_t(kMaxDuration)) + "s");
  return v;
}

}  // namespace KorAgent
