#include "agent/ScenarioRunner.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

// Walks the words of one statement; every accessor throws a message naming
// what was expected, so a statement is either fully read or rejected.
class Words {
 public:
  Words(std::vector<std::string> const& w, size_t start) : w_(w), i_(start) {}
  bool more() const { return i_ < w_.size(); }
  std::string const& peek() const { return w_[i_]; }
  std::string const& next(char const* what) {
    if (!more()) fail(std::string("expected ") + what);
    return w_[i_++];
  }
  void keyword(char const* kw) {
    std::string const& t = next(kw);
    if (t != kw) fail(std::string("expected '") + kw + "', got '" + t + "'");
  }
  bool accept(char const* kw) {
    if (more() && w_[i_] == kw) {
      ++i_;
      return true;
    }
    return false;
  }
  void end() {
    if (more()) fail("unexpected '" + w_[i_] + "'");
  }

 private:
  std::vector<std::string> const& w_;
  size_t i_;
};

uint64_t parseUnsigned(std::string const& t, char const* what, uint64_t max = UINT64_MAX) {
  uint64_t v = 0;
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || end != t.data() + t.size() || v > max) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

int64_t parseSigned(std::string const& t, char const* what) {
  int64_t v = 0;
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || end != t.data() + t.size()) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

double parseNumber(std::string const& t, char const* what) {
  // from_chars for double is missing in older standard libraries; strtod with
  // a full-match check does the same.
  if (t.empty()) fail(std::string("bad ") + what + " ''");
  char* end = nullptr;
  double v = std::strtod(t.c_str(), &end);
  if (end != t.c_str() + t.size() || v != v) fail(std::string("bad ") + what + " '" + t + "'");
  return v;
}

bool parseOnOff(std::string const& t) {
  if (t == "on") return true;
  if (t == "off") return false;
  fail("expected 'on' or 'off', got '" + t + "'");
}

SoftChip::ChipAnswer parseAnswer(std::string const& t) {
  if (t == "ok") return SoftChip::ChipAnswer::success;
  if (t == "fail") return SoftChip::ChipAnswer::fail;
  if (t == "notready") return SoftChip::ChipAnswer::notReady;
  if (t == "full") return SoftChip::ChipAnswer::resourceFull;
  fail("expected ok, fail, notready or full, got '" + t + "'");
}

bool isAnswer(std::string const& t) { return t == "ok" || t == "fail" || t == "notready" || t == "full"; }

Agent::Prefix parsePrefix(std::string const& t) {
  if (t.find(':') != std::string::npos) return Nollo::Ip6Prefix(t);
  return Nollo::IpPrefix(t);
}

}  // namespace

std::vector<std::string> ScenarioRunner::words(std::string const& line) {
  std::vector<std::string> w;
  std::string cur;
  for (char c : line) {
    if (c == '#') break;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (!cur.empty()) w.push_back(std::move(cur));
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) w.push_back(std::move(cur));
  return w;
}

double ScenarioRunner::parseDuration(std::string const& text) {
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
  if (v < 0) fail("bad duration '" + text + "'");
  return v * scale;
}

size_t ScenarioRunner::runStream(std::istream& in) {
  size_t before = errors_;
  std::string line;
  size_t n = 0;
  while (std::getline(in, line)) runLine(line, ++n);
  return errors_ - before;
}

size_t ScenarioRunner::runText(std::string const& text) {
  std::istringstream in(text);
  return runStream(in);
}

bool ScenarioRunner::runLine(std::string const& line, size_t lineNo) {
  auto w = words(line);
  if (w.empty()) return true;
  bool ok = true;
  try {
    doStatement(w);
  } catch (std::exception const& e) {
    *out_ << "line " << lineNo << ": " << e.what() << "\n";
    ++errors_;
    ok = false;
  }
  agent_->drainEvents(*out_);
  out_->flush();
  return ok;
}

void ScenarioRunner::doStatement(std::vector<std::string> const& w) {
  std::string const& verb = w[0];
  Words a(w, 1);
  if (verb == "vrf") {
    std::string op = a.next("add, del or replace");
    Kor::VrfName name(a.next("VRF name"));
    a.end();
    if (op == "add") return agent_->vrfAdd(name);
    if (op == "del") return agent_->vrfDel(name);
    if (op == "replace") return agent_->vrfReplace(name);
    fail("expected add, del or replace, got '" + op + "'");
  }
  if (verb == "maxvrfs") {
    auto n = parseUnsigned(a.next("VRF count"), "VRF count", 65535);
    a.end();
    return agent_->maxVrfsIs(static_cast<uint32_t>(n));
  }
  if (verb == "set") {
    std::string knob = a.next("knob name");
    std::string value = a.next("value");
    a.end();
    if (!Agent::knobKnown(knob)) fail("unknown knob '" + knob + "'");
    if (Agent::knobIsInteger(knob)) return agent_->knobIs(knob, double(parseSigned(value, "value")));
    return agent_->knobIs(knob, parseDuration(value));
  }
  if (verb == "fastboot") {
    bool on = parseOnOff(a.next("on or off"));
    a.end();
    return agent_->fastBootIs(on);
  }
  if (verb == "intf") {
    std::string op = a.next("add or del");
    Nollo::IntfId intf(a.next("interface name"));
    if (op == "del") {
      a.end();
      return agent_->intfDel(intf);
    }
    if (op != "add") fail("expected add or del, got '" + op + "'");
    std::optional<Kor::VrfName> vrf;
    std::optional<Kor::VlanId> vlan;
    while (a.more()) {
      if (a.accept("vrf")) {
        vrf = Kor::VrfName(a.next("VRF name"));
      } else if (a.accept("vlan")) {
        std::string const& t = a.next("VLAN id");
        vlan = Kor::VlanId(parseSigned(t, "VLAN id"));
      } else {
        a.end();
      }
    }
    return agent_->intfAdd(intf, vrf, vlan);
  }
  if (verb == "arp") {
    std::string op = a.next("add or del");
    Kor::VrfName vrf(a.next("VRF name"));
    Nollo::IpGenAddr ip(a.next("IP address"));
    if (op == "del") {
      a.end();
      return agent_->arpDel(vrf, ip);
    }
    if (op != "add") fail("expected add or del, got '" + op + "'");
    Nollo::EthAddr mac(a.next("MAC address"));
    Nollo::IntfId intf(a.next("interface name"));
    a.end();
    return agent_->arpAdd(vrf, ip, mac, intf);
  }
  if (verb == "fec") {
    std::string op = a.next("add or del");
    uint64_t id = parseUnsigned(a.next("FEC id"), "FEC id");
    if (op == "del") {
      a.end();
      return agent_->fecDel(id);
    }
    if (op != "add") fail("expected add or del, got '" + op + "'");
    std::vector<Agent::Via> vias;
    do {
      a.keyword("via");
      Nollo::IpGenAddr hop(a.next("next-hop address"));
      Nollo::IntfId intf(a.next("interface name"));
      vias.push_back({hop, intf});
    } while (a.more());
    return agent_->fecAdd(id, vias);
  }
  if (verb == "route") {
    std::string op = a.next("add or del");
    Kor::VrfName vrf(a.next("VRF name"));
    Agent::Prefix prefix = parsePrefix(a.next("prefix"));
    if (op == "del") {
      a.end();
      return agent_->routeDel(vrf, prefix);
    }
    if (op != "add") fail("expected add or del, got '" + op + "'");
    a.keyword("fec");
    uint64_t id = parseUnsigned(a.next("FEC id"), "FEC id");
    a.end();
    return agent_->routeAdd(vrf, prefix, id);
  }
  if (verb == "init") {
    a.end();
    return agent_->init();
  }
  if (verb == "run") {
    if (a.accept("until")) {
      a.keyword("idle");
      a.end();
      if (!agent_->runUntilIdle()) *out_ << "run until idle: still busy after 3600s\n";
      return;
    }
    double d = parseDuration(a.next("duration"));
    a.end();
    return agent_->runFor(d);
  }
  if (verb == "chip") {
    std::string op = a.next("capacity or fault");
    if (op == "capacity") {
      std::string table = a.next("table name");
      uint64_t n = parseUnsigned(a.next("capacity"), "capacity");
      a.end();
      if (!agent_->chip()->table(table)) fail("unknown chip table '" + table + "'");
      agent_->chip()->table(table)->capacityIs(n);
      return;
    }
    if (op != "fault") fail("expected capacity or fault, got '" + op + "'");
    std::string kind = a.next("object kind, rate or clear");
    if (kind == "clear") {
      a.end();
      return agent_->chip()->injector().faultsDelAll();
    }
    if (kind == "rate") {
      double p = parseNumber(a.next("rate"), "rate");
      if (p < 0 || p > 1) fail("bad rate '" + w[3] + "': must be 0..1");
      a.keyword("seed");
      uint64_t seed = parseUnsigned(a.next("seed"), "seed");
      SoftChip::ChipAnswer ans = a.more() ? parseAnswer(a.next("answer")) : SoftChip::ChipAnswer::fail;
      a.end();
      return agent_->chip()->injector().randomFaultIs(p, seed, ans);
    }
    std::string t = a.next("answer or object key");
    if (isAnswer(t) && !a.more()) return agent_->chip()->injector().kindFaultIs(kind, parseAnswer(t));
    SoftChip::ChipAnswer ans = parseAnswer(a.next("answer"));
    a.end();
    return agent_->chip()->injector().objectFaultIs(kind, t, ans);
  }
  if (verb == "show") {
    std::string what = a.next("what to show");
    bool json = a.accept("json");
    a.end();
    if (!Agent::showKnown(what)) fail("unknown show '" + what + "'");
    std::string shown = agent_->show(what, json);
    agent_->drainEvents(*out_);  // what the statement traced comes before its answer
    *out_ << shown;
    return;
  }
  if (verb == "cmd") {
    std::string text;
    while (a.more()) text += (text.empty() ? "" : " ") + a.next("command");
    if (text.empty()) fail("expected command code");
    std::string answer = agent_->command(-1, text);
    agent_->drainEvents(*out_);  // what the statement traced comes before its answer
    *out_ << answer;
    return;
  }
  if (verb == "trace") {
    std::string field = a.next("state machine (TractoLevels field)");
    std::string levels = a.next("levels");
    a.end();
    return agent_->traceIs(field, levels);
  }
  if (verb == "restart") {
    a.end();
    return agent_->restart();
  }
  if (verb == "echo") {
    for (size_t i = 1; i < w.size(); ++i) *out_ << (i > 1 ? " " : "") << w[i];
    *out_ << "\n";
    return;
  }
  fail("unknown statement '" + verb + "'");
}

}  // namespace KorAgent
