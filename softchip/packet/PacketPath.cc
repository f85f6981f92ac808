#include "softchip/packet/PacketPath.h"

#include <algorithm>

#include "softchip/SoftChip.h"

namespace SoftChip {

namespace {

using Mode = Bridging::SwitchportConfig::Mode;

std::string vlanText(uint16_t vlan) {
  std::string s = " vlan ";
  s += std::to_string(vlan);
  return s;
}

std::string portReason(char const* lead, Nollo::IntfId const& port, char const* what, uint16_t vlan) {
  std::string s = lead;
  s += port.str();
  s += what;
  s += vlanText(vlan);
  return s;
}

}  // namespace

PacketPath::PortToLag PacketPath::lagsHeld() const {
  PortToLag out;
  for (auto const& [lag, ports] : chip_.lag().lagTable().entries())
    for (auto const& p : ports) out.emplace(p, lag);
  return out;
}

std::string PacketPath::doClassify(Frame const& frame, Classified& c) const {
  auto const* pv = chip_.vlan().portVlanTable().find(frame.inPort);
  if (!pv) {
    std::string s = "unknown port ";
    s += frame.inPort.str();
    return s;
  }
  c.payload = frame.tags;
  c.vlan = pv->defaultVlan;
  // A tunnel port carries the customer's frame whole, whatever it holds.
  c.tunnel = pv->tagging == Mode::dot1qTunnel || pv->tpid.dot1QTunnel();
  if (c.tunnel) return {};
  bool const ownTag = !c.payload.empty() && c.payload.front().tpid == pv->tpid.hwVlanTpid();
  if (!ownTag) return {};
  uint16_t const vid = c.payload.front().vid;
  c.payload.erase(c.payload.begin());
  if (vid == 0) return {};  // priority tag: untagged for bridging
  if (pv->tagging == Mode::access) {
    std::string s = "tagged frame on access port ";
    s += frame.inPort.str();
    return s;
  }
  c.vlan = vid;
  c.tagged = true;
  return {};
}

uint16_t PacketPath::doTranslateIngress(Nollo::IntfId const& port, Classified const& c) const {
  auto const& t = chip_.xlate().ingressTable();
  if (!c.tagged) {
    auto const* m = t.find(XlateEntryKey{port, true, Bridging::VlanXlateKey(c.vlan)});
    return m ? *m : c.vlan;
  }
  if (!c.payload.empty()) {
    if (auto const* m = t.find(XlateEntryKey{port, false, Bridging::VlanXlateKey(c.vlan, c.payload.front().vid)}))
      return *m;
  }
  auto const* m = t.find(XlateEntryKey{port, false, Bridging::VlanXlateKey(c.vlan)});
  return m ? *m : c.vlan;
}

std::set<Nollo::IntfId> PacketPath::doLookupDestinations(Frame const&, uint16_t, ChipVlan const& vlan) const {
  // The MAC table's lookup (frame.dst in the filtering database) goes here:
  // a known unicast destination narrows the set to its port; the rest floods.
  return vlan.egress;
}

std::optional<EgressCopy> PacketPath::doEgress(Nollo::IntfId const& port, Nollo::IntfId const& lag, uint16_t vlan,
                                               ChipVlan const& row, std::vector<FrameTag> const& payload,
                                               std::string& why) const {
  if (!row.egress.contains(port)) {
    why = portReason("port ", port, " not in", vlan);
    return std::nullopt;
  }
  if (!chip_.stp().forwarding(port, Kor::VlanId(vlan))) {
    why = portReason("port ", port, " not forwarding in", vlan);
    return std::nullopt;
  }
  auto const* pv = chip_.vlan().portVlanTable().find(port);
  uint16_t const tpid = pv ? pv->tpid.hwVlanTpid() : Kor::KorPortVlanTpidData::defaultTpid;
  auto const member = row.members.find(port);
  bool const tagged = member != row.members.end() && member->second;
  auto const& t = chip_.xlate().egressTable();
  EgressCopy copy{port, lag, {}};
  if (tagged) {
    uint16_t wire = vlan;
    uint16_t const* m = nullptr;
    if (!payload.empty()) m = t.find(XlateEntryKey{port, false, Bridging::VlanXlateKey(vlan, payload.front().vid)});
    if (!m) m = t.find(XlateEntryKey{port, false, Bridging::VlanXlateKey(vlan)});
    if (m) wire = *m;
    copy.tags.push_back(FrameTag{tpid, wire});
  } else if (auto const* m = t.find(XlateEntryKey{port, true, Bridging::VlanXlateKey(vlan)})) {
    copy.tags.push_back(FrameTag{tpid, *m});
  }
  copy.tags.insert(copy.tags.end(), payload.begin(), payload.end());
  return copy;
}

PacketResult PacketPath::walk(Frame const& frame) const {
  PacketResult r;
  Classified c;
  r.drop = doClassify(frame, c);
  if (!r.drop.empty()) return r;
  uint16_t const vlan = c.tunnel ? c.vlan : doTranslateIngress(frame.inPort, c);
  // VID 4095 is reserved on the wire: no VLAN of the chip carries it.
  auto const* row = vlan >= Kor::VlanId::min && vlan <= Kor::VlanId::max
                        ? chip_.vlan().vlanTable().find(Kor::VlanId(vlan))
                        : nullptr;
  if (!row) {
    r.drop = "vlan ";
    r.drop += std::to_string(vlan);
    r.drop += " not in chip";
    return r;
  }
  if (!row->ingress.contains(frame.inPort)) {
    r.drop = portReason("ingress port ", frame.inPort, " not in", vlan);
    return r;
  }
  if (!chip_.stp().forwarding(frame.inPort, Kor::VlanId(vlan))) {
    r.drop = portReason("port ", frame.inPort, " not forwarding in", vlan);
    return r;
  }
  r.vlan = vlan;
  auto const* fid = chip_.xlate().vlanFidTable().find(vlan);
  r.fid = fid ? *fid : vlan;

  // Never back where it came from: not the ingress port, not its LAG.
  PortToLag const lags = lagsHeld();
  auto const inLag = lags.find(frame.inPort);
  std::set<Nollo::IntfId> lagsOut;
  // Why each port that was a candidate sent nothing: the first by port
  // names the drop when no copy left at all.
  std::map<Nollo::IntfId, std::string> refused;
  for (auto const& port : doLookupDestinations(frame, *r.fid, *row)) {
    if (port == frame.inPort) continue;
    auto const lag = lags.find(port);
    if (lag != lags.end()) {
      if (inLag == lags.end() || inLag->second != lag->second) lagsOut.insert(lag->second);
      continue;
    }
    std::string why;
    if (auto copy = doEgress(port, {}, vlan, *row, c.payload, why)) r.copies.push_back(std::move(*copy));
    else refused.emplace(port, std::move(why));
  }
  // One copy per LAG, on the member the flow hash picks among all members.
  for (auto const& lag : lagsOut) {
    auto const member = chip_.lag().memberFor(lag, frame.flowHash);
    if (!member) continue;
    std::string why;
    if (auto copy = doEgress(*member, lag, vlan, *row, c.payload, why)) r.copies.push_back(std::move(*copy));
    else refused.emplace(*member, std::move(why));
  }
  std::sort(r.copies.begin(), r.copies.end());
  if (r.copies.empty()) {
    if (!refused.empty()) {
      r.drop = refused.begin()->second;
    } else {
      r.drop = "no egress member in";
      r.drop += vlanText(vlan);
    }
  }
  return r;
}

}  // namespace SoftChip
