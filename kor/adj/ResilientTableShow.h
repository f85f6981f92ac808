#pragma once
// What a show tells of one resilient ECMP prefix's bucket table, in plain
// values so that the agent renders it as text or JSON without reaching into
// the resilient machine's templates: the prefix, the FEC it points at, its
// resilient adjacency and L2 adjacency, the table's size and parameters, the
// buckets moved so far, each member holding buckets (next hop, weight - the
// times the FEC repeats its via -, its buckets ascending and their bitmap
// text), and the table itself (each bucket's next hop; empty for none).
// Filled by ResilientEcmpSmT::tableShowsAdd, one per entry, in prefix order.
#include <cstdint>
#include <string>
#include <vector>

#include "kor/records/ResilientEcmpParams.h"

namespace Kor {

struct ResilientTableShow {
  struct Member {
    std::string nextHop;
    uint32_t weight = 0;
    std::vector<uint32_t> buckets;
    std::string bitmap;
  };

  std::string prefix;
  uint64_t fec = 0;
  uint64_t adj = 0;
  uint64_t l2Adj = 0;
  uint32_t buckets = 0;
  ResilientEcmpParams params;
  uint64_t moves = 0;
  std::vector<Member> members;
  std::vector<std::string> bucketList;
};

}  // namespace Kor
