#pragma once
// The worker of a MAC event rate limiter: watches one input MacTable (the
// table the platform fills from the chip's learn and age events) and copies
// each event into the output MacTable that the MAC table state machine
// reads. An event is copied at once when the backlog is empty and the shared
// bucket holds a token (it takes one); otherwise it joins the backlog, at
// most one entry per key, which the limiter (MacAddrCodef) works off as it
// refills, through doPendingCopies. A backlog copy re-reads the input table:
// the state at copy time wins, so a learn and an age of one key while
// backlogged give a single deletion.
//
// Invariant: every key in the backlog has an event not yet copied; the
// output table equals the input table whenever the backlog is empty.
#include <cstddef>
#include <optional>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/mac/MacAddrCodefBucketStatus.h"
#include "kor/mac/MacAddressBacklogEntry.h"
#include "kor/records/MacTable.h"
#include "vix/NestedReactor.h"
#include "vix/PassDeadline.h"
#include "vix/ReactorSet.h"
#include "vix/ReviewQueue.h"

namespace Kor {

class MacAddrCodef;

class KOR_EXPORT MacTableCodefSm : public KorBaseSm {
 public:
  using Key = KorTypes::MacAddressTableEntry::Key;
  using Backlog = Vix::ReviewQueue<Key, MacAddressBacklogEntry>;

  MacTableCodefSm(Vix::Ptr<KorCommonSmData> const& acsd, MacAddrCodef* codef,
                  Vix::Ptr<KorTypes::MacTable const> const& macTableIn, Vix::Ptr<KorTypes::MacTable> const& macTableOut,
                  Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus);
  ~MacTableCodefSm() override;

  Vix::Ptr<KorTypes::MacTable const> const& macTableIn() const { return macTableIn_; }
  Vix::Ptr<KorTypes::MacTable> const& macTableOut() const { return macTableOut_; }
  Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus() const { return bucketStatus_; }
  Backlog const& backlog() const { return backlog_; }
  // The key the next backlog copy starts at (none: the head).
  std::optional<Key> bookmark() const { return backlog_.bookmark(); }
  // A disabled worker queues every event and is given no tokens.
  bool enabled() const { return enabled_; }
  void enabledIs(bool e);

  // One event of the input table for `key`: copy now or queue.
  void handleMacAddress(Key const& key);
  // Copies the backlog entry at the bookmark.
  void doNextPendingCopy();
  // Copies up to `n` backlog entries from the bookmark, stopping early when
  // the deadline expires; returns how many it copied.
  size_t doPendingCopies(size_t n, Vix::PassDeadline& deadline);

 private:
  class VixMacTableIn;
  void doCopy(Key const& key);

  MacAddrCodef* codef_;
  Vix::Ptr<KorTypes::MacTable const> macTableIn_;
  Vix::Ptr<KorTypes::MacTable> macTableOut_;
  Vix::Ptr<MacAddrCodefBucketStatus> bucketStatus_;
  Backlog backlog_;
  bool enabled_ = true;
  Vix::ReactorSet<MacTableCodefSm> vixReactors_{this};
};

}  // namespace Kor
