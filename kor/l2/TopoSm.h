#pragma once
// One spanning-tree topology (instance), created by StpSm while the
// configuration names it: its hardware id (topoId, from the platform's
// allocTopo; 0 while it waits for one because the platform holds maxTopo
// topologies already), and one TopoPortSm per port the protocol reports in
// it. Owns what the platform holds of the topology's port states:
// wantState is what each port should have (its report, or its LAG's state
// while it is a LAG member), hwState what the platform took. A write the
// platform refuses stays in wantState only and is asked again by doRetry
// (on the next change, allocation or verification pass); an equal one is
// never written twice. Fed by StpSm (instance status, LAG changes).
#include <cstddef>
#include <map>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorExport.h"
#include "kor/l2/TopoPortSm.h"
#include "models/bridging/topology/PortState.h"
#include "nollo/IntfId.h"

namespace Kor {

class StpSm;

class KOR_EXPORT TopoSm : public KorBaseSm {
 public:
  using PortStates = std::map<Nollo::IntfId, Bridging::Topology::PortState>;

  TopoSm(Vix::Ptr<KorCommonSmData> const& acsd, StpSm* stpSm, std::string topoName);
  ~TopoSm() override;

  std::string const& topoName() const { return topoName_; }
  int topoId() const { return topoId_; }
  StpSm* stpSm() const { return stpSm_; }
  TopoPortSm* topoPortSm(Nollo::IntfId const& intf) const;
  std::map<Nollo::IntfId, Vix::Ptr<TopoPortSm>> const& topoPortSmMap() const { return topoPortSm_; }
  PortStates const& wantState() const { return wantState_; }
  PortStates const& hwState() const { return hwState_; }
  // Ports whose wanted state the platform does not hold yet.
  size_t pendingCount() const;

  // Takes its hardware id, maps its VLANs, creates its port machines.
  void handleInitialized() override;
  void handleTopoPortChange(Nollo::IntfId const& intf);
  void handlePortToLag(Nollo::IntfId const& intf);

  // Asks for a hardware id if it has none; with one, maps the VLANs and
  // writes the states waiting for it. False: still waiting.
  bool doAlloc();
  void doWriteState(Nollo::IntfId const& intf, Bridging::Topology::PortState state);
  // The LAG's reported state onto every member port of it.
  void doApplyLagState(Nollo::IntfId const& lag);
  void doRetry();
  // Before it goes: its port states out of the platform, its MACs flushed,
  // its hardware id freed.
  void doCleanup();

 private:
  void doClearState(Nollo::IntfId const& intf);

  StpSm* stpSm_;
  std::string topoName_;
  int topoId_ = 0;
  std::map<Nollo::IntfId, Vix::Ptr<TopoPortSm>> topoPortSm_;
  PortStates wantState_;
  PortStates hwState_;
  // The LAG each port was last seen in, to tell a leaving port its LAG.
  std::map<Nollo::IntfId, Nollo::IntfId> lagOf_;
};

}  // namespace Kor
