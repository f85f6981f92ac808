#include "softchip/l3/SoftRoutingStatusSmHelper.h"

namespace SoftChip {

bool SoftRoutingStatusSmHelper::routingEnabled(Kor::VrfName const& vrfName) const {
  return chip_->l3().vrfTable().has(vrfName.str());
}

bool SoftRoutingStatusSmHelper::routing6Enabled(Kor::VrfName const& vrfName) const {
  return chip_->l3().vrfTable().has(vrfName.str());
}

void SoftRoutingStatusSmHelper::doRecord(MacState& s, Nollo::EthAddr const& mac, bool enabled) {
  s.mac = mac;
  s.enabled = enabled;
  ++s.writes;
}

void SoftRoutingStatusSmHelper::routerMacIs(Nollo::EthAddr const& mac, bool programmed) {
  doRecord(routerMac_, mac, programmed);
}

void SoftRoutingStatusSmHelper::virtualRouterMacIs(Nollo::EthAddr const& mac, bool enabled) {
  doRecord(virtualRouterMac_, mac, enabled);
}

void SoftRoutingStatusSmHelper::peerRouterMacIs(Nollo::EthAddr const& mac, bool enabled) {
  doRecord(peerRouterMac_, mac, enabled);
}

bool SoftRoutingStatusSmHelper::urpfEnabledIs(bool enabled) {
  if (!urpfReady_) return false;
  urpfEnabled_ = enabled;
  return true;
}

bool SoftRoutingStatusSmHelper::urpfModesConflict(Urpf::UrpfStatus const& v4, Urpf::UrpfStatus const& v6) const {
  using Mode = Urpf::UrpfStatus::Mode;
  return (v4.mode == Mode::strict && v6.mode == Mode::loose) || (v4.mode == Mode::loose && v6.mode == Mode::strict);
}

}  // namespace SoftChip
