#include "kor/l3/VixIpIntfStatusT.h"

namespace Kor {

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::handleInitialized() {
  handleGlobalRouting(sm_->routingOn<Af>());
}

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::handleGlobalRouting(bool vrfRouting) {
  Ip::Status const* status = sm_->ipStatusOf<Af>();
  handleRouting(vrfRouting && status && status->intfRouting(intf_).routing);
}

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::handleRouting(bool enable) {
  Ip::Status const* status = sm_->ipStatusOf<Af>();
  VIX_TRACE(sm_->tf(), 5,
            (isV4 ? "handleRouting" : "handleRouting6")
                << ", vrf: " << sm_->vrfName() << ", intf: " << intf_ << ", vlan: " << vlan_ << ", enable: " << enable
                << ", address: " << (status ? status->primaryAddr(intf_) : Nollo::IpGenAddr()));
  bool const changed = enable != routing_;
  if (enable) {
    if (routing_) {
      VIX_TRACE(sm_->tf(), 5, "Update l3 interface for " << intf_);
    } else {
      VIX_TRACE(sm_->tf(), 5, (isV4 ? "Enable routing (v4) on " : "Enable routing (v6) on ") << intf_);
    }
    VIX_TRACE(sm_->tf(), 5, "Enable/update routing");
  } else if (routing_) {
    VIX_TRACE(sm_->tf(), 5, (isV4 ? "Disable routing (v4) on " : "Disable routing (v6) on ") << intf_);
    VIX_TRACE(sm_->tf(), 5, "Disable routing");
  }
  routing_ = enable;
  handleVlanRouting(enable);
  sm_->handleUrpf(intf_);
  auto const* v4 = sm_->intfStatus<Nollo::Ipv4>(intf_);
  auto const* v6 = sm_->intfStatus<Nollo::Ipv6>(intf_);
  VIX_TRACE(sm_->tf(), 5,
            "Current state: v4: " << (v4 && v4->routing()) << ", v6: " << (v6 && v6->routing()));
  if (changed) sm_->doRequestVerify();
}

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::handleVlanRouting(bool routing) {
  VIX_TRACE(sm_->tf(), 5,
            "handleVlanRouting (IpIntfStatus), vrf: " << sm_->vrfName() << ", intf: " << intf_
                                                       << ", routing: " << routing);
  sm_->doIntfVlan(intf_);
  if (!vlan_) return;
  sm_->doL3Intf(intf_, vlan_);
  sm_->doVlanRoutingState(intf_, vlan_);
}

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::handleUrpf() {
  sm_->handleUrpf(intf_);
}

template <class Af>
void RoutingStatusSm::VixIpIntfStatusT<Af>::doRoutingCleanup() {
  VIX_TRACE(sm_->tf(), 5, "doRoutingCleanup, vrf: " << sm_->vrfName() << ", intf: " << intf_);
  if (routing_) {
    VIX_TRACE(sm_->tf(), 5, (isV4 ? "Disable routing (v4) on " : "Disable routing (v6) on ") << intf_);
    VIX_TRACE(sm_->tf(), 5, "Disable routing");
    routing_ = false;
    sm_->doRequestVerify();
  }
  uint16_t const old = vlan_;
  vlan_ = 0;
  if (old) sm_->doVlanDetached(intf_, old);
  sm_->handleUrpf(intf_);
}

template class RoutingStatusSm::VixIpIntfStatusT<Nollo::Ipv4>;
template class RoutingStatusSm::VixIpIntfStatusT<Nollo::Ipv6>;

}  // namespace Kor
