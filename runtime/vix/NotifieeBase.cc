#include "vix/NotifieeBase.h"

#include "vix/Notifier.h"

namespace Vix {

NotifieeBase::~NotifieeBase() { detach(); }

void NotifieeBase::attach(Notifier const* n) {
  detach();
  notifier_ = n;
  n->add(this);
}

void NotifieeBase::detach() {
  if (!notifier_) return;
  notifier_->remove(this);
  notifier_ = nullptr;
}

}  // namespace Vix
