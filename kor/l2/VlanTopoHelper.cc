#include "kor/l2/VlanTopoHelper.h"

namespace Kor {

using Bridging::Topology::PortState;

VlanTopoHelper::VlanTopoHelper(Vix::Ptr<VlanHelper> const& vlanHelper, uint32_t maxTopo)
    : TopoHelper("VlanTopoHelper"), vlanHelper_(vlanHelper), maxTopo_(maxTopo) {
  doHelper();
}

bool VlanTopoHelper::doHelper() const {
  if (vlanHelper_) return true;
  korAssert("No Vlan helper");
  return false;
}

bool VlanTopoHelper::forwards(PortState state) { return state == PortState::forwarding; }

void VlanTopoHelper::hwInit() {
  if (doHelper()) vlanHelper_->checkPortStateIs(true);
}

VlanTopoHelper::Topo* VlanTopoHelper::doTopo(int topoId) {
  auto it = topo_.find(topoId);
  return it == topo_.end() ? nullptr : &it->second;
}

int VlanTopoHelper::topoOfVlan(VlanId vlan) const {
  auto it = vlanTopo_.find(vlan);
  return it == vlanTopo_.end() ? 0 : it->second;
}

int VlanTopoHelper::allocTopo(std::string const& name) {
  for (auto const& [id, t] : topo_)
    if (t.name == name) return id;
  for (int id = 1; id <= int(maxTopo_); ++id) {
    if (topo_.count(id)) continue;
    topo_[id].name = name;
    return id;
  }
  return 0;
}

void VlanTopoHelper::freeTopo(std::string const& name) {
  for (auto it = topo_.begin(); it != topo_.end(); ++it) {
    if (it->second.name != name) continue;
    // VLANs still in it leave spanning tree with it.
    for (VlanId vlan : std::set<VlanId>(it->second.vlans)) delVlanFromTopo(it->first, vlan);
    topo_.erase(it);
    return;
  }
}

void VlanTopoHelper::doApplyPort(Topo const& t, Nollo::IntfId const& intf, bool forwarding) {
  for (VlanId vlan : t.vlans) vlanHelper_->doHandlePortState(intf, vlan, forwarding);
}

bool VlanTopoHelper::setStpState(int topoId, Nollo::IntfId const& intf, PortState state) {
  Topo* t = doTopo(topoId);
  if (!t || !doHelper()) return false;
  auto it = t->states.find(intf);
  bool const was = it != t->states.end() && forwards(it->second);
  t->states[intf] = state;
  // learning <-> discarding changes nothing a VLAN holds.
  if (it == t->states.end() || was != forwards(state)) doApplyPort(*t, intf, forwards(state));
  return true;
}

void VlanTopoHelper::clearStpState(int topoId, Nollo::IntfId const& intf) {
  Topo* t = doTopo(topoId);
  if (!t || !doHelper() || !t->states.erase(intf)) return;
  // Out of the topology: blocked in its VLANs, which stay under spanning tree.
  doApplyPort(*t, intf, false);
}

bool VlanTopoHelper::addVlanToTopo(int topoId, VlanId vlan) {
  Topo* t = doTopo(topoId);
  if (!t || !doHelper()) return false;
  if (t->vlans.count(vlan)) return true;
  if (int old = topoOfVlan(vlan)) delVlanFromTopo(old, vlan);
  t->vlans.insert(vlan);
  vlanTopo_[vlan] = topoId;
  vlanHelper_->newPortForwarding(vlan);
  for (auto const& [intf, state] : t->states) vlanHelper_->doHandlePortState(intf, vlan, forwards(state));
  return true;
}

bool VlanTopoHelper::delVlanFromTopo(int topoId, VlanId vlan) {
  Topo* t = doTopo(topoId);
  if (!t || !t->vlans.erase(vlan)) return true;
  vlanTopo_.erase(vlan);
  if (doHelper()) vlanHelper_->portForwardingDel(vlan);
  return true;
}

void VlanTopoHelper::flushTopoPort(int, Nollo::IntfId const&) { ++flushes_; }
void VlanTopoHelper::flushTopoPortVlan(VlanId, Nollo::IntfId const&) { ++flushes_; }
void VlanTopoHelper::flushTopoMacAddr(int) { ++flushes_; }

bool VlanTopoHelper::verify() {
  if (!doHelper()) return false;
  for (auto const& [id, t] : topo_) {
    for (VlanId vlan : t.vlans) {
      if (topoOfVlan(vlan) != id) return false;
      auto pf = vlanHelper_->portForwarding(vlan);
      if (!pf) return false;
      for (auto const& [intf, state] : t.states)
        if (pf->forwarding(intf) != forwards(state)) return false;
    }
  }
  return true;
}

}  // namespace Kor
