#pragma once
// The reference count every shared record, entity and state machine carries
// in itself, so a raw `this` can be turned back into a Ptr safely. Counts
// change atomically.
#include <atomic>
#include <cstdint>

namespace Vix {

class PtrInterface {
 public:
  PtrInterface() = default;
  PtrInterface(PtrInterface const&) : refs_(0) {}
  PtrInterface& operator=(PtrInterface const&) { return *this; }
  virtual ~PtrInterface() = default;

  void ref() const noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
  void unref() const noexcept {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  uint32_t references() const noexcept { return refs_.load(std::memory_order_relaxed); }

 private:
  mutable std::atomic<uint32_t> refs_{0};
};

}  // namespace Vix
