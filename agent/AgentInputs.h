#pragma once
// Every entity the agent feeds the library with: what the other agents
// (routing, IP, ARP, the state database) would publish, and the Quill
// shared-memory tables. Held apart from the library objects so that a restart
// of the library finds them unchanged, as a restarted agent finds the state
// database and shared memory. The agent's modules write them (and keep
// their own bookkeeping of what they wrote); the library reads them.
#include <map>
#include <optional>
#include <string>

#include "kor/l3/L3Status.h"
#include "models/bridging/Status.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/ip/AllVrfStatusLocal.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/ip/Status.h"
#include "models/ip/VrfCapability.h"
#include "models/ip6/Status.h"
#include "models/ledra/EntityManager.h"
#include "models/routing/L3Config.h"
#include "models/routing/PackedArgs.h"
#include "models/routing/RoutingInfo.h"
#include "models/routing/VrfInfoDir.h"
#include "models/routing/hardware/Config.h"
#include "models/routing/hardware/RouteStatus.h"
#include "models/routing/hardware/Status.h"
#include "models/routing6/VrfInfoDir.h"
#include "models/routing6/hardware/RouteStatus.h"
#include "quill/ArpTable.h"
#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"
#include "quill/VrfIdMap.h"
#include "vix/Ptr.h"

namespace KorAgent {

class AgentInputs {
 public:
  AgentInputs();

  Vix::Ptr<Ip::AllVrfStatusLocal> allVrfStatusLocal_;
  Vix::Ptr<Ip::VrfCapability> vrfCapability_;
  Vix::Ptr<Routing::L3Config> l3Config_;
  // Written by the library; kept across restarts like the state database.
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<IntfVlanId::Table> intfVlanIdTable_;
  Vix::Ptr<Ip::Status> ipStatus_;
  Vix::Ptr<Ip6::Status> ip6Status_;
  Vix::Ptr<Routing::PackedArgs> packedArgs_;
  Vix::Ptr<Routing::VrfInfoDir> vrfInfoDir_;
  Vix::Ptr<Routing6::VrfInfoDir> vrf6InfoDir_;
  Vix::Ptr<Routing::Hardware::RouteStatus> hwRouteStatus_;
  Vix::Ptr<Routing6::Hardware::RouteStatus> hwRoute6Status_;
  Vix::Ptr<Ledra::EntityManager> entityManager_;
  Vix::Ptr<Quill::Arp::VrfIdMap> arpVrfIdMap_;
  Vix::Ptr<Quill::Arp::ArpTable> arpTable_;
  Vix::Ptr<Quill::Arp::NeighTable> neighTable_;
  // The MAC table (one FdbStatus per VLAN) and the interfaces' link state.
  Vix::Ptr<Bridging::Status> bridgingStatus_;
  Vix::Ptr<Interface::AllIntfStatusDir> allIntfStatusDir_;
  // The hardware's routing configuration (adjacency sharing mode) and
  // capabilities (maxEcmp).
  Vix::Ptr<Routing::Hardware::Config> hwConfig_;
  Vix::Ptr<Routing::Hardware::Status> hwStatus_;
};

}  // namespace KorAgent
