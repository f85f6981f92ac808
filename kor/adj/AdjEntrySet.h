#pragma once
// The adjacencies (FEC ids) that use one next hop or tunnel.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include <vector>

#include "quill/FecId.h"
#include "vix/Ptr.h"

namespace Kor {

class AdjEntrySet : public Vix::PtrInterface {
 public:
  std::vector<Quill::Fib::FecId> const& fecIds() const { return fecIds_; }

 private:
  std::vector<Quill::Fib::FecId> fecIds_;
};

}  // namespace Kor
