#include "kor/mac/MacTableCodefSm.h"

#include "kor/mac/MacAddrCodef.h"

namespace Kor {

class MacTableCodefSm::VixMacTableIn : public Vix::NestedReactor<MacTableCodefSm, KorTypes::MacTable::Notifiee> {
 public:
  void handleMacEntry(Key const& key) override { sm_->handleMacAddress(key); }
};

MacTableCodefSm::MacTableCodefSm(Vix::Ptr<KorCommonSmData> const& acsd, MacAddrCodef* codef,
                                 Vix::Ptr<KorTypes::MacTable const> const& macTableIn,
                                 Vix::Ptr<KorTypes::MacTable> const& macTableOut,
                                 Vix::Ptr<MacAddrCodefBucketStatus> const& bucketStatus)
    : KorBaseSm(acsd, "KorMacTableCodefSm"),
      codef_(codef),
      macTableIn_(macTableIn),
      macTableOut_(macTableOut),
      bucketStatus_(bucketStatus) {
  vixReactors_.watch<VixMacTableIn>(macTableIn_);
}

MacTableCodefSm::~MacTableCodefSm() = default;

void MacTableCodefSm::enabledIs(bool e) {
  if (e == enabled_) return;
  enabled_ = e;
  if (enabled_ && !backlog_.empty()) codef_->doArmRefill();
}

void MacTableCodefSm::handleMacAddress(Key const& key) {
  bool deleted = !macTableIn_->macEntryHas(key);
  if (enabled_ && backlog_.empty() && bucketStatus_->tokensRemaining() > 0) {
    bucketStatus_->tokensRemainingDec();
    doCopy(key);
    codef_->doArmRefill();
    return;
  }
  bool first = backlog_.empty();
  backlog_.enqueue(key, MacAddressBacklogEntry(key, deleted));
  KOR_TRACE(7, "Tokens exhausted, queueing job for later processing: addr=" << key << ", deletion=" << deleted);
  if (first) KOR_TRACE(3, "Rate limit reached, subsequent mac address events will be deferred");
  codef_->doArmRefill();
}

void MacTableCodefSm::doNextPendingCopy() {
  Vix::PassDeadline once(codef_->clock().loop()->timeSource(), Vix::kNever);
  doPendingCopies(1, once);
}

size_t MacTableCodefSm::doPendingCopies(size_t n, Vix::PassDeadline& deadline) {
  size_t copied = 0;
  if (n == 0) return 0;
  backlog_.runPass(deadline, [&](Key const& key, MacAddressBacklogEntry&) {
    if (copied == n) return Vix::ReviewAction::stop;
    ++copied;
    doCopy(key);
    return Vix::ReviewAction::done;
  });
  return copied;
}

void MacTableCodefSm::doCopy(Key const& key) {
  // Re-read: the input's state now wins over the event that was queued.
  if (auto e = macTableIn_->macEntry(key)) {
    KOR_TRACE(7, "Insertion request for address " << key << " on interface " << e->intf() << " is ready to process");
    macTableOut_->macEntryIs(e);
    return;
  }
  auto old = macTableOut_->macEntry(key);
  KOR_TRACE(7, "Deletion request for address " << key << " on interface " << (old ? old->intf() : Nollo::IntfId())
                                                << " is ready to process");
  macTableOut_->macEntryDel(key);
}

}  // namespace Kor
