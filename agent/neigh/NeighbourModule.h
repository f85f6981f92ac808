#pragma once
// Neighbours, MACs and adjacencies: the ARP and IPv6 neighbour tables (as
// the ARP agent writes them, VRF ids given out in order of first use,
// default 0) and the MAC table (one FdbStatus per VLAN). Its part of the
// library's creation is the one L2 adjacency helper every VRF shares; it is
// started before the common data so it decides the sharing mode and reads
// the chip before any adjacency machine asks it. Shows `adj` and `l2adj`.
#include <cstdint>
#include <map>

#include "agent/AgentModule.h"
#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "models/bridging/Status.h"
#include "nollo/EthAddr.h"
#include "quill/ArpTable.h"
#include "quill/VrfIdMap.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "vix/Ptr.h"

namespace Kor {
class L2AdjHelper;
}

namespace KorAgent {

class NeighbourModule : public AgentModule {
 public:
  explicit NeighbourModule(Agent* agent);

  void arpAdd(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::EthAddr const& mac,
              Nollo::IntfId const& intf);
  // Every entry of the address, whatever interface it was learned on.
  void arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip);
  // The entry of the address on one interface only, found by its key (the
  // kernel source deletes its neighbours so, one lookup each).
  void arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::IntfId const& intf);
  // The MAC table: add needs a new MAC, move and del an existing one.
  void macAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf);
  void macMove(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf);
  void macDel(Kor::VlanId vlan, Nollo::EthAddr const& mac);

  Vix::Ptr<Quill::Arp::VrfIdMap> const& arpVrfIdMap() const { return arpVrfIdMap_; }
  Vix::Ptr<Quill::Arp::ArpTable> const& arpTable() const { return arpTable_; }
  Vix::Ptr<Quill::Arp::NeighTable> const& neighTable() const { return neighTable_; }
  Vix::Ptr<Bridging::Status> const& bridgingStatus() const { return bridgingStatus_; }
  Kor::L2AdjHelper* l2AdjHelper() const { return l2AdjHelper_.ptr(); }
  Vix::Ptr<Kor::L2AdjHelper> const& l2AdjHelperPtr() const { return l2AdjHelper_; }

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void doCreateHelpers() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  uint32_t arpVrfId(Kor::VrfName const& name);
  ShowModel adjShow() const;
  ShowModel l2AdjShow() const;

  // The ARP agent's shared-memory tables and the MAC table (one FdbStatus
  // per VLAN).
  Vix::Ptr<Quill::Arp::VrfIdMap> arpVrfIdMap_;
  Vix::Ptr<Quill::Arp::ArpTable> arpTable_;
  Vix::Ptr<Quill::Arp::NeighTable> neighTable_;
  Vix::Ptr<Bridging::Status> bridgingStatus_;
  Vix::Ptr<Kor::L2AdjHelper> l2AdjHelper_;
  // ARP table VRF ids given out (as the ARP agent does): default is 0.
  std::map<Kor::VrfName, uint32_t> arpVrfIds_;
};

}  // namespace KorAgent
