#include "softchip/l2/SoftTopoHelper.h"

#include "softchip/l2/StpChip.h"

namespace SoftChip {

bool SoftTopoHelper::verify() {
  // Every port state belongs to a topology the chip holds, and no VLAN is in two.
  auto const& topos = chip_->topoTable().entries();
  for (auto const& [key, state] : chip_->stpStateTable().entries())
    if (!topos.count(key.topoId)) return false;
  std::bitset<4096> seen;
  for (auto const& [id, topo] : topos) {
    if ((seen & topo.vlans).any()) return false;
    seen |= topo.vlans;
  }
  return true;
}

uint32_t SoftTopoHelper::maxTopo() { return uint32_t(chip_->topoTable().capacity()); }

int SoftTopoHelper::allocTopo(std::string const& name) {
  auto& table = chip_->topoTable();
  for (auto const& [id, topo] : table.entries()) {
    // Held from an earlier run: claimed back as it is.
    if (topo.name == name) return id;
  }
  for (int id = 1; id <= int(maxTopo()); ++id) {
    if (table.has(id)) continue;
    ChipTopo fresh;
    fresh.name = name;
    return table.write(id, fresh) == ChipAnswer::success ? id : 0;
  }
  return 0;
}

void SoftTopoHelper::freeTopo(std::string const& name) {
  auto& table = chip_->topoTable();
  for (auto const& [id, topo] : table.entries()) {
    if (topo.name == name) {
      table.erase(id);
      return;
    }
  }
}

bool SoftTopoHelper::setStpState(int topoId, Nollo::IntfId const& intf, Bridging::Topology::PortState state) {
  if (!chip_->topoTable().has(topoId)) return false;
  // A state the chip already holds (claimed back after a restart) is not rewritten.
  StpStateKey key{topoId, intf};
  if (auto const* held = chip_->stpStateTable().find(key); held && *held == state) return true;
  return chip_->stpStateTable().write(key, state) == ChipAnswer::success;
}

void SoftTopoHelper::clearStpState(int topoId, Nollo::IntfId const& intf) {
  chip_->stpStateTable().erase(StpStateKey{topoId, intf});
}

bool SoftTopoHelper::addVlanToTopo(int topoId, Kor::VlanId vlan) {
  auto& table = chip_->topoTable();
  ChipTopo const* t = table.find(topoId);
  if (!t) return false;
  if (t->vlans[vlan.value()]) return true;
  ChipTopo next = *t;
  next.vlans[vlan.value()] = true;
  return table.write(topoId, next) == ChipAnswer::success;
}

bool SoftTopoHelper::delVlanFromTopo(int topoId, Kor::VlanId vlan) {
  auto& table = chip_->topoTable();
  ChipTopo const* t = table.find(topoId);
  if (!t || !t->vlans[vlan.value()]) return true;
  ChipTopo next = *t;
  next.vlans[vlan.value()] = false;
  return table.write(topoId, next) == ChipAnswer::success;
}

void SoftTopoHelper::flushTopoPort(int topo, Nollo::IntfId const& intf) { chip_->topoFlushInc(topo, intf); }

void SoftTopoHelper::flushTopoPortVlan(Kor::VlanId mappedVlan, Nollo::IntfId const& intf) {
  chip_->vlanFlushInc(mappedVlan, intf);
}

void SoftTopoHelper::flushTopoMacAddr(int topo) { chip_->topoMacFlushInc(topo); }

}  // namespace SoftChip
