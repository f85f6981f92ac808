#pragma once
// The adjacencies (FEC ids) of one VRF that use one next hop or one tunnel:
// a value of VrfL3Status::nextHopToAdjEntry / nextHopToAdj6Entry /
// tunnelToAdjEntry, kept by the adjacency machine as it rebuilds an
// adjacency's vias. An empty set is removed from its map.
#include <cstddef>
#include <set>

#include "quill/FecId.h"
#include "vix/Ptr.h"

namespace Kor {

class AdjEntrySet : public Vix::PtrInterface {
 public:
  std::set<Quill::Fib::FecId> const& fecIds() const { return fecIds_; }
  bool fecIdHas(Quill::Fib::FecId f) const { return fecIds_.count(f) != 0; }
  void fecIdIs(Quill::Fib::FecId f) { fecIds_.insert(f); }
  void fecIdDel(Quill::Fib::FecId f) { fecIds_.erase(f); }
  size_t size() const { return fecIds_.size(); }
  bool empty() const { return fecIds_.empty(); }

 private:
  std::set<Quill::Fib::FecId> fecIds_;
};

}  // namespace Kor
