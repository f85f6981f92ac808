#pragma once
// Compares the chip's L2 adjacency table with the L2 adjacency helper's
// records (L3Status::l2AdjList), through the platform (AdjSmHelper::verifyAdj
// for each record, AdjSmHelper::heldAdjs for the chip's side), and names
// every L2 adjacency that disagrees: installed but missing in the chip,
// installed but held with other data, or held by the chip and known to
// nobody. An L2 adjacency the platform has not accepted yet (newborn,
// installFailed, installNotReady) is waiting, not disagreeing: the chip may
// hold an older version of it or nothing, so it is not compared. Indexes the
// caller names as unclaimed (chip entries of an earlier run before the end
// of the initial sync) are not "unknown" either.
// Owns nothing: it reads the records and asks the platform, one pass per call.
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "kor/common/KorExport.h"
#include "kor/helpers/AdjSmHelper.h"
#include "kor/records/L3Status.h"

namespace Kor {

class KOR_EXPORT L2AdjChipCheck {
 public:
  L2AdjChipCheck(L3Status const& l3Status, KorHelper::AdjSmHelper& helper) : l3Status_(l3Status), helper_(helper) {}

  // One line per disagreeing L2 adjacency, by index:
  //   "l2adj 5 missing in the chip: <ours>"
  //   "l2adj 5 differs: chip <theirs>, records <ours>"
  //   "l2adj 9 in the chip but unknown: <theirs>"
  std::vector<std::string> faults(std::set<uint64_t> const& unclaimed) const;

 private:
  L3Status const& l3Status_;
  KorHelper::AdjSmHelper& helper_;
};

}  // namespace Kor
