#include "agent/AgentInputs.h"

namespace KorAgent {

AgentInputs::AgentInputs()
    : allVrfStatusLocal_(Vix::makePtr<Ip::AllVrfStatusLocal>("allVrfStatusLocal")),
      vrfCapability_(Vix::makePtr<Ip::VrfCapability>("vrfCapability")),
      l3Config_(Vix::makePtr<Routing::L3Config>("l3Config")),
      l3Status_(Vix::makePtr<Kor::L3Status>("l3Status")),
      intfVlanIdTable_(Vix::makePtr<IntfVlanId::Table>("intfVlanIdTable")),
      ipStatus_(Vix::makePtr<Ip::Status>("ipStatus")),
      ip6Status_(Vix::makePtr<Ip6::Status>("ip6Status")),
      packedArgs_(Vix::makePtr<Routing::PackedArgs>("packedArgs")),
      vrfInfoDir_(Vix::makePtr<Routing::VrfInfoDir>("routing/vrf/info")),
      vrf6InfoDir_(Vix::makePtr<Routing6::VrfInfoDir>("routing6/vrf/info")),
      hwRouteStatus_(Vix::makePtr<Routing::Hardware::RouteStatus>("routing/hardware/route/status")),
      hwRoute6Status_(Vix::makePtr<Routing6::Hardware::RouteStatus>("routing6/hardware/route/status")),
      entityManager_(Vix::makePtr<Ledra::EntityManager>("ledra")),
      arpVrfIdMap_(Vix::makePtr<Quill::Arp::VrfIdMap>("vrfIdMap")),
      arpTable_(Vix::makePtr<Quill::Arp::ArpTable>("arp")),
      neighTable_(Vix::makePtr<Quill::Arp::NeighTable>("neighbor")),
      bridgingStatus_(Vix::makePtr<Bridging::Status>("bridging/status")),
      allIntfStatusDir_(Vix::makePtr<Interface::AllIntfStatusDir>("interface/status/all")),
      hwConfig_(Vix::makePtr<Routing::Hardware::Config>("routing/hardware/config")),
      hwStatus_(Vix::makePtr<Routing::Hardware::Status>("routing/hardware/status")) {
  l3Status_->intfVlanIdTableIs(intfVlanIdTable_);
  // The VRF every switch has: announced from the start, ARP VRF id 0.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>("default");
  auto info6 = Vix::makePtr<Routing::RoutingInfo>("default");
  packedArgs_->routingInfoIs(info4);
  packedArgs_->routing6InfoIs(info6);
  vrfInfoDir_->vrfInfoIs("default", info4);
  vrf6InfoDir_->vrfInfoIs("default", info6);
  allVrfStatusLocal_->vrfIs("default", true);
  arpVrfIdMap_->vrfNameIs(0, "default");
  vrfCapability_->maxVrfsIs(1023);
}

}  // namespace KorAgent
