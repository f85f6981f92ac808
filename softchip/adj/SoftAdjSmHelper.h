#pragma once
// The software chip's L2 adjacency hook: programs L2 adjacencies into the
// chip's "l2adj" table (index -> rewrite data), those of next-hop groups
// (type nexthopAdj) into its "nhg" table, each write answered through
// the fault injector under the table's kind and the index. Every call is
// counted per operation, and the most recent kCallHistory calls are kept
// ("createAdj 5", "syncAdj 5", ...) in a ring: the helper lives as long as
// the agent, so a record of every call would grow with each adjacency update
// for the daemon's whole life. The table counts what changed it. A write refused because the table is full
// sets the library's L3Status::adjResourceFull; a delete that makes room, or
// recheckResourceFull() once the refusing rule is gone, clears it.
// Owned by the SoftChip, so the table, its indexes and the counters survive
// an agent restart; the agent hands it the new run's L3Status.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kor/helpers/AdjSmHelper.h"
#include "kor/records/L3Status.h"
#include "softchip/adj/BucketWriteCounter.h"
#include "vix/Ptr.h"

namespace SoftChip {

class SoftChip;

class SoftAdjSmHelper : public KorHelper::AdjSmHelper {
 public:
  explicit SoftAdjSmHelper(SoftChip* chip) : chip_(chip) {}

  Kor::AdjUpdateStatus createAdj(Kor::L2Adjacency const& l2Adj) override;
  Kor::AdjUpdateStatus updateAdj(Kor::L2Adjacency const& l2Adj) override;
  Kor::AdjUpdateStatus syncAdj(Kor::L2Adjacency const& l2Adj, uint64_t index) override;
  void deleteAdj(Kor::L2Adjacency const& l2Adj) override;
  bool verifyAdj(Kor::L2Adjacency const& l2Adj) override;
  uint64_t getNexthopIndexForAdj(Kor::L2Adjacency const& l2Adj) const override;
  uint32_t getL3IntfId(Nollo::IntfId const& l3IntfId) override;
  // A port channel's hardware id is its number unless hwLagIdIs changed it;
  // 0 for anything else.
  uint32_t getHwLagId(Nollo::IntfId const& intfId) const override;
  // The chip gives the port channel another hardware id (0: back to its
  // number) and tells the library through L3Status::hwLagIdChange, written
  // and removed at once: every VRF's link review re-reviews the adjacencies
  // on the port channel.
  void hwLagIdIs(Nollo::IntfId const& lag, uint32_t id);
  bool adjSharingDefault() const override { return adjSharingDefault_; }
  HeldAdjs heldAdjs() const override;

  void adjSharingDefaultIs(bool b) { adjSharingDefault_ = b; }
  // The L3 status of the running library (null between runs).
  void l3StatusIs(Vix::Ptr<Kor::L3Status> const& s) { l3Status_ = s; }
  // Clears adjResourceFull when a new L2 adjacency would now be taken.
  void recheckResourceFull();

  // How many recent calls calls() keeps.
  static constexpr size_t kCallHistory = 256;
  // The most recent calls (at most kCallHistory), oldest first.
  std::vector<std::string> calls() const;
  void callsDelAll();
  // How many times an operation ("createAdj", "updateAdj", ...) was called.
  uint64_t opCount(std::string const& op) const;
  // Bucket writes of resilient L2 adjacencies (accepted writes only).
  BucketWriteCounter const& bucketWrites() const { return bucketWrites_; }

 private:
  // One recorded call; op is one of the operation names (string literals).
  struct Call {
    char const* op;
    uint64_t index;
  };

  Kor::AdjUpdateStatus write(char const* op, uint64_t index, Kor::NextHopL2InfoCollection const& via);
  void record(char const* op, uint64_t index);

  SoftChip* chip_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  bool adjSharingDefault_ = true;
  // A ring of at most kCallHistory calls; once full, callNext_ is the
  // oldest, overwritten by the next call.
  std::vector<Call> calls_;
  size_t callNext_ = 0;
  std::map<std::string, uint64_t> opCount_;
  std::map<Nollo::IntfId, uint32_t> l3IntfId_;
  std::map<Nollo::IntfId, uint32_t> hwLagId_;
  BucketWriteCounter bucketWrites_;
};

}  // namespace SoftChip
