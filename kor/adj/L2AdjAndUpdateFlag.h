#pragma once
// An L2 adjacency and whether the L2 information of the adjacencies that
// resolve through it must be rebuilt; the answer of the tunnel lookups and
// of binding an adjacency to its L2 adjacency.
#include "kor/records/L2Adjacency.h"
#include "vix/Ptr.h"

namespace Kor {

struct L2AdjAndUpdateFlag {
  Vix::Ptr<L2Adjacency> l2Adj;
  bool updateL2Info = false;
};

}  // namespace Kor
