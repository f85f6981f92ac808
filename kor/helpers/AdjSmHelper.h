#pragma once
// Platform hook of the L2 adjacency helper: programs L2 adjacencies in the
// chip. createAdj / updateAdj / syncAdj answer with AdjUpdateStatus, which
// the helper records as the L2 adjacency's state; an answer is never an
// exception. A platform library derives from it; an operation it does not
// override fails loudly.
//
// Restart: a chip that keeps its L2 adjacencies across an agent restart
// reports them through heldAdjs(); the helper claims each one back with
// syncAdj(l2Adj, index) under the index the chip holds it by, and deletes
// those nobody claimed at the end of the initial sync.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kor/records/AdjUpdateStatus.h"
#include "kor/records/L2Adjacency.h"
#include "kor/records/NextHopL2InfoCollection.h"
#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "nollo/IntfId.h"

namespace KorHelper {

class KOR_EXPORT AdjSmHelper : public Kor::KorBaseHelper {
 public:
  using HeldAdjs = std::vector<std::pair<uint64_t, Kor::NextHopL2InfoCollection>>;

  explicit AdjSmHelper(std::string name = "AdjSmHelper") : KorBaseHelper(std::move(name)) {}

  virtual Kor::AdjUpdateStatus createAdj(Kor::L2Adjacency const& /*l2Adj*/) {
    unimplemented("AdjSmHelper", "createAdj");
    return Kor::AdjUpdateStatus::adjUpdateFail;
  }
  virtual Kor::AdjUpdateStatus updateAdj(Kor::L2Adjacency const& /*l2Adj*/) {
    unimplemented("AdjSmHelper", "updateAdj");
    return Kor::AdjUpdateStatus::adjUpdateFail;
  }
  // Takes over the chip's L2 adjacency held under `index` for l2Adj (whose
  // key is that index), rewriting it only if its data differs.
  virtual Kor::AdjUpdateStatus syncAdj(Kor::L2Adjacency const& /*l2Adj*/, uint64_t /*index*/) {
    unimplemented("AdjSmHelper", "syncAdj");
    return Kor::AdjUpdateStatus::adjUpdateFail;
  }
  virtual void deleteAdj(Kor::L2Adjacency const& /*l2Adj*/) { unimplemented("AdjSmHelper", "deleteAdj"); }
  // Whether the chip holds exactly l2Adj under its key.
  virtual bool verifyAdj(Kor::L2Adjacency const& /*l2Adj*/) {
    unimplemented("AdjSmHelper", "verifyAdj");
    return false;
  }
  // The chip's next-hop index for the L2 adjacency (0: not programmed).
  virtual uint64_t getNexthopIndexForAdj(Kor::L2Adjacency const& /*l2Adj*/) const {
    unimplemented("AdjSmHelper", "getNexthopIndexForAdj");
    return 0;
  }
  // The chip's id of a routed interface (0: none).
  virtual uint32_t getL3IntfId(Nollo::IntfId const& /*l3IntfId*/) {
    unimplemented("AdjSmHelper", "getL3IntfId");
    return 0;
  }
  // The chip's id of a port channel (0: none).
  virtual uint32_t getHwLagId(Nollo::IntfId const& /*intfId*/) const {
    unimplemented("AdjSmHelper", "getHwLagId");
    return 0;
  }
  // The sharing mode used when the configuration asks for the platform's default.
  virtual bool adjSharingDefault() const {
    unimplemented("AdjSmHelper", "adjSharingDefault");
    return false;
  }
  // The L2 adjacencies the chip holds from an earlier run, with their index.
  virtual HeldAdjs heldAdjs() const {
    unimplemented("AdjSmHelper", "heldAdjs");
    return {};
  }
};

}  // namespace KorHelper
