#pragma once
// The neighbour machine of one routed interface of a VRF, one per address
// family: ArpIntfSm (IPv4) and NeighIntfSm (IPv6). Created, fed and deleted
// by the family's NeighSmT, which exists while the interface has a VLAN id.
//
// It owns the addresses resolved on its interface (`ipAddrCache`, address ->
// MAC) and their reverse map (`reverseArp`, MAC -> addresses), follows the
// MAC table of its VLAN (`fdbStatus`) and the VXLAN learned hosts
// (`vxlanFdbStatus`), and writes one NextHopInfo per address under its VLAN
// into the VRF's next-hop list. Invariants: an address is in ipAddrCache iff
// it is in reverseArp of its MAC iff the directory lists this interface for
// it; every address of ipAddrCache whose egress is known has its info under
// vlanId() in the next-hop list, and under no other VLAN of this interface.
//
// Interface kinds: a VLAN interface ("Vlan<n>") looks its neighbours' MACs up
// in the MAC table of its VLAN; an Ethernet or port-channel interface (or a
// sub-interface of one) is a routed port, whose neighbours all sit behind
// the port itself. Any other kind is not a valid layer-3 interface.
#include <map>
#include <memory>
#include <optional>

#include "kor/records/NextHopInfo.h"
#include "kor/adj/ReverseArpInfoT.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/VlanId.h"
#include "models/bridging/FdbStatus.h"
#include "models/vxlan/VxlanFdbStatus.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Kor {

template <class AF>
class NeighSmT;

template <class AF>
class NeighIntfSmT : public KorBaseSm {
 public:
  using Addr = typename AF::Addr;
  using ReverseInfo = ReverseArpInfoT<AF>;
  static constexpr bool isV4 = std::is_same_v<AF, Nollo::Ipv4>;

  NeighIntfSmT(NeighSmT<AF>* neighSm, Nollo::IntfId intfId, VlanId vlanId);
  ~NeighIntfSmT() override;

  Nollo::IntfId intfId() const { return intfId_; }
  VlanId vlanId() const { return vlanId_; }
  // Moves every address of the interface to the new VLAN: their info leaves
  // the old VLAN of the next-hop list and is rebuilt from the new VLAN's MAC
  // table.
  void vlanIdIs(VlanId vlan);
  bool routedPort() const;
  bool validL3Intf() const;

  std::map<Addr, Nollo::EthAddr> const& ipAddrCache() const { return ipAddrCache_; }
  bool ipAddrCacheHas(Addr const& a) const { return ipAddrCache_.count(a) != 0; }
  std::map<Nollo::EthAddr, ReverseInfo> const& reverseArpMap() const { return reverseArp_; }
  ReverseInfo const* reverseArp(Nollo::EthAddr const& mac) const;
  Vix::Ptr<Bridging::FdbStatus const> const& fdbStatus() const { return fdbStatus_; }
  Vix::Ptr<Vxlan::VxlanFdbStatus const> const& vxlanFdbStatus() const { return vxlanFdbStatus_; }

  // A new or changed entry (ip resolves to mac on this interface).
  void addArpEntry(Addr const& ip, Nollo::EthAddr const& mac);
  void doAddArpEntry(Addr const& ip, Nollo::EthAddr const& mac);
  void doDeleteArpEntry(Addr const& ip);
  // The MAC table entry of mac in this interface's VLAN was added or changed.
  void handleFdbEntry(Nollo::EthAddr const& mac);
  // ... or removed: its addresses fall back to flooding the VLAN.
  void doDeleteFdbEntry(Nollo::EthAddr const& mac);
  void handleVxlanFdbEntry(Vxlan::MacVlan const& macVlan);
  // `port` joined or left a port channel.
  void handleLagMembership(Nollo::IntfId const& port);
  // Binds the MAC table and VXLAN learned hosts of the current VLAN and
  // re-resolves every address when they changed.
  void doUpdateFdbStatus();
  void handleInitialized() override;
  // Checks this interface's invariants, reports each fault found as a
  // failed verification and returns their number.
  unsigned verify();
  // Deletes every address of the interface.
  void doCleanup();

 private:
  class VixFdbStatus;
  class VixVxlanFdbStatus;

  // Where mac lives, as NextHopInfo; nothing when it cannot be said yet
  // (a VXLAN host whose VTEP is unknown).
  std::optional<NextHopInfo> nextHopInfoFor(Addr const& ip, Nollo::EthAddr const& mac);
  void nextHopInfoIs(Addr const& ip, VlanId vlan, std::optional<NextHopInfo> const& info);
  void reResolve(Nollo::EthAddr const& mac);
  void reResolveAll();
  // Follows the MAC table / VXLAN hosts of the current VLAN; true if changed.
  bool bindFdbStatus();

  NeighSmT<AF>* neighSm_;
  Nollo::IntfId intfId_;
  VlanId vlanId_;
  std::map<Addr, Nollo::EthAddr> ipAddrCache_;
  std::map<Nollo::EthAddr, ReverseInfo> reverseArp_;
  Vix::Ptr<Bridging::FdbStatus const> fdbStatus_;
  Vix::Ptr<Vxlan::VxlanFdbStatus const> vxlanFdbStatus_;
  Vix::ReactorSet<NeighIntfSmT> vixReactors_{this};
  // Attached to the FDB tables of the interface's VLAN while it has one.
  VixFdbStatus* vixFdbStatus_ = nullptr;
  VixVxlanFdbStatus* vixVxlanFdbStatus_ = nullptr;
};

}  // namespace Kor
