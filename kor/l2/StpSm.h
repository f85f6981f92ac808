#pragma once
// Applies the spanning-tree protocol's results to the platform (trace
// "KorStpSm"). Follows the topology configuration (topologies, VLAN ->
// topology map, BPDU trapping, pvst), the protocol's per-instance status
// (port states, flush requests) and the common data (operational mode, LAG
// membership); keeps one TopoSm per configured topology and pushes port
// states, VLAN-to-topology membership and MAC flushes through the
// TopoHelper.
//
// Invariants: a VLAN is in at most one topology's mappedVlan set, the one
// vlanToTopoSmMap names, and only of a topology that has a TopoSm. At most
// maxTopo topologies hold a hardware id; one configured beyond that waits
// (topoId 0, logged) and takes the next id freed, in name order - it is
// never dropped.
//
// defaultTopo: the VLANs vidToTopo does not name belong to the topology of
// that name (once it is configured); a VLAN mapped elsewhere leaves it, one
// whose mapping goes returns to it. Empty, they are under no topology.
//
// Operational mode: in tap-aggregation mode spanning tree is set aside: the
// regular topologies are deleted from the platform, one topology
// "TapAggTopo" holds every VLAN (1-4094) with every known port forwarding
// (the ports the protocol reports in any topology, the common data's
// interfaces and LAG members; an interface that appears later joins them),
// and the regular handlers ignore their events. Going back deletes it and rebuilds the regular topologies from
// the configuration and the protocol's status, as a start does. Moving
// between two modes that are both regular (normal, diagnostic...) changes
// nothing on the platform.
#include <bitset>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "kor/common/HwOperationalMode.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "kor/helpers/TopoHelper.h"
#include "kor/l2/TopoSm.h"
#include "kor/l2/TopoToVlanMap.h"
#include "models/bridging/topology/Config.h"
#include "models/bridging/topology/Status.h"
#include "vix/ReactorSet.h"

namespace Kor {

class KOR_EXPORT StpSm : public KorBaseSm {
 public:
  static constexpr char const* kTapAggTopo = "TapAggTopo";

  StpSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::Topology::Config const> const& brTopoConfig,
        Vix::Ptr<Bridging::Topology::Status const> const& brTopoStatus, Vix::Ptr<TopoHelper> const& topoHelper);
  ~StpSm() override;

  Vix::Ptr<Bridging::Topology::Config const> const& brTopoConfig() const { return brTopoConfig_; }
  Vix::Ptr<Bridging::Topology::Status const> const& brTopoStatus() const { return brTopoStatus_; }
  // The protocol's status of one topology; null when it reports none.
  Vix::Ptr<Bridging::Topology::InstStatus const> brTopoInstStatus(std::string const& topo) const;
  Vix::Ptr<TopoHelper> const& topoHelper() const { return topoHelper_; }
  TopoSm* topoSm(std::string const& name) const;
  std::map<std::string, Vix::Ptr<TopoSm>> const& topoSmMap() const { return topoSm_; }
  std::map<std::string, TopoToVlanMap> const& topoToVlanMap() const { return topoToVlanMap_; }
  std::map<VlanId, std::string> const& vlanToTopoSmMap() const { return vlanToTopoSmMap_; }
  std::set<std::pair<VlanId, int>> const& vlanUnmapPending() const { return vlanUnmapPending_; }
  int tapAggTopoId() const { return tapAggTopoId_; }
  // Every known port, and whether the platform took it forwarding in TapAggTopo.
  std::map<Nollo::IntfId, bool> const& tapAggPorts() const { return tapAggPorts_; }
  // The VLANs the platform took into TapAggTopo.
  size_t tapAggVlanCount() const { return tapAggVlans_.count(); }
  HwOperationalMode currentHwOperationalMode() const { return currentHwOperationalMode_; }
  bool tapAggMode() const { return currentHwOperationalMode_ == modeTapAgg; }
  // The topology holding every VLAN the configuration maps to none; empty
  // (the start): such VLANs are under no spanning tree.
  std::string const& defaultTopo() const { return defaultTopo_; }
  void defaultTopoIs(std::string const& name);
  // The topology the VLAN belongs in: its configured one, else defaultTopo.
  std::string wantedTopo(VlanId vlan) const;
  bool configureBpduTrapping() const { return configureBpduTrapping_; }
  bool pvst() const { return pvst_; }

  void handleInitialized() override;
  void handleVerify() override;
  void handleTopoChange(std::string const& name);
  void handleVidToTopoMap(VlanId vlan);
  void handleInstStatus(std::string const& topo);
  void handlePortState(std::string const& topo, Nollo::IntfId const& intf);
  void handleFlushRequest(std::string const& topo, Nollo::IntfId const& intf);
  void handlePortToLag(Nollo::IntfId const& intf);
  void handleIntf(Nollo::IntfId const& intf);
  void handleOperationalMode();
  // Platform hook for BPDU trapping: the helper's bpduTrappingIs, whose
  // default reports the hook unimplemented. Asked only when trapping is
  // configured or was, so a platform without it runs without trapping.
  virtual void handleBpduTrapping();
  void handlePvst();

  // A hardware id for the topology, within maxTopo; 0: it waits.
  int doAllocTopo(std::string const& name);
  // The topology's mapped VLANs the platform does not hold yet, written.
  void doSyncVlans(std::string const& name);
  void doRequestVerify();
  // Maps every VLAN that belongs in the topology (its machine was just made).
  void doMapVlansOf(std::string const& name);

 private:
  class VixConfig;
  class VixStatus;
  class VixInstStatus;
  class VixCommonData;

  void doCleanup(HwOperationalMode oldMode);
  void doSetupRegular();
  void doSetupTapAgg();
  // What TapAggTopo lacks (its id, VLANs, forwarding ports), asked again.
  void doSyncTapAgg();
  void doTapAggPortAdd(Nollo::IntfId const& intf);
  void doDeleteTopo(std::string const& name);
  void doAllocWaiting();
  void doUnmapVlan(VlanId vlan);

  Vix::Ptr<Bridging::Topology::Config const> brTopoConfig_;
  Vix::Ptr<Bridging::Topology::Status const> brTopoStatus_;
  Vix::Ptr<TopoHelper> topoHelper_;
  std::map<std::string, Vix::Ptr<TopoSm>> topoSm_;
  std::map<std::string, TopoToVlanMap> topoToVlanMap_;
  std::map<VlanId, std::string> vlanToTopoSmMap_;
  // (VLAN, hardware topology id) pairs: VLANs moved away whose removal from
  // that old topology the platform refused, asked again on each
  // verification pass. Keyed by both: a VLAN moved on again may wait to
  // leave two topologies, and forgetting the first would leave it there.
  std::set<std::pair<VlanId, int>> vlanUnmapPending_;
  int tapAggTopoId_ = 0;
  std::bitset<VlanId::max + 1> tapAggVlans_;
  std::map<Nollo::IntfId, bool> tapAggPorts_;
  std::string defaultTopo_;
  HwOperationalMode currentHwOperationalMode_ = modeNotConfigured;
  bool configureBpduTrapping_ = false;
  bool bpduTrappingAsked_ = false;
  bool pvst_ = false;
  std::map<std::string, VixInstStatus*> instReactors_;
  Vix::ReactorSet<StpSm> vixReactors_{this};
};

// Refuses a missing input ("null ValidPtr") before anything is built.
KOR_EXPORT Vix::Ptr<StpSm> stpSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                        Vix::Ptr<Bridging::Topology::Config const> const& brTopoConfig,
                                        Vix::Ptr<Bridging::Topology::Status const> const& brTopoStatus,
                                        Vix::Ptr<TopoHelper> const& topoHelper);

}  // namespace Kor
