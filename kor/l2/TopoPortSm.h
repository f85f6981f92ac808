#pragma once
// One port (or port channel) of one spanning-tree topology, created by its
// TopoSm while the protocol reports the port in that topology. Holds the last
// state reported for the port: a report equal to it is skipped, so the
// platform sees one setStpState per change. A port that is a member of a LAG
// keeps its own report but is not set by it: it carries the LAG's state
// (TopoSm::handlePortToLag) until it leaves the LAG, then its own again.
#include <optional>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorExport.h"
#include "models/bridging/topology/PortState.h"
#include "nollo/IntfId.h"

namespace Kor {

class TopoSm;

class KOR_EXPORT TopoPortSm : public KorBaseSm {
 public:
  TopoPortSm(Vix::Ptr<KorCommonSmData> const& acsd, TopoSm* topoSm, Nollo::IntfId intf);

  Nollo::IntfId const& intf() const { return intf_; }
  // The state last reported for the port; none before the first report.
  std::optional<Bridging::Topology::PortState> const& lastReported() const { return lastReported_; }

  void doSetStpState(Nollo::IntfId const& intf, Bridging::Topology::PortState state);
  // The protocol asked to flush the MACs learned on the port in the topology.
  void handleFdbFlush();

 private:
  TopoSm* topoSm_;
  Nollo::IntfId intf_;
  std::optional<Bridging::Topology::PortState> lastReported_;
};

}  // namespace Kor
