#pragma once
// The neighbour machine of one VRF, one per address family: ArpSm (IPv4,
// trace "KorArpSm") and Ip6NeighSm (IPv6, trace "KorIp6NeighborSm").
// Created and owned by the VRF's VrfRoot.
//
// Fed by the VRF root with the shared ARP / neighbour table's entries of this
// VRF (`arpEntryIs` / `arpEntryDel`; every entry carries arpQuillVrfId), it
// keeps them as its input view and turns the resolved ones, with the MAC
// table, into the VRF's next-hop list (VrfL3Status::nextHopList for IPv4,
// nextHop6List for IPv6) through one NeighIntfSmT per routed interface with
// a VLAN id. It owns the directory `arpEntryTable` (address -> interfaces).
// Entries given before initialization (or before the shared table is ready)
// are kept and replayed by handleInitialized (or when the table turns ready).
//
// It watches the interface-VLAN table (an interface's VLAN comes from there;
// a VLAN interface without an entry uses its own number), the MAC table's
// per-VLAN children, the VXLAN learned-host table, the common data's LAG
// membership and, for IPv6, which neighbours adjacencies use.
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <type_traits>
#include <vector>

#include "kor/adj/NeighEntryTableT.h"
#include "kor/adj/NeighIntfSmT.h"
#include "kor/records/NextHopList.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "kor/records/VrfL3Status.h"
#include "models/bridging/Status.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/vxlan/VxlanHwStatusDir.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/ArpEntry.h"
#include "quill/ArpKey.h"
#include "quill/ArpTable.h"
#include "vix/HashMap.h"

namespace Kor {

template <class AF>
class NeighSmT : public KorBaseSm {
 public:
  static constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;
  static constexpr uint32_t noArpQuillVrfId = ~0u;
  using Addr = typename AF::Addr;
  using Key = Quill::Arp::ArpKeyT<AF>;
  using ArpTable = Quill::Arp::ArpTableT<AF>;
  using IntfSm = NeighIntfSmT<AF>;
  using EntryTable = NeighEntryTableT<AF>;

  NeighSmT(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
           Vix::Ptr<VrfL3Status> const& vrfL3Status = nullptr,
           Vix::Ptr<Bridging::Status const> const& bridgingStatus = nullptr,
           Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable = nullptr,
           Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir = nullptr,
           Vix::Ptr<ArpTable const> const& arpTable = nullptr);
  ~NeighSmT() override;

  VrfName const& vrfName() const { return vrfName_; }
  Vix::Ptr<VrfL3Status> const& vrfL3Status() const { return vrfL3Status_; }
  Vix::Ptr<Bridging::Status const> const& bridgingStatus() const { return bridgingStatus_; }
  Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable() const { return intfVlanIdTable_; }
  Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir() const { return vxlanHwStatusDir_; }
  Vix::Ptr<ArpTable const> const& arpTable() const { return arpTable_; }

  uint32_t arpQuillVrfId() const { return arpQuillVrfId_; }
  // A new id drops every entry of the old one (and everything built from it).
  void arpQuillVrfIdIs(uint32_t id);

  // The input view: the shared table's entries of this VRF.
  void arpEntryIs(Key const& k, Quill::Arp::ArpEntry const& e);
  void arpEntryDel(Key const& k);
  bool arpEntryHas(Key const& k) const { return arpEntry_.contains(k); }
  Quill::Arp::ArpEntry arpEntry(Key const& k) const;
  size_t arpEntryCount() const { return arpEntry_.size(); }

  // Resolution requests handed on by the VRF root (VrfRootSm::
  // doRequestResolution): addresses of this VRF the ARP agent is asked to
  // resolve in its table of this machine's arpQuillVrfId. A request stays
  // until the table has the address resolved; a new table id drops them all
  // (the VRF root keeps them deferred until the VRF has a table again).
  // False when the address is already requested or resolved.
  bool doRequestResolution(Addr const& a);
  std::set<Addr> const& resolutionRequests() const { return resolutionRequests_; }

  // Processing of one input entry (the IPv6 machine first applies its
  // ping-neighbour filter).
  void addArpEntry(Key const& k, Quill::Arp::ArpEntry const& e);
  void deleteArpEntry(Key const& k);

  Vix::Ptr<EntryTable> const& arpEntryTable() const { return arpEntryTable_; }
  Vix::Ptr<IntfSm> arpIntfSm(Nollo::IntfId const& intf) const;
  std::map<Nollo::IntfId, Vix::Ptr<IntfSm>> const& arpIntfSmMap() const { return arpIntfSm_; }
  // Deletes the interface machine with every address on it.
  void arpIntfSmDel(Nollo::IntfId const& intf);

  // The VLAN of a routed interface, if it has one. Throws Vix::RangeError
  // "VlanId::value < 1 or > 4094 not allowed" for a table value above 4094.
  std::optional<VlanId> intfVlanId(Nollo::IntfId const& intf) const;
  void handleIntfVlanId(Nollo::IntfId const& intf, std::optional<VlanId> oldVlan, std::optional<VlanId> newVlan);
  // Brings the interface machine in line with the interface's current VLAN.
  void handleInternalVlanId(Nollo::IntfId const& intf);
  void handleVlanRoutingEnabled(VlanId vlan);
  void handleFdbStatus(uint16_t fid);
  void handleVxlanFdbStatus();
  void handleLagMembership(Nollo::IntfId const& port);
  // An adjacency started or stopped using addr as next hop.
  void handleNextHopUse(Addr const& addr);
  void handleInitialized() override;
  void handleVerify() override;
  void doCleanup();

  // Whether the shared table has published its contents (true without one).
  bool arpTableReady() const { return !arpTable_ || arpTable_->ready(); }
  // Whether an adjacency of this family uses addr as a next hop.
  bool nextHopUsed(Addr const& addr) const;
  // Skipped-neighbour filter of IPv6: an unused neighbour of the ping kind.
  bool skipUnused(Key const& k, Quill::Arp::ArpEntry const& e) const;

  // The family's next-hop list in the VRF status (written by the interface
  // machines; an empty or null list deletes the address).
  Vix::Ptr<NextHopList> nextHopList(Addr const& addr) const;
  void nextHopListIs(Addr const& addr, Vix::Ptr<NextHopList> const& l);

 private:
  class VixIntfVlanIdTable;
  class VixBridgingStatus;
  class VixVxlanHwStatusDir;
  class VixAcsd;
  class VixArpTable;
  class VixVrfL3Status;

  // Processes the input entries again (all, or those of one interface).
  void replay(std::optional<Nollo::IntfId> intf);
  void unskip(Key const& k);

  VrfName vrfName_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  Vix::Ptr<Bridging::Status const> bridgingStatus_;
  Vix::Ptr<IntfVlanId::Table const> intfVlanIdTable_;
  Vix::Ptr<Vxlan::VxlanHwStatusDir const> vxlanHwStatusDir_;
  Vix::Ptr<ArpTable const> arpTable_;
  uint32_t arpQuillVrfId_ = noArpQuillVrfId;
  Vix::HashMap<Key, Quill::Arp::ArpEntry> arpEntry_;
  // Input entries per interface: a VLAN change of an interface without any
  // costs no walk of the input view.
  Vix::HashMap<Nollo::IntfId, uint32_t> arpEntryPerIntf_;
  // IPv6 ping neighbours skipped while unused, per address.
  std::map<Addr, std::set<Nollo::IntfId>> skippedPing_;
  Vix::Ptr<EntryTable> arpEntryTable_;
  std::map<Nollo::IntfId, Vix::Ptr<IntfSm>> arpIntfSm_;
  std::set<Addr> resolutionRequests_;
  Vix::ReactorSet<NeighSmT> vixReactors_{this};
};

}  // namespace Kor
