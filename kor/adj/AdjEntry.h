#pragma once
// An adjacency of the adjacency machine: one per FEC, with its vias.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include "quill/FecId.h"
#include "vix/Ptr.h"

namespace Kor {

class AdjEntry : public Vix::PtrInterface {
 public:
  explicit AdjEntry(Quill::Fib::FecId fecId) : fecId_(fecId) {}
  Quill::Fib::FecId fecId() const { return fecId_; }

 private:
  Quill::Fib::FecId fecId_;
};

}  // namespace Kor
