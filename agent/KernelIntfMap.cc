#include "agent/KernelIntfMap.h"

#include <algorithm>
#include <stdexcept>

#include "vix/RangeError.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

std::string linkText(KorFeeds::NlLink const& l) {
  return "link '" + l.name + "' (ifindex " + std::to_string(l.ifindex) + ")";
}

// A kernel name that is an interface id by itself.
std::optional<Nollo::IntfId> ownId(std::string const& name) {
  auto id = Nollo::IntfId::parse(name);
  if (!id || id->isNone()) return std::nullopt;
  return id;
}

// A VLAN link whose id comes from its parent (it has no id of its own).
bool parentNamed(KernelIntfMap::Link const& l) { return l.kind == "vlan" && !ownId(l.name); }

std::optional<Nollo::IntfId> subIntfOf(Nollo::IntfId const& p, uint16_t vlan) {
  if (!p.isEthernet() && !p.isPortChannel()) return std::nullopt;
  try {
    switch (p.numberCount()) {
      case 1: return Nollo::IntfId::make(p.kind(), {p.number(0)}, vlan);
      case 2: return Nollo::IntfId::make(p.kind(), {p.number(0), p.number(1)}, vlan);
      case 3: return Nollo::IntfId::make(p.kind(), {p.number(0), p.number(1), p.number(2)}, vlan);
      default: return std::nullopt;
    }
  } catch (Vix::RangeError const&) {
    return std::nullopt;
  }
}

constexpr uint32_t kMaxEthernet = 65535;

}  // namespace

char const* KernelIntfMap::roleName(Role r) {
  switch (r) {
    case Role::interface: return "interface";
    case Role::vrf: return "vrf";
    case Role::skipped: return "skipped";
    case Role::clash: return "clash";
    case Role::waiting: return "waiting";
    case Role::unnamed: return "unnamed";
  }
  return "?";
}

KernelIntfMap::Change KernelIntfMap::linkIs(KorFeeds::NlLink const& l) {
  if (l.name.empty()) fail("link with ifindex " + std::to_string(l.ifindex) + " has no name");
  if (l.ifindex == 0) fail(linkText(l) + ": ifindex 0");
  if (l.master == l.ifindex) fail(linkText(l) + ": its own master");
  if (l.kind == "vlan") {
    if (l.vlanId < 1 || l.vlanId > 4094)
      fail(linkText(l) + ": VLAN id " + std::to_string(l.vlanId) + " outside 1..4094");
    if (l.parent == 0 || l.parent == l.ifindex) fail(linkText(l) + ": VLAN link without a parent");
  }
  if (l.kind == "vrf") {
    if (l.vrfTable == 0) fail(linkText(l) + ": VRF device without a table");
    if (l.vrfTable == kMainTable || l.vrfTable == kLocalTable)
      fail(linkText(l) + ": VRF device on table " + std::to_string(l.vrfTable) + " of the default VRF");
    if (l.name == Kor::VrfName::defaultVrfName) fail(linkText(l) + ": a VRF device cannot be named default");
    if (l.name.size() > Kor::VrfName::maxBytes) fail(linkText(l) + ": VRF name longer than 100 bytes");
  }
  auto [it, added] = links_.try_emplace(l.ifindex);
  Link& r = it->second;
  if (added) {
    r.ifindex = l.ifindex;
    sorted_.insert(std::lower_bound(sorted_.begin(), sorted_.end(), l.ifindex), l.ifindex);
  }
  bool naming = added || r.name != l.name || r.kind != l.kind || r.master != l.master || r.parent != l.parent ||
                r.vlanId != l.vlanId || r.vrfTable != l.vrfTable;
  bool state = r.up != l.up;
  if (naming) {
    r.name = l.name;
    r.kind = l.kind;
    r.master = l.master;
    r.parent = l.parent;
    r.vlanId = l.vlanId;
    r.vrfTable = l.vrfTable;
  }
  r.up = l.up;
  return naming ? Change::naming : state ? Change::state : Change::none;
}

bool KernelIntfMap::linkDel(uint32_t ifindex) {
  auto it = links_.find(ifindex);
  if (it == links_.end()) return false;
  doRelease(it->second);
  if (auto t = tableVrf_.find(it->second.vrfTable); t != tableVrf_.end() && t->second.str() == it->second.name)
    tableVrf_.erase(it->second.vrfTable);
  links_.erase(ifindex);
  sorted_.erase(std::lower_bound(sorted_.begin(), sorted_.end(), ifindex));
  return true;
}

bool KernelIntfMap::doRelease(Link& l) {
  if (l.role != Role::interface) return false;
  auto o = owner_.find(l.intf);
  if (o != owner_.end() && o->second == l.ifindex) owner_.erase(l.intf);
  l.role = Role::unnamed;
  l.intf = Nollo::IntfId();
  return true;
}

KernelIntfMap::Naming KernelIntfMap::derive(Link const& l) const {
  if (l.name == "lo") return {Role::skipped, {}, 0};
  if (l.kind == "vrf") return {Role::vrf, {}, 0};
  if (auto id = ownId(l.name)) return {Role::interface, *id, 0};
  if (l.kind == "vlan") {
    auto p = links_.find(l.parent);
    if (p == links_.end()) return {Role::waiting, {}, l.parent};
    Link const& parent = p->second;
    if (parent.kind == "bridge") return {Role::interface, Nollo::IntfId::vlan(l.vlanId), 0};
    if (parent.role == Role::clash || parent.role == Role::waiting) return {Role::waiting, {}, l.parent};
    if (parent.role != Role::interface) return {Role::unnamed, {}, l.parent};
    if (auto sub = subIntfOf(parent.intf, l.vlanId)) return {Role::interface, *sub, 0};
    return {Role::unnamed, {}, l.parent};
  }
  if (l.ifindex > kMaxEthernet) return {Role::unnamed, {}, 0};
  return {Role::interface, Nollo::IntfId::ethernet(l.ifindex), 0};
}

void KernelIntfMap::doName() {
  // Links named by their parent come after the others, so they see their
  // parent's id of this pass. An id a link gives up in one round is taken
  // by a clashing link in the next.
  for (int round = 0; round < 4; ++round) {
    bool released = false;
    for (int pass = 0; pass < 2; ++pass) {
      for (uint32_t ifindex : sorted_) {
        Link& l = links_.find(ifindex)->second;
        if (parentNamed(l) != (pass == 1)) continue;
        Naming n = derive(l);
        if (n.role != Role::interface) {
          released |= doRelease(l);
          l.role = n.role;
          l.other = n.other;
          continue;
        }
        if (l.role == Role::interface && l.intf == n.intf) continue;
        released |= doRelease(l);
        auto o = owner_.find(n.intf);
        if (o == owner_.end()) {
          owner_.try_emplace(n.intf, ifindex);
          l.role = Role::interface;
          l.intf = n.intf;
          l.other = 0;
        } else {
          l.role = Role::clash;
          l.other = o->second;
        }
      }
    }
    if (!released) break;
  }
  tableVrf_.clear();
  for (uint32_t ifindex : sorted_) {
    Link const& l = links_.find(ifindex)->second;
    if (l.role == Role::vrf) tableVrf_.try_emplace(l.vrfTable, Kor::VrfName(l.name));
  }
}

KernelIntfMap::Link const* KernelIntfMap::link(uint32_t ifindex) const {
  auto it = links_.find(ifindex);
  return it == links_.end() ? nullptr : &it->second;
}

std::optional<Nollo::IntfId> KernelIntfMap::intfOf(uint32_t ifindex) const {
  auto it = links_.find(ifindex);
  if (it == links_.end()) {
    if (ifindex == 0 || ifindex > kMaxEthernet) return std::nullopt;
    return Nollo::IntfId::ethernet(ifindex);
  }
  if (it->second.role != Role::interface) return std::nullopt;
  return it->second.intf;
}

std::optional<uint32_t> KernelIntfMap::ifindexOf(Nollo::IntfId const& intf) const {
  auto it = owner_.find(intf);
  if (it == owner_.end()) return std::nullopt;
  return it->second;
}

std::string const* KernelIntfMap::nameOf(uint32_t ifindex) const {
  auto const* l = link(ifindex);
  return l ? &l->name : nullptr;
}

std::map<uint32_t, std::string> KernelIntfMap::tableVrfs() const {
  std::map<uint32_t, std::string> m;
  for (auto const& [table, vrf] : tableVrf_) m.emplace(table, vrf.str());
  return m;
}

std::optional<Kor::VrfName> KernelIntfMap::vrfOfTable(uint32_t table) const {
  if (table == kMainTable || table == kLocalTable) return Kor::VrfName(Kor::VrfName::defaultVrfName);
  auto it = tableVrf_.find(table);
  if (it == tableVrf_.end()) return std::nullopt;
  return it->second;
}

bool KernelIntfMap::isVrfDevice(uint32_t ifindex) const {
  auto const* l = link(ifindex);
  return l && l->role == Role::vrf;
}

std::optional<Kor::VrfName> KernelIntfMap::vrfOf(uint32_t ifindex) const {
  auto const* l = link(ifindex);
  if (!l || !l->master || !isVrfDevice(l->master)) return std::nullopt;
  return Kor::VrfName(link(l->master)->name);
}

bool KernelIntfMap::isPortOfMaster(uint32_t ifindex) const {
  auto const* l = link(ifindex);
  return l && l->master && !isVrfDevice(l->master);
}

}  // namespace KorAgent
