#pragma once
// The ARP table (IPv4) or neighbour table (IPv6) the ARP agent publishes in
// shared memory: {VRF id, address, interface} -> {MAC, state} for every VRF,
// one notification handleArpEntry(key) per added, changed or deleted entry (a
// deleted entry reads back as ArpEntry{} in state incomplete). `ready` is set
// once the writer has published its initial contents.
#include <string>
#include <utility>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/ArpEntry.h"
#include "quill/ArpKey.h"
#include "vix/Entity.h"

namespace Quill::Arp {

template <class AF>
class ArpTableT : public Vix::Entity {
 public:
  using Key = ArpKeyT<AF>;
  using Entry = ArpEntry;

  class Notifiee : public Vix::NotifieeOf<ArpTableT> {
   public:
    using Vix::NotifieeOf<ArpTableT>::NotifieeOf;
    VIX_KEY_HANDLER(Key, ArpEntry)
    VIX_HANDLER(Ready)
  };
  // The per-key notification under one name for generic readers
  // (Quill::SlicedReader).
  class KeyNotifiee : public Notifiee {
   public:
    using Notifiee::Notifiee;
    void handleArpEntry(Key const& k) override { handleKey(k); }
    virtual void handleKey(Key const& k) = 0;
  };

  ArpTableT() = default;
  explicit ArpTableT(std::string name) : Vix::Entity(std::move(name)) {}

  VIX_HASH_MAP(Key, ArpEntry, arpEntry, ArpEntry)
  VIX_ATTR(bool, ready, Ready)

 public:
  template <class F>
  void forEachKey(F f) const {
    for (auto const& kv : arpEntryMap()) f(kv.first);
  }
};

using ArpTable = ArpTableT<Nollo::Ipv4>;
using NeighTable = ArpTableT<Nollo::Ipv6>;

}  // namespace Quill::Arp
