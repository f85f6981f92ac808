#pragma once
// The software chip's adjacency part: the L2 adjacency table ("l2adj": L2
// adjacency index -> its rewrite data), the next-hop-group table ("nhg": the
// L2 adjacency index of a group adjacency -> its members' rewrite data; one
// row per group, so its capacity counts groups) and the L2 adjacency helper handed
// to the library's factories, both registered by name in the chip's
// registry when the part is built. Owned by the SoftChip for the agent's
// whole life, so the table and the helper's indexes outlive restarts of
// the library.
#include <cstdint>

#include "kor/records/NextHopL2InfoCollection.h"
#include "kor/helpers/AdjSmHelper.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/ChipTable.h"
#include "softchip/common/FaultInjector.h"
#include "vix/Ptr.h"

namespace SoftChip {

class SoftChip;

class AdjChip {
 public:
  AdjChip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector);
  ~AdjChip();
  AdjChip(AdjChip const&) = delete;
  AdjChip& operator=(AdjChip const&) = delete;

  ChipTable<uint64_t, Kor::NextHopL2InfoCollection>& l2AdjTable() { return l2Adj_; }
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection>& nhgTable() { return nhg_; }
  // The table an L2 adjacency of this type lives in.
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection>& tableFor(Kor::L2AdjType type) {
    return type == Kor::L2AdjType::nexthopAdj ? nhg_ : l2Adj_;
  }
  Vix::Ptr<KorHelper::AdjSmHelper> adjSmHelper() const;
  SoftAdjSmHelper& softAdjSmHelper() const { return *softAdjSmHelper_; }

 private:
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection> l2Adj_;
  ChipTable<uint64_t, Kor::NextHopL2InfoCollection> nhg_;
  Vix::Ptr<SoftAdjSmHelper> softAdjSmHelper_;
};

}  // namespace SoftChip
