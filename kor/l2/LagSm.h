#pragma once
// The agent's link aggregation (trace "KorLagSm"). Owns the LAG maps of the
// common data - lagToPort (LAG -> its active members), portToLag (member ->
// its LAG) and lagToLagType (hardware or software LAG, as the platform
// answers) - and the device names it publishes in lagInputIntfDeviceNameDir.
// Fed by Interface::EthLagIntfStatusDir (one status per LAG with its member
// list), the common data's operational mode and the platform helper
// (KorHelperLagSm), which it tells to create, update and destroy the chip's
// LAGs.
//
// Invariants, after every pass: a port is listed under one LAG at most, and
// for every port P in lagToPort[L], portToLag[P] = L. Members the platform
// does not manage (isIntfManaged, unless intfManagedCheckOverride) are never
// listed. A port a status gives to a second LAG is taken out of the first
// ("duplicate lag found"): the latest status wins.
//
// A LAG exists here from the first status that names it until its status
// goes (one VixStatus reactor per LAG). Nothing happens before
// handleInitialized(): it reads every status, removes the device names and
// (unless disableCleanupOnRestart) the chip LAGs of a previous run that no
// status names. Each change asks the common data for a verification run;
// handleVerify() compares the chip's LAGs with lagToPort.
//
// A LAG the platform reports as a softwareLag (it refused the hardware
// LAG: full, failed, not ready) is asked again every kRetryPeriod through
// the helper's handleRetryVerify, while any LAG is a software one, so that
// room coming back makes it a hardware LAG with no other change.
#include <map>
#include <memory>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/KorPortList.h"
#include "kor/helpers/KorHelperLagSm.h"
#include "models/interface/EthLagIntfStatusDir.h"
#include "models/lag/IntfDeviceNameDir.h"
#include "nollo/IntfId.h"
#include "vix/Clock.h"
#include "vix/ReactorSet.h"

namespace Kor {

class KOR_EXPORT LagSm : public KorBaseSm {
 public:
  class VixStatus;
  static constexpr Vix::Seconds kRetryPeriod = 1.0;

  LagSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Interface::EthLagIntfStatusDir const> const& ethLagIntfStatusDir,
        Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& lagInputIntfDeviceNameDir,
        Vix::Ptr<KorHelper::KorHelperLagSm> const& korHelper, bool disableCleanupOnRestart = false);
  ~LagSm() override;

  Vix::Ptr<Interface::EthLagIntfStatusDir const> const& ethLagIntfStatusDir() const { return ethLagIntfStatusDir_; }
  Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& lagInputIntfDeviceNameDir() const {
    return lagInputIntfDeviceNameDir_;
  }
  Vix::Ptr<KorHelper::KorHelperLagSm> const& korHelper() const { return korHelper_; }
  bool disableCleanupOnRestart() const { return disableCleanupOnRestart_; }
  void disableCleanupOnRestartIs(bool b) { disableCleanupOnRestart_ = b; }
  // The members handed to the platform for the LAG (empty: none).
  KorPortList localMember(Nollo::IntfId const& lag) const;

  // The per-LAG status reactor (null: no such LAG).
  VixStatus* status(Nollo::IntfId const& lag) const;
  // Watches the LAG's status from now on (a null status throws, nothing
  // changed); the LAG is initialised and its members read.
  void statusIs(Nollo::IntfId const& lag, Vix::Ptr<Interface::EthLagIntfStatus const> const& s);
  // The LAG is gone: its members, maps, device name and chip LAG.
  void statusDel(Nollo::IntfId const& lag);

  void handleInitialized() override;
  // Compares the chip's LAGs with lagToPort; a LAG the chip still refuses
  // asks for a retry run.
  void handleVerify() override;
  void handleOperationalMode();
  void handleIntfStatus(Nollo::IntfId const& lag);
  // The platform's answer for the interface may have changed: its LAG's
  // members are read again.
  void handleIntfManaged(Nollo::IntfId const& intf);
  // The member list of one LAG (VixStatus::handleIntf()).
  void handleIntf(Nollo::IntfId const& lag);
  void handleDeviceName(Nollo::IntfId const& lag);

  // Takes the port out of the LAG portToLag still gives it to.
  void doScrubMember(Nollo::IntfId const& member, Nollo::IntfId const& lag);
  void doUpdateMember(Nollo::IntfId const& lag, Nollo::IntfId const& member, bool add);
  void doCleanupLag(Nollo::IntfId const& lag);

 private:
  class VixEthLagIntfStatusDir;
  class VixCommonData;

  KorPortList managedMembers(Interface::EthLagIntfStatus const& s) const;
  void doRemoveDeviceName(Nollo::IntfId const& lag);
  void doLagType(Nollo::IntfId const& lag, KorLagType type);
  void doRequestVerify();
  // The retry timer: software LAGs asked of the platform again.
  void handleRetry();

  Vix::Ptr<Interface::EthLagIntfStatusDir const> ethLagIntfStatusDir_;
  Vix::Ptr<Lag::Input::IntfDeviceNameDir> lagInputIntfDeviceNameDir_;
  Vix::Ptr<KorHelper::KorHelperLagSm> korHelper_;
  bool disableCleanupOnRestart_;
  std::map<Nollo::IntfId, KorPortList> localMember_;
  std::map<Nollo::IntfId, std::unique_ptr<VixStatus>> status_;
  Vix::Clock retry_;
  Vix::ReactorSet<LagSm> vixReactors_{this};
};

// A null common data, status directory, device-name directory or helper
// throws "null ValidPtr" before anything is built.
KOR_EXPORT Vix::Ptr<LagSm> lagSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                        Vix::Ptr<Interface::EthLagIntfStatusDir const> const& ethLagIntfStatusDir,
                                        Vix::Ptr<Lag::Input::IntfDeviceNameDir> const& lagInputIntfDeviceNameDir,
                                        Vix::Ptr<KorHelper::KorHelperLagSm> const& korHelper,
                                        bool disableCleanupOnRestart = false);

}  // namespace Kor
