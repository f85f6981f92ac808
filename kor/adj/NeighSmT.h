#pragma once
// The neighbour input of one VRF, one machine per address family: ArpSm
// (IPv4, trace "KorArpSm") and Ip6NeighSm (IPv6, trace "KorIp6NeighborSm").
// Created and owned by the VRF's VrfRoot. It knows the id under which the
// shared ARP table files its VRF (arpQuillVrfId) and receives the table's
// entries of that VRF from the VRF root; every entry it holds carries that
// id. For now it keeps the entries it was given; turning them into next-hop
// information for the adjacency layer is the neighbour work still to come.
#include <cstdint>
#include <type_traits>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/ArpEntry.h"
#include "quill/ArpKey.h"
#include "vix/HashMap.h"

namespace Kor {

template <class AF>
class NeighSmT : public KorBaseSm {
 public:
  static constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;
  static constexpr uint32_t noArpQuillVrfId = ~0u;
  using Key = Quill::Arp::ArpKeyT<AF>;

  NeighSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName)
      : KorBaseSm(acsd, isV4 ? "KorArpSm" : "KorIp6NeighborSm"), vrfName_(vrfName) {}

  VrfName const& vrfName() const { return vrfName_; }
  uint32_t arpQuillVrfId() const { return arpQuillVrfId_; }
  void arpQuillVrfIdIs(uint32_t id) {
    if (id == arpQuillVrfId_) return;
    arpQuillVrfId_ = id;
    arpEntry_.clear();
  }

  void arpEntryIs(Key const& k, Quill::Arp::ArpEntry const& e) {
    if (k.vrfId() != arpQuillVrfId_) {
      korAssert("entry.vrfId() == arpQuillVrfId()");
      return;
    }
    arpEntry_.insert_or_assign(k, e);
  }
  void arpEntryDel(Key const& k) { arpEntry_.erase(k); }
  bool arpEntryHas(Key const& k) const { return arpEntry_.contains(k); }
  size_t arpEntryCount() const { return arpEntry_.size(); }

 private:
  VrfName vrfName_;
  uint32_t arpQuillVrfId_ = noArpQuillVrfId;
  Vix::HashMap<Key, Quill::Arp::ArpEntry> arpEntry_;
};

}  // namespace Kor
