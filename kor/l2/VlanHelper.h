#pragma once
// The owner of VLAN creation, of VLAN membership per port and per VLAN, of
// spanning-tree forwarding per port and VLAN, and of the update handshake
// with the platform. A platform derives from it and supplies the hardware
// operations (doCreateHwVlan, doUpdateVlan, doUpdateVlanFid); the logic
// stays here.
//
// The handshake, per VLAN:
// - every change goes into the VLAN's VlanUpdate and bumps its genId, then
//   triggers the VlanUpdater, which coalesces a burst of changes into one
//   maybeTriggerHwVlanUpdate per VLAN;
// - maybeTriggerHwVlanUpdate copies the update into updateConfig and calls
//   doUpdateVlan, unless an update of that VLAN is in flight (one at a time)
//   or the platform already holds that genId;
// - the platform answers by writing updateStatus with the genId it
//   programmed; updateVlanDone folds the programmed changes into the
//   VlanCache and each port's PortVlanMembership, takes them out of the
//   VlanUpdate and, when changes arrived meanwhile, programs the rest at once.
//
// A programmingFailed answer changes neither cache nor membership: the
// VlanUpdate is kept whole, its genId bumped (so the next attempt is newer
// than the refused one) and the VLAN retried retryDelay later. Nothing
// refused is lost; a failure is counted in vlanFailures.
//
// Restart over a kept chip: before the first pass the platform hands over
// what the chip holds per VLAN (doClaimHwVlan). That goes into the cache and
// the port memberships as confirmed state, so that the new run's requests
// ask only for differences: doMaybeCreateVlan of a held VLAN writes nothing,
// and doAddPortToVlan of a port held as asked (and with nothing pending)
// changes nothing. doEndSync, after the configuration's first full pass,
// removes what nobody claimed: held VLANs nobody created (doDestroyHwVlan)
// and held ports nobody asked for (an ordinary update), recirculation ports
// excepted.
//
// Invariants: updateConfig holds a VLAN exactly while its update is in
// flight; a VlanUpdate's genId only grows, also across a VlanUpdate that was
// completed and dropped (a new one starts at the last answered genId); the
// VlanCache and PortVlanMembership only hold what the platform confirmed; a
// port in a VLAN's recircFeature set is never removed from it.
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/common/KorVerifyStatus.h"
#include "kor/l2/PortForwarding.h"
#include "kor/l2/PortVlanMembership.h"
#include "kor/l2/VlanCache.h"
#include "kor/l2/VlanHelperBase.h"
#include "kor/l2/VlanHwUpdateConfig.h"
#include "kor/l2/VlanHwUpdateStatus.h"
#include "kor/l2/VlanUpdate.h"
#include "kor/l2/VlanUpdater.h"
#include "vix/Ptr.h"
#include "vix/TraceFacility.h"

namespace Kor {

class KorCommonSmData;

class KOR_EXPORT VlanHelper : public VlanHelperBase {
 public:
  // A refused update is tried again this long after the refusal.
  static constexpr Vix::Seconds defaultRetryDelay = 0.5;

  VlanHelper(Vix::Ptr<KorCommonSmData> const& acsd, std::string name);
  ~VlanHelper() override;

  // Platform operations.
  virtual void hwInit() {}
  virtual void doCreateHwVlan(VlanId vlan);
  // Program updateConfig()->vlan(vlan); answer later through updateStatus.
  virtual void doUpdateVlan(VlanId vlan);
  virtual void doUpdateVlanFid(VlanId vlan, uint32_t fid);
  // Remove a VLAN the chip kept from an earlier run and nobody claimed.
  virtual void doDestroyHwVlan(VlanId vlan);
  virtual bool hwResourcesAvailable() const { return true; }
  // The updates in flight, one line each.
  virtual void showVlanUpdateRequest(std::ostream& os) const;

  // The logic.
  void doMaybeCreateVlan(VlanId vlan) override;
  void doAddPortToVlan(Nollo::IntfId const& intf, VlanId vlan, bool tagged, bool ingress, bool egress) override;
  void doRemovePortFromVlan(Nollo::IntfId const& intf, VlanId vlan) override;
  void doHandlePortState(Nollo::IntfId const& intf, VlanId vlan, bool forwarding) override;
  void setPortsBlocked(VlanId vlan) override;
  // The VLAN comes under spanning tree: from now on, with checkPortState,
  // only its forwarding ports are members; one it holds or is adding
  // without a state is taken out. A VLAN without a PortForwarding record is
  // under no topology and lets every port in.
  void newPortForwarding(VlanId vlan);
  // The VLAN leaves spanning tree: its record goes and every port asked
  // into it is added back.
  void portForwardingDel(VlanId vlan);
  void maybeTriggerHwVlanUpdate(VlanId vlan);
  void updateVlanDone(VlanId vlan, VlanHwUpdateStatus::Status const& status);
  // The port serves the recirculation feature in the VLAN: never removed.
  void recircFeatureIs(VlanId vlan, Nollo::IntfId const& intf, bool on);
  // The chip holds this VLAN from an earlier run (called from hwInit).
  void doClaimHwVlan(VlanId vlan, std::map<Nollo::IntfId, bool> const& members,
                     std::set<Nollo::IntfId> const& ingress, std::set<Nollo::IntfId> const& egress);
  // The first full pass is over: what was held and not claimed goes.
  void doEndSync() override;
  // VLANs held from an earlier run and not claimed yet.
  std::set<VlanId> const& unclaimedVlan() const { return unclaimed_; }

  Vix::Ptr<VlanHwUpdateConfig> const& updateConfig() const { return updateConfig_; }
  Vix::Ptr<VlanHwUpdateStatus> const& updateStatus() const { return updateStatus_; }
  std::map<VlanId, bool> const& createdVlan() const { return createdVlan_; }
  Vix::Ptr<PortVlanMembership> portVlanMembership(Nollo::IntfId const& intf) const;
  std::map<Nollo::IntfId, Vix::Ptr<PortVlanMembership>> const& portVlanMembershipMap() const { return membership_; }
  Vix::Ptr<VlanUpdate> vlanUpdate(VlanId vlan) const;
  std::map<VlanId, Vix::Ptr<VlanUpdate>> const& vlanUpdateMap() const { return vlanUpdate_; }
  Vix::Ptr<VlanCache> vlanCache(VlanId vlan) const;
  std::map<VlanId, Vix::Ptr<VlanCache>> const& vlanCacheMap() const { return vlanCache_; }
  Vix::Ptr<PortForwarding> portForwarding(VlanId vlan) const;
  VlanUpdater& vlanUpdater() { return vlanUpdater_; }
  VlanUpdater const& vlanUpdater() const { return vlanUpdater_; }
  bool checkPortState() const { return checkPortState_; }
  void checkPortStateIs(bool v) { checkPortState_ = v; }
  uint32_t vlansProgrammed() const { return vlansProgrammed_; }
  uint32_t vlanFailures() const { return vlanFailures_; }
  // Updates programmed again at once because the VLAN changed meanwhile.
  uint32_t vlanRedos() const { return vlanRedos_; }
  Vix::Seconds retryDelay() const { return retryDelay_; }
  void retryDelayIs(Vix::Seconds d) { retryDelay_ = d; }

  Vix::TraceFacility& tf() { return tf_; }

 protected:
  // A verification report of this helper (from verify()).
  void doVerifyReport(KorTypes::KorVerifyStatus status, std::string const& description, char const* function);

 private:
  class VixUpdateStatus;
  struct PortWish {
    bool tagged;
    bool ingress;
    bool egress;
  };

  Vix::Ptr<VlanUpdate> doVlanUpdate(VlanId vlan);
  Vix::Ptr<PortVlanMembership> doMembership(Nollo::IntfId const& intf);
  Vix::Ptr<VlanCache> doCache(VlanId vlan);
  void doPutPort(VlanUpdate& u, Nollo::IntfId const& intf, PortWish const& w);
  void doTakePortOut(VlanUpdate& u, Nollo::IntfId const& intf);
  void doChanged(VlanUpdate& u);
  void doFold(VlanId vlan, VlanUpdate const& done);
  void handleUpdateStatus(VlanId vlan);

  Vix::Ptr<KorCommonSmData> acsd_;
  Vix::TraceFacility tf_;
  Vix::Ptr<VlanHwUpdateConfig> updateConfig_;
  Vix::Ptr<VlanHwUpdateStatus> updateStatus_;
  std::map<VlanId, bool> createdVlan_;
  std::map<Nollo::IntfId, Vix::Ptr<PortVlanMembership>> membership_;
  std::map<VlanId, Vix::Ptr<VlanUpdate>> vlanUpdate_;
  std::map<VlanId, Vix::Ptr<VlanCache>> vlanCache_;
  std::map<VlanId, Vix::Ptr<PortForwarding>> portForwarding_;
  // What the callers asked for, whatever the port state: a port that starts
  // forwarding again is added back from here.
  std::map<VlanId, std::map<Nollo::IntfId, PortWish>> wished_;
  VlanUpdater vlanUpdater_;
  bool checkPortState_ = false;
  uint32_t vlansProgrammed_ = 0;
  uint32_t vlanFailures_ = 0;
  uint32_t vlanRedos_ = 0;
  Vix::Seconds retryDelay_ = defaultRetryDelay;
  std::set<VlanId> unclaimed_;
  bool syncEnded_ = false;
  std::unique_ptr<VixUpdateStatus> statusReactor_;
};

}  // namespace Kor
