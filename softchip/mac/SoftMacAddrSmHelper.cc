#include "softchip/mac/SoftMacAddrSmHelper.h"

#include <vector>

namespace SoftChip {

using Bridging::EntryType;

SoftMacAddrSmHelper::SoftMacAddrSmHelper() : learnedTable_(Vix::makePtr<KorTypes::MacTable>("mac/learned")) {}

bool SoftMacAddrSmHelper::learningOn(Nollo::IntfId const& intf) const {
  auto it = learning_.find(intf);
  return it == learning_.end() || it->second;
}

bool SoftMacAddrSmHelper::doPut(Key const& key, Host const& h) {
  returnAssertIs(KorTypes::TableAddStatus::tableAddSuccess);
  if (full(key)) {
    ++counters_.full;
    returnAssertIs(KorTypes::TableAddStatus::tableFull);
    return false;
  }
  hosts_[key] = h;
  ++counters_.adds;
  return true;
}

bool SoftMacAddrSmHelper::learn(Key const& key, Nollo::IntfId const& intf, uint32_t moves) {
  if (!learningOn(intf)) return false;
  auto it = hosts_.find(key);
  // A static entry is the chip's answer for its key: frames do not move it.
  if (it != hosts_.end() && it->second.entryType == EntryType::configuredStaticMac) return false;
  if (!doPut(key, Host{intf, EntryType::learnedDynamicMac, 0})) return false;
  learnedTable_->macEntryIs(Vix::makePtr<KorTypes::MacAddressTableEntry>(key, intf, EntryType::learnedDynamicMac, moves));
  return true;
}

bool SoftMacAddrSmHelper::age(Key const& key) {
  auto it = hosts_.find(key);
  if (it == hosts_.end() || it->second.entryType != EntryType::learnedDynamicMac) return false;
  hosts_.erase(it);
  learnedTable_->macEntryDel(key);
  return true;
}

void SoftMacAddrSmHelper::addHost(Key const& key, Nollo::IntfId const& intf, uint16_t /*vlan*/, bool /*isUpdate*/,
                                  EntryType entryType) {
  doPut(key, Host{intf, entryType, 0});
}

void SoftMacAddrSmHelper::removeHost(Key const& key, EntryType /*entryType*/) {
  if (hosts_.erase(key)) ++counters_.removes;
  // A learned entry the library removed is gone from the chip: it ages.
  learnedTable_->macEntryDel(key);
}

void SoftMacAddrSmHelper::addRemoteHost(Key const& key, Nollo::IntfId const& intf, uint32_t tunnel, uint16_t /*vlan*/,
                                        bool /*isUpdate*/, EntryType entryType, bool /*learnt*/) {
  doPut(key, Host{intf, entryType, tunnel});
}

void SoftMacAddrSmHelper::addLearntLocalAndRemoveRemoteHost(Key const& key, Nollo::IntfId const& intf,
                                                            EntryType entryType) {
  doPut(key, Host{intf, entryType, 0});
}

template <class Match>
void SoftMacAddrSmHelper::doFlush(Match match) {
  std::vector<Key> gone;
  for (auto const& [k, h] : hosts_)
    if (h.entryType == EntryType::learnedDynamicMac && match(k, h)) gone.push_back(k);
  for (auto const& k : gone) {
    hosts_.erase(k);
    learnedTable_->macEntryDel(k);
  }
}

void SoftMacAddrSmHelper::flushAll() {
  ++counters_.flushAll;
  doFlush([](Key const&, Host const&) { return true; });
}

void SoftMacAddrSmHelper::flushVlan(uint16_t vlan) {
  ++counters_.flushVlan;
  doFlush([vlan](Key const& k, Host const&) { return k.vlanId().value() == vlan; });
}

void SoftMacAddrSmHelper::flushVlanPort(int vlan, Nollo::IntfId const& intf) {
  ++counters_.flushPort;
  doFlush([&](Key const& k, Host const& h) { return h.intf == intf && (vlan == 0 || k.vlanId().value() == vlan); });
}

void SoftMacAddrSmHelper::flushVlanLag(int vlan, Nollo::IntfId const& lag) {
  ++counters_.flushLag;
  doFlush([&](Key const& k, Host const& h) { return h.intf == lag && (vlan == 0 || k.vlanId().value() == vlan); });
}

void SoftMacAddrSmHelper::removeLag(Nollo::IntfId const& lag) { flushVlanLag(0, lag); }

}  // namespace SoftChip
