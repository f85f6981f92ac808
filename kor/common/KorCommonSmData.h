#pragma once
// The agent-wide data every state machine shares (`acsd`): operating mode,
// interface sets, LAG maps, router MACs, internal VLANs, traffic-class maps,
// free mirror sessions, parity events, the verification objects, trace levels,
// redundancy mode and fast-boot flags. The hosting agent creates it first
// (korCommonSmDataFactory) and hands it to every factory; it outlives every
// state machine. Attributes notify their Notifiee per attribute (per key for
// maps); `initialized` runs handleInitialized() and then every notifiee's
// onInitialized(), each guarded so one failure does not stop the others.
//
// Beyond the shared attributes it carries:
// - activityLoop(): the loop every state machine runs on;
// - the trace-level lookup: every KorBaseSm registers its trace facility here,
//   and tractoLevelsIs() applies each TractoLevels field to the facility of
//   that name (see TractoLevels.h); traceLevelsFor() answers the same lookup;
// - the verification registry: state machines that take part in
//   self-verification are added with verifiableSmAdd() and run, in the order
//   added, by VerifySm; a machine reports through verifyReport().
//
// VerifySm (held in verifySm) refers back to this object, so the owner calls
// doCleanup() before letting go of it.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kor/common/HwCliConfig.h"
#include "kor/common/HwOperationalMode.h"
#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/KorLagType.h"
#include "kor/common/KorPortList.h"
#include "kor/common/KorPortVlanTpidData.h"
#include "kor/common/ParityEvent.h"
#include "kor/common/RecircFeatureSet.h"
#include "kor/common/RedundancyMode.h"
#include "kor/common/RedundancyProtocol.h"
#include "kor/common/TractoLevels.h"
#include "kor/common/VerifyData.h"
#include "kor/common/VerifyOutput.h"
#include "kor/common/VlanId.h"
#include "kor/common/VlanIdOrNone.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "vix/ActivityLoop.h"
#include "vix/Entity.h"
#include "vix/Trace.h"

namespace KorTypes {
class IntfToBitmapPosition;
}

namespace Kor {

class KorBaseSm;
class VerifySm;

class KOR_EXPORT KorCommonSmData : public Vix::Entity {
 public:
  class KOR_EXPORT Notifiee : public Vix::NotifieeOf<KorCommonSmData> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(OperationalMode)
    VIX_HANDLER(VlanHelper)
    VIX_HANDLER(Itbp)
    VIX_KEY_HANDLER(Nollo::IntfId, Intf)
    VIX_HANDLER(MinIntfs)
    VIX_KEY_HANDLER(Nollo::IntfId, UnusedIntf)
    VIX_KEY_HANDLER(Nollo::IntfId, CpuIntf)
    VIX_KEY_HANDLER(Nollo::IntfId, MlagPeerLinkPort)
    VIX_KEY_HANDLER(Nollo::IntfId, MlagIntfPort)
    VIX_KEY_HANDLER(Nollo::IntfId, LagToPortConfig)
    VIX_KEY_HANDLER(Nollo::IntfId, LagToFeatureSet)
    VIX_KEY_HANDLER(Nollo::IntfId, PortToLag)
    VIX_KEY_HANDLER(Nollo::IntfId, LagToPort)
    VIX_KEY_HANDLER(Nollo::IntfId, LagToLagType)
    VIX_HANDLER(VirtualMac)
    VIX_HANDLER(PeerRouterMac)
    VIX_KEY_HANDLER(Nollo::IntfId, InternalVlan)
    VIX_KEY_HANDLER(uint32_t, VpriToTc)
    VIX_KEY_HANDLER(uint32_t, DscpToTc)
    VIX_KEY_HANDLER(VlanId, VlanRoutingStatus)
    VIX_KEY_HANDLER(Nollo::IntfId, EncapVlan)
    VIX_KEY_HANDLER(Nollo::IntfId, PortVlanTpidData)
    VIX_HANDLER(CliConfig)
    VIX_HANDLER(FreeMirrorSession)
    VIX_KEY_HANDLER(ParityEvent::Key, ParityEvent)
    VIX_HANDLER(VerifyData)
    VIX_HANDLER(VerifySm)
    VIX_KEY_HANDLER(Nollo::IntfId, VlanIntf)
    VIX_HANDLER(TractoLevels)
    VIX_HANDLER(RedundancyMode)
    VIX_HANDLER(RedundancyProtocol)
    VIX_HANDLER(FbuFastBoot)
    VIX_HANDLER(FbuRenice)
    VIX_HANDLER(FbuReniceValue)
    // `initialized` changed; runs in its own guarded call (an exception is
    // logged as KOR_ON_INITIALIZED_FAILED and the next notifiee still runs).
    virtual void onInitialized() {}

    // Delivery wrapper used by KorCommonSmData::initializedIs.
    void guardedOnInitialized();
  };

  KorCommonSmData(std::string name, Vix::Ptr<Vix::ActivityLoop> loop);
  ~KorCommonSmData() override;

  Vix::Ptr<Vix::ActivityLoop> const& activityLoop() const { return activityLoop_; }

  VIX_ATTR(HwOperationalMode, operationalMode, OperationalMode)
  // The VLAN helper (a VlanHelperBase); users downcast with Vix::ptrCast.
  VIX_ATTR(Vix::Ptr<KorBaseHelper>, vlanHelper, VlanHelper)
  VIX_ATTR(KorTypes::IntfToBitmapPosition*, itbp, Itbp)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, intf, Intf)
  VIX_ATTR(uint16_t, minIntfs, MinIntfs)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, unusedIntf, UnusedIntf)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, cpuIntf, CpuIntf)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, mlagPeerLinkPort, MlagPeerLinkPort)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, mlagIntfPort, MlagIntfPort)
  VIX_ORDERED_MAP(Nollo::IntfId, KorPortList, lagToPortConfig, LagToPortConfig)
  VIX_ORDERED_MAP(Nollo::IntfId, RecircFeatureSet, lagToFeatureSet, LagToFeatureSet)
  VIX_ORDERED_MAP(Nollo::IntfId, Nollo::IntfId, portToLag, PortToLag)
  VIX_ORDERED_MAP(Nollo::IntfId, KorPortList, lagToPort, LagToPort)
  VIX_ORDERED_MAP(Nollo::IntfId, KorLagType, lagToLagType, LagToLagType)
  VIX_ATTR(Nollo::EthAddr, virtualMac, VirtualMac)
  VIX_ATTR(Nollo::EthAddr, peerRouterMac, PeerRouterMac)
  VIX_ORDERED_MAP(Nollo::IntfId, uint32_t, internalVlan, InternalVlan)
  VIX_ORDERED_MAP(uint32_t, uint32_t, vpriToTc, VpriToTc)
  VIX_ORDERED_MAP(uint32_t, uint32_t, dscpToTc, DscpToTc)
  VIX_ORDERED_MAP(VlanId, bool, vlanRoutingStatus, VlanRoutingStatus)
  VIX_ORDERED_MAP(Nollo::IntfId, VlanIdOrNone, encapVlan, EncapVlan)
  VIX_ORDERED_MAP(Nollo::IntfId, KorPortVlanTpidData, portVlanTpidData, PortVlanTpidData)
  VIX_ATTR(Vix::Ptr<HwCliConfig const>, cliConfig, CliConfig)
  // Free mirror session ids, taken at the front and given back at the end.
  VIX_QUEUE(uint8_t, freeMirrorSession, FreeMirrorSession)
  VIX_ORDERED_MAP(ParityEvent::Key, ParityEvent, parityEvent, ParityEvent)

 public:
  Vix::Ptr<VerifyData> const& verifyData() const { return verifyData_; }
  // Creates the owned VerifyData with that name (replacing any before).
  Vix::Ptr<VerifyData> verifyDataIs(std::string const& name);
  Vix::Ptr<VerifySm> verifySm() const;
  void verifySmIs(Vix::Ptr<VerifySm> const& sm);

  VIX_ORDERED_MAP(Nollo::IntfId, bool, vlanIntf, VlanIntf)

 public:
  TractoLevels const& tractoLevels() const { return tractoLevels_; }
  // Stores the levels and applies them to every registered trace facility.
  void tractoLevelsIs(TractoLevels const& t);

  VIX_ATTR(Redundancy::RedundancyMode, redundancyMode, RedundancyMode)
  VIX_ATTR(Redundancy::RedundancyProtocol, redundancyProtocol, RedundancyProtocol)

 public:
  // Empties every collection and drops the verification objects (which
  // breaks VerifySm's reference back to this object).
  void doCleanup();

  VIX_ATTR(bool, fbuFastBoot, FbuFastBoot)
  VIX_ATTR(bool, fbuRenice, FbuRenice)
  VIX_ATTR(int32_t, fbuReniceValue, FbuReniceValue)

 public:
  bool initialized() const { return initialized_; }
  // Unchanged value: nothing happens. Otherwise stores it; when it becomes
  // true runs handleInitialized(); then every notifiee's onInitialized().
  void initializedIs(bool v);
  // Start-up: creates VerifyData "verify" with VerifyRequired "vr" and the
  // VerifySm.
  void handleInitialized();

  // Trace levels of the state machines (see TractoLevels.h).
  std::optional<std::string> traceLevelsFor(std::string const& facility) const {
    return tractoLevels_.levelsFor(facility);
  }
  // A facility registered here follows tractoLevels from now on.
  void traceFacilityAdd(Vix::TraceFacility* tf);
  void traceFacilityDel(Vix::TraceFacility* tf);

  // Self-verification registry, in order of addition; adding twice is a no-op.
  void verifiableSmAdd(KorBaseSm* sm);
  void verifiableSmDel(KorBaseSm* sm);
  std::vector<KorBaseSm*> const& verifiableSms() const { return verifiableSms_; }
  // Told by every state machine as it is destroyed (its address, from the
  // base destructor): lets a watcher see the order machines really go in,
  // whoever else still held them.
  void smDestroyedHandlerIs(std::function<void(KorBaseSm const*)> fn) { smDestroyedHandler_ = std::move(fn); }
  void handleSmDestroyed(KorBaseSm const* sm) const {
    if (smDestroyedHandler_) smDestroyedHandler_(sm);
  }
  // A verifiable machine's report from its handleVerify() (see VerifySm).
  void verifyReport(VerifyOutput const& o);

  Vix::TraceFacility& tf() { return tf_; }
  Vix::TraceFacility const& tf() const { return tf_; }

 private:
  Vix::Ptr<Vix::ActivityLoop> activityLoop_;
  Vix::Ptr<VerifyData> verifyData_;
  Vix::Ptr<Vix::PtrInterface> verifySm_;  // a VerifySm
  TractoLevels tractoLevels_;
  bool initialized_ = false;
  std::vector<Vix::TraceFacility*> traceFacilities_;
  std::vector<KorBaseSm*> verifiableSms_;
  std::function<void(KorBaseSm const*)> smDestroyedHandler_;
  Vix::TraceFacility tf_;
};

// Creates the agent's one common data on the activity loop every state
// machine will run on (a null loop throws "null ValidPtr").
KOR_EXPORT Vix::Ptr<KorCommonSmData> korCommonSmDataFactory(std::string const& name,
                                                            Vix::Ptr<Vix::ActivityLoop> const& loop);

}  // namespace Kor
