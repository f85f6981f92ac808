#pragma once
// The software chip's link-aggregation part: the "lag" table (LAG -> its
// member ports; its capacity counts LAGs: a LAG beyond it stays a software
// LAG until room comes back) and the LAG helper handed to the library,
// both registered by name in the chip's registry. Owned by the SoftChip for
// the agent's whole life, so the table outlives restarts of the library.
//
// memberFor() is the packet path's choice of one member per flow: highest
// random weight over the members (each member scores a mix of the flow hash
// and its own id; the best score wins). The same flow always takes the same
// member, flows spread evenly, and a member leaving moves only its own
// flows.
#include <cstdint>
#include <optional>

#include "kor/common/KorPortList.h"
#include "nollo/IntfId.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/SoftLagHelper.h"
#include "vix/Ptr.h"

namespace SoftChip {

class SoftChip;

class LagChip {
 public:
  using LagTable = ChipTable<Nollo::IntfId, Kor::KorPortList>;

  LagChip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector);
  ~LagChip();
  LagChip(LagChip const&) = delete;
  LagChip& operator=(LagChip const&) = delete;

  LagTable& lagTable() { return lag_; }
  LagTable const& lagTable() const { return lag_; }
  Vix::Ptr<KorHelper::KorHelperLagSm> lagHelper() const;
  SoftLagHelper& softLagHelper() const { return *softLagHelper_; }

  // The member port a flow of the LAG leaves by: over the members the chip
  // holds, or over the wanted ones of a software LAG. None without members.
  std::optional<Nollo::IntfId> memberFor(Nollo::IntfId const& lag, uint64_t flowHash) const;
  // The chip's id of a LAG it holds (the id the adjacencies carry); 0 for a
  // software LAG.
  uint32_t chipId(Nollo::IntfId const& lag) const;

 private:
  SoftChip* chip_;
  LagTable lag_;
  Vix::Ptr<SoftLagHelper> softLagHelper_;
};

}  // namespace SoftChip
