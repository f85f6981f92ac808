#pragma once
// The reference count every shared record, entity and state machine carries
// in itself, so a raw `this` can be turned back into a Ptr safely. Everything
// runs on the one activity loop, so counts are plain integers: a route's
// hand-over copies Ptrs a few times, and locked increments on shared records
// would cost more than the rest of the hand-over.
#include <cstdint>

namespace Vix {

class PtrInterface {
 public:
  PtrInterface() = default;
  PtrInterface(PtrInterface const&) : refs_(0) {}
  PtrInterface& operator=(PtrInterface const&) { return *this; }
  virtual ~PtrInterface() = default;

  void ref() const noexcept { ++refs_; }
  void unref() const noexcept {
    if (--refs_ == 0) delete this;
  }
  uint32_t references() const noexcept { return refs_; }

 private:
  mutable uint32_t refs_ = 0;
};

}  // namespace Vix
