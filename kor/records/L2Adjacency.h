#pragma once
// A layer-2 adjacency: the rewrite data (`via`) of every path of the
// adjacencies that use it, as programmed in the chip under `key`. Created,
// shared, updated and deleted only by L2AdjHelper; held in
// L3Status::l2AdjList and, while sharing is allowed for it, in
// L3Status::nextHopsToL2Adj under its `via`. `adjEntry` lists the indexes of
// the adjacencies (AdjEntry::adjIndex) that use it: indexes, not pointers,
// so that an adjacency and its L2 adjacency do not keep each other alive.
// `state` is the platform's last answer (newborn until the first one).
#include <cstdint>
#include <set>

#include "kor/records/L2AdjKey.h"
#include "kor/records/NextHopL2InfoCollection.h"
#include "kor/common/KorExport.h"
#include "kor/records/L2AdjState.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT L2Adjacency : public Vix::PtrInterface {
 public:
  L2Adjacency(L2AdjKey key, NextHopL2InfoCollection via) : key_(key), via_(std::move(via)) {}

  L2AdjKey key() const { return key_; }
  uint64_t index() const { return key_.index(); }
  NextHopL2InfoCollection const& via() const { return via_; }
  void viaIs(NextHopL2InfoCollection v) { via_ = std::move(v); }
  L2AdjState state() const { return state_; }
  void stateIs(L2AdjState s) { state_ = s; }
  // Entered in L3Status::nextHopsToL2Adj (created or updated with sharing allowed).
  bool shared() const { return shared_; }
  void sharedIs(bool s) { shared_ = s; }
  // The chip accepted some version of it: a retry is an update, not a create.
  bool inChip() const { return inChip_; }
  void inChipIs(bool b) { inChip_ = b; }

  std::set<uint64_t> const& adjEntry() const { return adjEntry_; }
  bool adjEntryHas(uint64_t adjIndex) const { return adjEntry_.count(adjIndex) != 0; }
  void adjEntryIs(uint64_t adjIndex) { adjEntry_.insert(adjIndex); }
  void adjEntryDel(uint64_t adjIndex) { adjEntry_.erase(adjIndex); }

  std::set<uint64_t> const& reviewPendingAdj() const { return reviewPendingAdj_; }
  void reviewPendingAdjIs(uint64_t adjIndex) { reviewPendingAdj_.insert(adjIndex); }
  void reviewPendingAdjDel(uint64_t adjIndex) { reviewPendingAdj_.erase(adjIndex); }

 private:
  L2AdjKey key_;
  NextHopL2InfoCollection via_;
  L2AdjState state_ = L2AdjState::newborn;
  bool shared_ = false;
  bool inChip_ = false;
  std::set<uint64_t> adjEntry_;
  std::set<uint64_t> reviewPendingAdj_;
};

}  // namespace Kor
