#pragma once
// Intrusive reference counting for every shared record, entity and state machine.
// The count lives in the object (PtrInterface), so a Ptr is one pointer wide and
// a raw `this` can be turned back into a Ptr safely.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>

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

template <class T>
class Ptr {
 public:
  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}
  Ptr(T* p) noexcept : p_(p) { if (p_) p_->ref(); }
  Ptr(Ptr const& o) noexcept : p_(o.p_) { if (p_) p_->ref(); }
  Ptr(Ptr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(Ptr<U> const& o) noexcept : p_(o.ptr()) { if (p_) p_->ref(); }
  ~Ptr() { if (p_) p_->unref(); }

  Ptr& operator=(Ptr o) noexcept { std::swap(p_, o.p_); return *this; }

  T* ptr() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  bool operator==(Ptr const& o) const noexcept { return p_ == o.p_; }
  bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }
  bool operator<(Ptr const& o) const noexcept { return std::less<T*>()(p_, o.p_); }

 private:
  T* p_ = nullptr;
};

template <class T, class... A>
Ptr<T> makePtr(A&&... a) { return Ptr<T>(new T(std::forward<A>(a)...)); }

template <class T, class U>
Ptr<T> ptrCast(Ptr<U> const& u) { return Ptr<T>(static_cast<T*>(u.ptr())); }

// A pointer that may not be null: a mandatory input of a state machine.
template <class T>
class ValidPtr : public Ptr<T> {
 public:
  ValidPtr(Ptr<T> const& p) : Ptr<T>(p) { if (!p) throw std::invalid_argument("null ValidPtr"); }
  ValidPtr(T* p) : ValidPtr(Ptr<T>(p)) {}
};

}  // namespace Vix

template <class T>
struct std::hash<Vix::Ptr<T>> {
  size_t operator()(Vix::Ptr<T> const& p) const noexcept { return std::hash<T*>()(p.ptr()); }
};
