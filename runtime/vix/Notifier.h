#pragma once
// Notification plumbing shared by every entity. An entity (Notifier) keeps the
// reactors (NotifieeBase) attached to it and calls one typed handler per changed
// attribute, passing the key for keyed collections. Delivery is synchronous and
// in attachment order; reactors may attach or detach during a delivery.
#include <cstddef>
#include <vector>

#include "vix/NotifieeBase.h"

namespace Vix {

class Notifier {
 public:
  Notifier() = default;
  Notifier(Notifier const&) : Notifier() {}
  Notifier& operator=(Notifier const&) { return *this; }
  ~Notifier();

  size_t notifieeCount() const;

 protected:
  // Calls fn on every active notifiee. N is the entity's Notifiee class.
  template <class N, class... P, class... A>
  void notify(void (N::*fn)(P...), A const&... a) const {
    ++depth_;
    for (size_t i = 0; i < list_.size(); ++i) {
      NotifieeBase* n = list_[i];
      if (n && n->active_) (static_cast<N*>(n)->*fn)(a...);
    }
    if (--depth_ == 0 && holes_) compact();
  }

 private:
  friend class NotifieeBase;
  void add(NotifieeBase* n) const { list_.push_back(n); }
  void remove(NotifieeBase* n) const;
  void compact() const;

  mutable std::vector<NotifieeBase*> list_;
  mutable unsigned depth_ = 0;
  mutable bool holes_ = false;
};

}  // namespace Vix

#include "vix/NotifieeOf.h"
