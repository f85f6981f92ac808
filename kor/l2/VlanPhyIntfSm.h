#pragma once
// The VLAN -> filtering database map and the VLAN interfaces (trace
// "KorVlanPhyIntfSm"). handleVidToFidMap(vlan) programs the database a VLAN
// learns in (Bridging::VlanFidConfigDir; none configured: a database of its
// own, fid 0 to the platform); handleVidToFidMapAll() every VLAN configured
// or held. A write the chip refused leaves the VLAN in unprogrammedVlanList
// and is retried every kRetryPeriod; nothing is lost.
//
// VLAN interfaces: it follows the common data's vlanIntf set and keeps
// which VLAN has its routed interface (vlanIntfStatus); a name that is not
// a VLAN interface is traced "Unknown intf:" and ignored.
//
// Owns: fidProgrammed (what the chip holds: VLAN -> fid, only VLANs that
// share a database), unprogrammedVlanList, vlanIntfStatus.
// Fed by: Bridging::VlanFidConfigDir, KorCommonSmData::vlanIntf.
#include <cstdint>
#include <map>
#include <set>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/helpers/VlanPhyIntfSmHelper.h"
#include "models/bridging/VlanFidConfigDir.h"
#include "vix/Clock.h"

namespace Kor {

class KOR_EXPORT VlanPhyIntfSm : public KorBaseSm {
 public:
  static constexpr Vix::Seconds kRetryPeriod = 1.0;

  VlanPhyIntfSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<Bridging::VlanFidConfigDir const> const& fidConfig,
                Vix::Ptr<KorHelper::VlanPhyIntfSmHelper> const& helper);
  ~VlanPhyIntfSm() override;

  void handleInitialized() override;
  void handleVidToFidMap(uint16_t vid);
  void handleVidToFidMapAll();
  void handleVlanIntf(Nollo::IntfId const& intf);

  std::map<uint16_t, uint16_t> const& fidProgrammed() const { return fidProgrammed_; }
  std::set<uint16_t> const& unprogrammedVlanList() const { return unprogrammedVlanList_; }
  std::map<VlanId, Nollo::IntfId> const& vlanIntfStatus() const { return vlanIntfStatus_; }

 private:
  class VixFidConfig;
  class VixAcsd;

  Vix::Ptr<Bridging::VlanFidConfigDir const> fidConfig_;
  Vix::Ptr<KorHelper::VlanPhyIntfSmHelper> helper_;
  std::map<uint16_t, uint16_t> fidProgrammed_;
  std::set<uint16_t> unprogrammedVlanList_;
  std::map<VlanId, Nollo::IntfId> vlanIntfStatus_;
  Vix::Clock retry_;
  Vix::ReactorSet<VlanPhyIntfSm> vixReactors_{this};
};

KOR_EXPORT Vix::Ptr<VlanPhyIntfSm> vlanPhyIntfSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                        Vix::Ptr<Bridging::VlanFidConfigDir const> const& fidConfig,
                                                        Vix::Ptr<KorHelper::VlanPhyIntfSmHelper> const& helper);

}  // namespace Kor
