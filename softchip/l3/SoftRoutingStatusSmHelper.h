#pragma once
// The software chip's routing status hook. Routing is on for every VRF the
// chip's "vrf" table holds (asked on a hitless restart). The MACs the chip
// routes for are kept as last told: the router MAC, the virtual router MAC
// and the MLAG peer's router MAC, each with whether it is in use, plus how
// many times each was told (for tests that count writes). uRPF is switched
// in one step unless twoStageInitRequiredIs(true); urpfReadyIs(false) makes
// the chip refuse the switch. An interface checks both address families with
// one mode kind: strict for one family and loose for the other conflict.
#include <cstdint>

#include "kor/helpers/RoutingStatusSmHelper.h"
#include "softchip/SoftChip.h"

namespace SoftChip {

class SoftRoutingStatusSmHelper : public KorHelper::RoutingStatusSmHelper {
 public:
  struct MacState {
    Nollo::EthAddr mac;
    bool enabled = false;
    uint32_t writes = 0;
  };

  explicit SoftRoutingStatusSmHelper(SoftChip* chip) : chip_(chip) {}
  bool routingEnabled(Kor::VrfName const& vrfName) const override;
  bool routing6Enabled(Kor::VrfName const& vrfName) const override;
  void routerMacIs(Nollo::EthAddr const& mac, bool programmed) override;
  void virtualRouterMacIs(Nollo::EthAddr const& mac, bool enabled) override;
  void peerRouterMacIs(Nollo::EthAddr const& mac, bool enabled) override;
  bool urpfTwoStageInitRequired() const override { return twoStageInitRequired_; }
  bool urpfEnabledIs(bool enabled) override;
  bool urpfModesConflict(Urpf::UrpfStatus const& v4, Urpf::UrpfStatus const& v6) const override;

  MacState const& routerMac() const { return routerMac_; }
  MacState const& virtualRouterMac() const { return virtualRouterMac_; }
  MacState const& peerRouterMac() const { return peerRouterMac_; }
  bool urpfEnabled() const { return urpfEnabled_; }
  void twoStageInitRequiredIs(bool v) { twoStageInitRequired_ = v; }
  void urpfReadyIs(bool v) { urpfReady_ = v; }

 private:
  static void doRecord(MacState& s, Nollo::EthAddr const& mac, bool enabled);

  SoftChip* chip_;
  MacState routerMac_;
  MacState virtualRouterMac_;
  MacState peerRouterMac_;
  bool urpfEnabled_ = false;
  bool twoStageInitRequired_ = false;
  bool urpfReady_ = true;
};

}  // namespace SoftChip
