#pragma once
#include "vix/Notifier.h"
#include "vix/Ptr.h"

namespace Vix {

// Base of every entity's nested Notifiee: holds a counted reference to the
// entity it watches so the entity outlives its reactors.
template <class E>
class NotifieeOf : public NotifieeBase {
 public:
  explicit NotifieeOf(Ptr<E const> const& e) { notifierIs(e); }
  NotifieeOf() = default;
  ~NotifieeOf() override { detach(); }

  Ptr<E const> const& notifier() const { return entity_; }
  void notifierIs(Ptr<E const> const& e) {
    if (e == entity_) return;
    detach();
    entity_ = e;
    if (entity_) attach(entity_.ptr());
  }

 private:
  Ptr<E const> entity_;
};

}  // namespace Vix
