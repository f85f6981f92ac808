#pragma once
#include <memory>
#include <vector>

#include "vix/NestedReactor.h"
#include "vix/Ptr.h"

namespace Vix {

// The reactors one owner (a state machine) watches its inputs with. watch()
// creates a NestedReactor, points it at the owner and attaches it to the
// entity; a null entity is not watched. The set owns its reactors and
// destroys them, detached, with itself; the owner declares it after the
// members its handlers use so that no handler runs on a half-destroyed owner.
// The owner keeps a list of its reactors for switching deliveries off and on
// (KorBaseSm's reactorAdd/reactorDel, open to the set as a friend): each
// reactor is added to it on creation and removed before it is destroyed. The
// calls are plain, not detected, so that an owner the set cannot reach fails
// to compile instead of losing the switch.
template <class Owner>
class ReactorSet {
 public:
  explicit ReactorSet(Owner* owner) : owner_(owner) {}
  ReactorSet(ReactorSet const&) = delete;
  ReactorSet& operator=(ReactorSet const&) = delete;
  ~ReactorSet() { clear(); }

  template <class R, class E>
  R* watch(Ptr<E> const& entity) {
    if (!entity) return nullptr;
    R* r = add<R>();
    r->notifierIs(entity);
    return r;
  }

  // A reactor attached to nothing yet: the owner binds it (notifierIs) to
  // an entity that changes over the owner's life.
  template <class R>
  R* add() {
    auto reactor = std::make_unique<R>();
    R* r = reactor.get();
    r->sm_ = owner_;
    owner_->reactorAdd(r);
    list_.push_back(std::move(reactor));
    return r;
  }

  // Detaches and destroys every reactor, newest first.
  void clear() {
    while (!list_.empty()) {
      owner_->reactorDel(list_.back().get());
      list_.pop_back();
    }
  }

  size_t size() const { return list_.size(); }

 private:
  Owner* owner_;
  std::vector<std::unique_ptr<NotifieeBase>> list_;
};

}  // namespace Vix
