#pragma once
// A counted pointer to a PtrInterface: one pointer wide, the count lives in
// the object.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>

#include "vix/PtrInterface.h"

namespace Vix {

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

}  // namespace Vix

template <class T>
struct std::hash<Vix::Ptr<T>> {
  size_t operator()(Vix::Ptr<T> const& p) const noexcept { return std::hash<T*>()(p.ptr()); }
};

// Most users of Ptr also want the non-null variant.
#include "vix/ValidPtr.h"
