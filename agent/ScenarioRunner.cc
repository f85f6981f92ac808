#include "agent/ScenarioRunner.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/Utf8.h"
#include "quill/FecId.h"

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
  // An option that may be given once in a statement: true when it is next.
  bool option(char const* kw) {
    if (!accept(kw)) return false;
    if (!seen_.insert(kw).second) fail(std::string("option '") + kw + "' given twice");
    return true;
  }

 private:
  std::vector<std::string> const& w_;
  size_t i_;
  std::set<std::string> seen_;
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

Kor::VlanId parseVlan(std::string const& t) { return Kor::VlanId(parseSigned(t, "VLAN id")); }

// via IP INTF [vlan N] [label L[,L]...] [backup]
Agent::Via parseVia(Words& a) {
  a.keyword("via");
  Agent::Via v;
  v.hop = Nollo::IpGenAddr(a.next("next-hop address"));
  v.intf = Nollo::IntfId(a.next("interface name"));
  while (a.more() && a.peek() != "via") {
    if (a.accept("vlan")) {
      if (v.vlan) fail("option 'vlan' given twice in one via");
      v.vlan = parseVlan(a.next("VLAN id")).value();
    } else if (a.accept("label")) {
      if (!v.labels.empty()) fail("option 'label' given twice in one via");
      std::string const& t = a.next("MPLS labels");
      size_t start = 0;
      while (true) {
        size_t comma = t.find(',', start);
        std::string one = t.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        v.labels.push_back(uint32_t(parseUnsigned(one, "MPLS label", Agent::kMaxMplsLabel)));
        if (comma == std::string::npos) break;
        start = comma + 1;
      }
    } else if (a.accept("backup")) {
      if (v.backup) fail("option 'backup' given twice in one via");
      v.backup = true;
    } else {
      fail("expected vlan, label, backup or via, got '" + a.peek() + "'");
    }
  }
  return v;
}

std::vector<Agent::Via> parseVias(Words& a) {
  std::vector<Agent::Via> vias;
  do vias.push_back(parseVia(a));
  while (a.more());
  return vias;
}

std::vector<Nollo::IntfId> parsePorts(Words& a) {
  std::vector<Nollo::IntfId> ports;
  do ports.emplace_back(a.next("port name"));
  while (a.more());
  return ports;
}

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
  // "inf", "1e308" and the like would carry the loop's clock past where a
  // timer can still be told from the next one (or to infinity).
  v *= scale;
  if (!(v >= 0) || !std::isfinite(v)) fail("bad duration '" + text + "'");
  if (v > kMaxDuration)
    fail("duration '" + text + "' is longer than " + std::to_string(int64_t(kMaxDuration)) + "s");
  return v;
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

void ScenarioRunner::checkText(std::string const& line) {
  // Names end up in the chip, the logs and JSON shows: a statement is text,
  // UTF-8 without control characters (tabs and a line's CR aside). The
  // message names the byte's column, never the byte itself.
  for (size_t i = 0; i < line.size();) {
    auto b = static_cast<unsigned char>(line[i]);
    if ((b < 0x20 && b != '\t' && b != '\r' && b != '\n') || b == 0x7f) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "%02X", b);
      fail(std::string("control character U+00") + hex + " at column " + std::to_string(i + 1));
    }
    size_t n = utf8SequenceLength(line, i);
    if (n == 0) fail("invalid UTF-8 at column " + std::to_string(i + 1));
    i += n;
  }
}

bool ScenarioRunner::runLine(std::string const& line, size_t lineNo) {
  bool ok = true;
  try {
    checkText(line);
    auto w = words(line);
    if (w.empty()) return true;
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
  if (verb == "routing") {
    Kor::VrfName vrf(a.next("VRF name"));
    bool on = parseOnOff(a.next("on or off"));
    bool v4 = true, v6 = true;
    if (a.accept("ipv4")) v6 = false;
    else if (a.accept("ipv6")) v4 = false;
    a.end();
    return agent_->routingIs(vrf, v4, v6, on);
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
    if (knob == "maxEcmp") return agent_->maxEcmpIs(uint32_t(parseUnsigned(value, "path count", UINT32_MAX)));
    if (knob == "adjSharing") {
      if (value == "default") return agent_->adjSharingIs(Routing::Hardware::AdjSharing::platformDefault);
      return agent_->adjSharingIs(parseOnOff(value) ? Routing::Hardware::AdjSharing::on
                                                    : Routing::Hardware::AdjSharing::off);
    }
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
    std::string op = a.next("add, del, up, down or vlan");
    Nollo::IntfId intf(a.next("interface name"));
    if (op == "del" || op == "up" || op == "down") {
      a.end();
      if (op == "del") return agent_->intfDel(intf);
      return agent_->intfLinkIs(intf, op == "up");
    }
    if (op == "vlan") {
      std::string const& t = a.next("VLAN id or none");
      std::optional<Kor::VlanId> vlan;
      if (t != "none") vlan = parseVlan(t);
      a.end();
      return agent_->intfVlanIs(intf, vlan);
    }
    if (op != "add") fail("expected add, del, up, down or vlan, got '" + op + "'");
    std::optional<Kor::VrfName> vrf;
    std::optional<Kor::VlanId> vlan;
    bool routed = false, up = true;
    while (a.more()) {
      if (a.option("vrf")) {
        vrf = Kor::VrfName(a.next("VRF name"));
      } else if (a.option("vlan")) {
        vlan = parseVlan(a.next("VLAN id"));
      } else if (a.option("routed")) {
        routed = true;
      } else if (a.option("down")) {
        up = false;
      } else {
        a.end();
      }
    }
    return agent_->intfAdd(intf, vrf, vlan, routed, up);
  }
  if (verb == "lag") {
    std::string op = a.next("add or del");
    Nollo::IntfId lag(a.next("port-channel name"));
    auto ports = parsePorts(a);
    if (op == "add") return agent_->lagAdd(lag, ports);
    if (op == "del") return agent_->lagDel(lag, ports);
    fail("expected add or del, got '" + op + "'");
  }
  if (verb == "mac") {
    std::string op = a.next("add, move or del");
    Kor::VlanId vlan = parseVlan(a.next("VLAN id"));
    Nollo::EthAddr mac(a.next("MAC address"));
    if (op == "del") {
      a.end();
      return agent_->macDel(vlan, mac);
    }
    if (op != "add" && op != "move") fail("expected add, move or del, got '" + op + "'");
    Nollo::IntfId intf(a.next("interface name"));
    a.end();
    if (op == "add") return agent_->macAdd(vlan, mac, intf);
    return agent_->macMove(vlan, mac, intf);
  }
  if (verb == "env") {
    std::string name = a.next("variable name");
    std::string value = a.next("value or -");
    a.end();
    if (value == "-") return Agent::envIs(name, std::nullopt);
    return Agent::envIs(name, value);
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
    std::string op = a.next("add, update or del");
    uint64_t id = parseUnsigned(a.next("FEC id"), "FEC id", Agent::kRouteSourceFecBase - 1);
    if (op == "del") {
      a.end();
      return agent_->fecDel(id);
    }
    if (op == "update") return agent_->fecUpdate(id, parseVias(a));
    if (op != "add") fail("expected add, update or del, got '" + op + "'");
    Kor::VrfName vrf("default");
    if (a.accept("vrf")) vrf = Kor::VrfName(a.next("VRF name"));
    return agent_->fecAdd(id, parseVias(a), vrf);
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
    std::string op = a.next("capacity, em or fault");
    if (op == "em") {
      std::vector<uint32_t> bits;
      if (a.accept("none")) {
        a.end();
      } else {
        do bits.push_back(uint32_t(parseUnsigned(a.next("prefix lengths or none"), "prefix length", 128)));
        while (a.more());
      }
      return agent_->exactMatchLengthsIs(bits);
    }
    if (op == "capacity") {
      std::string table = a.next("table name");
      uint64_t n = parseUnsigned(a.next("capacity"), "capacity");
      a.end();
      if (!agent_->chip()->table(table)) fail("unknown chip table '" + table + "'");
      agent_->chip()->table(table)->capacityIs(n);
      return agent_->chipRulesChanged();
    }
    if (op != "fault") fail("expected capacity, em or fault, got '" + op + "'");
    std::string kind = a.next("object kind, rate or clear");
    if (kind == "clear") {
      a.end();
      agent_->chip()->injector().faultsDelAll();
      return agent_->chipRulesChanged();
    }
    if (kind == "rate") {
      double p = parseNumber(a.next("rate"), "rate");
      if (p < 0 || p > 1) fail("bad rate '" + w[3] + "': must be 0..1");
      a.keyword("seed");
      uint64_t seed = parseUnsigned(a.next("seed"), "seed");
      SoftChip::ChipAnswer ans = a.more() ? parseAnswer(a.next("answer")) : SoftChip::ChipAnswer::fail;
      a.end();
      agent_->chip()->injector().randomFaultIs(p, seed, ans);
      return agent_->chipRulesChanged();
    }
    if (!agent_->chip()->table(kind)) fail("unknown chip table '" + kind + "'");
    std::string t = a.next("answer or object key");
    if (isAnswer(t) && !a.more()) {
      agent_->chip()->injector().kindFaultIs(kind, parseAnswer(t));
      return agent_->chipRulesChanged();
    }
    SoftChip::ChipAnswer ans = parseAnswer(a.next("answer"));
    a.end();
    agent_->chip()->injector().objectFaultIs(kind, t, ans);
    return agent_->chipRulesChanged();
  }
  if (verb == "show") {
    std::string what = a.next("what to show");
    if (what == "route") {
      Kor::VrfName vrf(a.next("VRF name"));
      Nollo::IpGenAddr addr(a.next("IP address"));
      bool json = a.accept("json");
      a.end();
      std::string shown = agent_->showRouteLookup(vrf, addr, json);
      agent_->drainEvents(*out_);
      *out_ << shown;
      return;
    }
    bool json = a.accept("json");
    a.end();
    if (!Agent::showKnown(what)) fail("unknown show '" + what + "'");
    std::string shown = agent_->show(what, json);
    agent_->drainEvents(*out_);  // what the statement traced comes before its answer
    *out_ << shown;
    return;
  }
  if (verb == "cmd") {
    // A command code and at most one argument (a key, or 'a' for all).
    std::string text = a.next("command code");
    if (a.more()) text += " " + a.next("argument");
    a.end();
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
    if (!a.more()) return agent_->restart();
    // `restart with STATEMENT`: an input changes while the library is down,
    // as another agent may change it then; the new run is the first to see
    // it. Only input statements: the rest need the library or its loop.
    a.keyword("with");
    std::vector<std::string> const inner(w.begin() + 2, w.end());
    if (inner.empty()) fail("restart with: missing statement");
    static char const* const inputs[] = {"vrf", "routing", "intf", "lag", "mac", "arp", "fec", "route"};
    if (std::none_of(std::begin(inputs), std::end(inputs), [&](char const* v) { return inner[0] == v; }))
      fail("restart with: '" + inner[0] + "' is not an input statement (vrf, routing, intf, lag, mac, arp, fec, route)");
    // Input changes are all-or-nothing: a refused one leaves the inputs as
    // they were, and the restart over unchanged inputs claims the chip back
    // without a write.
    std::string refused;
    agent_->restart([&] {
      try {
        doStatement(inner);
      } catch (std::exception const& e) {
        refused = e.what();
      }
    });
    if (!refused.empty()) fail("restart with: the library restarted, the statement was refused: " + refused);
    return;
  }
  if (verb == "reload") {
    // The configuration file again: its difference to what was applied.
    a.end();
    *out_ << agent_->reload();
    return;
  }
  if (verb == "echo") {
    for (size_t i = 1; i < w.size(); ++i) *out_ << (i > 1 ? " " : "") << w[i];
    *out_ << "\n";
    return;
  }
  fail("unknown statement '" + verb + "'");
}

}  // namespace KorAgent
