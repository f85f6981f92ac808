#pragma once
// The randomized layer-2 test's own model of the bridge: the configuration
// the test applied through the agent's statements, kept plainly (VLANs,
// switchports, LAG membership, translations, topologies and the protocol's
// port states, the operational mode), and what a frame does over it,
// computed from that configuration alone - never from the library or the
// chip. The frame rules are the packet path's documented ones:
// - a port takes its LAG's switchport and translation configuration (not
//   when the chip leaves it to another agent: then it is in no LAG); a port
//   without a configuration, or removed, is unknown to the chip (nothing
//   enters, nothing leaves);
// - a tag whose TPID is not the port's is payload; a priority tag (VID 0)
//   with it is taken off; an access port drops a frame tagged with its own
//   TPID; a dot1q-tunnel port puts every frame,
//   tags and all, into its access VLAN and never translates on ingress;
// - ingress translation: outer+inner before outer-only for tagged frames,
//   the native pair for untagged ones in its VLAN; a native pair mapping a
//   VLAN to itself is no translation;
// - the port must be a member of the (translated) VLAN and forwarding in it;
// - the frame floods to every other member forwarding in the VLAN, one copy
//   per LAG, never back to the ingress port's LAG; a tagged member sends the
//   (egress-translated) VLAN tag with its own TPID, an untagged one the
//   native pair's tag or none; the payload tags follow;
// - spanning tree: a VLAN in no topology forwards everywhere; in a topology
//   only a port reported forwarding (a LAG member: its LAG's report)
//   passes; tap-aggregation mode forwards everywhere.
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace L2Rand {

struct Tag {
  uint16_t tpid = 0x8100;
  uint16_t vid = 0;
  auto operator<=>(Tag const&) const = default;
};

// "0x8100/10", as failures print it.
inline std::ostream& operator<<(std::ostream& os, Tag const& t) {
  return os << "0x" << std::hex << t.tpid << std::dec << '/' << t.vid;
}

enum class Mode { access, trunk, tunnel };

struct PortCfg {
  Mode mode = Mode::access;
  uint16_t access = 1;
  bool allowedAll = true;
  std::set<uint16_t> allowed;
  uint16_t native = 1;
  uint16_t tpid = 0x8100;
};

// Translation keys: (outer, inner), inner 0 for "any inner tag".
using XlateKey = std::pair<uint16_t, uint16_t>;

struct XlateCfg {
  std::map<XlateKey, uint16_t> ingress, egress;
  std::optional<std::pair<uint16_t, uint16_t>> nativeIngress, nativeEgress;
};

// What one frame does: the VLAN it is bridged in (none: dropped at
// ingress) and its copies, keyed by the port or, for a LAG, the LAG.
struct Outcome {
  std::optional<uint16_t> vlan;
  std::map<std::string, std::vector<Tag>> copies;
};

struct L2Model {
  std::vector<std::string> ports;  // front-panel ports
  std::set<uint16_t> vlans;
  std::map<std::string, PortCfg> switchports;  // Ethernet port or port channel
  std::map<std::string, XlateCfg> xlates;
  std::map<std::string, std::string> lagOf;  // member -> port channel, as the LAG status lists it
  std::set<std::string> unmanaged;           // ports the chip leaves to another agent: in no LAG
  std::set<std::string> gone;                // ports removed from the agent's interfaces
  std::set<std::string> topologies;
  std::map<uint16_t, std::string> vlanTopo;
  std::map<std::pair<std::string, std::string>, std::string> states;  // (intf, topology) -> state
  bool tapAgg = false;

  // The interface whose configuration the port uses.
  std::string source(std::string const& port) const {
    auto it = lagOf.find(port);
    return it == lagOf.end() || unmanaged.count(port) ? port : it->second;
  }
  // A removed port has no configuration in the chip.
  PortCfg const* cfg(std::string const& port) const {
    if (gone.count(port)) return nullptr;
    auto it = switchports.find(source(port));
    return it == switchports.end() ? nullptr : &it->second;
  }
  XlateCfg xlate(std::string const& port) const {
    auto it = xlates.find(source(port));
    return it == xlates.end() ? XlateCfg{} : it->second;
  }
  std::set<std::string> members(std::string const& lag) const {
    std::set<std::string> out;
    for (auto const& [p, l] : lagOf)
      if (l == lag && !unmanaged.count(p)) out.insert(p);
    return out;
  }

  // VLAN -> tagged for the port: access and tunnel ports are untagged in
  // their access VLAN, a trunk tagged in each allowed VLAN but its native.
  std::map<uint16_t, bool> membership(std::string const& port) const {
    std::map<uint16_t, bool> out;
    PortCfg const* c = cfg(port);
    if (!c) return out;
    if (c->mode != Mode::trunk) {
      if (vlans.count(c->access)) out[c->access] = false;
      return out;
    }
    for (uint16_t v : vlans)
      if (c->allowedAll || c->allowed.count(v)) out[v] = v != c->native;
    return out;
  }

  bool forwarding(std::string const& port, uint16_t vlan) const {
    if (tapAgg) return true;
    auto t = vlanTopo.find(vlan);
    if (t == vlanTopo.end()) return true;
    auto s = states.find({source(port), t->second});
    return s != states.end() && s->second == "forwarding";
  }

  // One copy out of `port` in `vlan`, or none.
  std::optional<std::vector<Tag>> egress(std::string const& port, uint16_t vlan, std::vector<Tag> const& payload) const {
    auto m = membership(port);
    auto it = m.find(vlan);
    if (it == m.end() || !forwarding(port, vlan)) return std::nullopt;
    uint16_t tpid = cfg(port)->tpid;
    XlateCfg x = xlate(port);
    std::vector<Tag> tags;
    if (it->second) {
      uint16_t wire = vlan;
      auto k = payload.empty() ? x.egress.end() : x.egress.find({vlan, payload.front().vid});
      if (k == x.egress.end()) k = x.egress.find({vlan, 0});
      if (k != x.egress.end()) wire = k->second;
      tags.push_back({tpid, wire});
    } else if (x.nativeEgress && x.nativeEgress->first == vlan && x.nativeEgress->second != vlan) {
      tags.push_back({tpid, x.nativeEgress->second});
    }
    tags.insert(tags.end(), payload.begin(), payload.end());
    return tags;
  }

  Outcome walk(std::string const& in, std::vector<Tag> const& tags) const {
    Outcome out;
    PortCfg const* c = cfg(in);
    if (!c) return out;
    std::vector<Tag> payload = tags;
    uint16_t vlan = c->mode == Mode::trunk ? c->native : c->access;
    if (c->mode != Mode::tunnel) {
      XlateCfg x = xlate(in);
      bool own = !payload.empty() && payload.front().tpid == c->tpid;
      if (own && payload.front().vid == 0) {
        // A priority tag: taken off, the frame is untagged.
        payload.erase(payload.begin());
        own = false;
      }
      if (own) {
        if (c->mode == Mode::access) return out;
        vlan = payload.front().vid;
        payload.erase(payload.begin());
        auto k = payload.empty() ? x.ingress.end() : x.ingress.find({vlan, payload.front().vid});
        if (k == x.ingress.end()) k = x.ingress.find({vlan, 0});
        if (k != x.ingress.end()) vlan = k->second;
      } else if (x.nativeIngress && x.nativeIngress->first == vlan) {
        vlan = x.nativeIngress->second;
      }
    }
    if (!membership(in).count(vlan) || !forwarding(in, vlan)) return out;
    out.vlan = vlan;
    std::string inSource = source(in);
    std::set<std::string> lagsDone;
    for (auto const& p : ports) {
      if (p == in) continue;
      std::string s = source(p);
      if (s != p && (s == inSource || !lagsDone.insert(s).second)) continue;
      // Members of a LAG share its configuration and states: any one stands
      // for the member the flow hash picks.
      if (auto copy = egress(p, vlan, payload)) out.copies[s] = *copy;
    }
    return out;
  }
};

}  // namespace L2Rand
