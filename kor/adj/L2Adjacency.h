#pragma once
// A layer-2 adjacency (MAC rewrite, VLAN, interface per path), shared by every
// FEC with the same next-hop set.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include <cstdint>

#include "vix/Ptr.h"

namespace Kor {

class L2Adjacency : public Vix::PtrInterface {
 public:
  explicit L2Adjacency(uint64_t index) : index_(index) {}
  uint64_t index() const { return index_; }

 private:
  uint64_t index_;
};

}  // namespace Kor
