#include "vix/Notifier.h"

#include <algorithm>

namespace Vix {

Notifier::~Notifier() {
  for (NotifieeBase* n : list_)
    if (n) n->notifier_ = nullptr;
}

size_t Notifier::notifieeCount() const {
  return static_cast<size_t>(std::count_if(list_.begin(), list_.end(), [](auto* n) { return n; }));
}

void Notifier::remove(NotifieeBase* n) const {
  auto it = std::find(list_.begin(), list_.end(), n);
  if (it == list_.end()) return;
  if (depth_) {
    *it = nullptr;  // a delivery is walking the list: leave a hole
    holes_ = true;
  } else {
    list_.erase(it);
  }
}

void Notifier::compact() const {
  list_.erase(std::remove(list_.begin(), list_.end(), nullptr), list_.end());
  holes_ = false;
}

}  // namespace Vix
