#pragma once
// The platform's spanning-tree operations, called by StpSm and its topology
// machines. A topology is a hardware object the platform allocates by name
// (allocTopo answers its id, > 0, or 0 when it has none free); VLANs are
// members of exactly one topology, and each port has a state per topology.
// Writes answer true when the platform took them, false when it refused
// them (full, not ready, failed): the library keeps the wanted state and
// asks again on the next change or verification pass. Every default fails
// loudly: a platform derives this class and overrides what it supports.
#include <cstdint>
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "models/bridging/topology/PortState.h"
#include "nollo/IntfId.h"

namespace Kor {

class KOR_EXPORT TopoHelper : public KorBaseHelper {
 public:
  explicit TopoHelper(std::string name = "TopoHelper") : KorBaseHelper(std::move(name)) {}

  virtual void hwInit() { korAssert("Call to unimplemented function TopoHelper::hwInit"); }
  // The platform's own consistency check of what it holds; false: broken.
  virtual bool verify() {
    korAssert("Call to unimplemented function TopoHelper::verify");
    return false;
  }
  // How many topologies the platform holds at once.
  virtual uint32_t maxTopo() {
    korAssert("Call to unimplemented function TopoHelper::maxTopo");
    return 0;
  }
  // The id of the topology of that name: the one it already has (a restart
  // over a kept platform), or a new one; 0 when none is free.
  virtual int allocTopo(std::string const& /*name*/) {
    korAssert("Call to unimplemented function TopoHelper::allocTopo");
    return 0;
  }
  virtual void freeTopo(std::string const& /*name*/) {
    korAssert("Call to unimplemented function TopoHelper::freeTopo");
  }
  virtual bool setStpState(int /*topoId*/, Nollo::IntfId const& /*intf*/, Bridging::Topology::PortState /*state*/) {
    korAssert("Call to unimplemented function TopoHelper::setStpState");
    return false;
  }
  // The port is in the topology no longer: its state there goes.
  virtual void clearStpState(int /*topoId*/, Nollo::IntfId const& /*intf*/) {
    korAssert("Call to unimplemented function TopoHelper::clearStpState");
  }
  virtual bool addVlanToTopo(int /*topoId*/, VlanId /*vlan*/) {
    korAssert("Call to unimplemented function TopoHelper::addVlanToTopo");
    return false;
  }
  // False: refused, the VLAN is still in the topology (asked again).
  virtual bool delVlanFromTopo(int /*topoId*/, VlanId /*vlan*/) {
    korAssert("Call to unimplemented function TopoHelper::delVlanFromTopo");
    return false;
  }
  // Flushes the MACs learned on the port in every VLAN of the topology.
  virtual void flushTopoPort(int /*topo*/, Nollo::IntfId const& /*intf*/) {
    korAssert("Call to unimplemented function TopoHelper::flushTopoPort");
  }
  // Flushes the MACs learned on the port in one VLAN.
  virtual void flushTopoPortVlan(VlanId /*mappedVlan*/, Nollo::IntfId const& /*intf*/) {
    korAssert("Call to unimplemented function TopoHelper::flushTopoPortVlan");
  }
  // True: the platform flushes per VLAN (flushTopoPortVlan for each VLAN of
  // the topology) rather than per topology (flushTopoPort).
  virtual bool flushTopoPortByVlan() {
    korAssert("Call to unimplemented function TopoHelper::flushTopoPortByVlan");
    return false;
  }
  // Flushes every MAC learned in the topology (it is going away).
  virtual void flushTopoMacAddr(int /*topo*/) {
    korAssert("Call to unimplemented function TopoHelper::flushTopoMacAddr");
  }
  // BPDUs to the CPU (true) or not; StpSm's platform hook for its
  // handleBpduTrapping, asked only when trapping is configured or was.
  virtual void bpduTrappingIs(bool /*trap*/) {
    korAssert("Call to unimplemented function StpSm::handleBpduTrapping");
  }
};

}  // namespace Kor
