#pragma once
// Entities in the generated attribute style. An entity class derives from
// Vix::Entity, declares a nested `Notifiee` (derived from Vix::NotifieeOf<Self>)
// with one virtual handler per attribute, and declares its attributes with the
// macros below:
//
//   VIX_ATTR(bool, routingEnabled, RoutingEnabled)
//       routingEnabled(), routingEnabledIs(v)  -> handleRoutingEnabled()
//   VIX_COUNTER(uint64_t, unicastReviewPending, UnicastReviewPending)
//       + unicastReviewPendingInc(d = 1), unicastReviewPendingDec(d = 1)
//   VIX_HASH_MAP(Key, Value, adjInfoList, AdjInfoList)     (open addressing)
//   VIX_ORDERED_MAP(Key, Value, vrfName, VrfName)          (ordered iteration)
//       adjInfoList(k) (value or Value{}), adjInfoListHas(k), adjInfoListIs(k, v),
//       adjInfoListDel(k), adjInfoListDelAll(), adjInfoListSize(),
//       adjInfoListMap() for iteration            -> handleAdjInfoList(k)
//   VIX_CHILD_MAP(Key, Child, vrfL3Status, VrfL3Status)
//       a map of owned child entities: newVrfL3Status(k, args...) constructs
//       Child(k, args...), plus the map operations above
//   VIX_QUEUE(T, freeVrfIndex, FreeVrfIndex)
//       freeVrfIndexEnq(v), freeVrfIndexDeq(), freeVrfIndexFront(),
//       freeVrfIndexRemove(v), freeVrfIndexSize(), freeVrfIndexQueue()
//                                                  -> handleFreeVrfIndex()
//
// Setters that write an unchanged value notify nobody. Every setter notifies
// after the new value is stored, so a handler always reads the current state.
// The Notifiee declares the handlers with VIX_HANDLER(Name) for plain
// attributes and VIX_KEY_HANDLER(Key, Name) for keyed collections.
#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "vix/HashMap.h"
#include "vix/Notifier.h"
#include "vix/Ptr.h"

namespace Vix {

class Entity : public PtrInterface, public Notifier {
 public:
  Entity() = default;
  explicit Entity(std::string name) : name_(std::move(name)) {}
  std::string const& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace Vix

#define VIX_HANDLER(Name) \
  virtual void handle##Name() {}
#define VIX_KEY_HANDLER(Key, Name) \
  virtual void handle##Name(Key const&) {}

#define VIX_ATTR(T, name, Name)                      \
 public:                                             \
  T const& name() const { return name##_; }          \
  void name##Is(T const& v) {                        \
    if (name##_ == v) return;                        \
    name##_ = v;                                     \
    this->notify(&Notifiee::handle##Name);           \
  }                                                  \
                                                     \
 private:                                            \
  T name##_{};

#define VIX_COUNTER(T, name, Name)                                \
  VIX_ATTR(T, name, Name)                                         \
 public:                                                          \
  void name##Inc(T d = 1) { name##Is(static_cast<T>(name##_ + d)); } \
  void name##Dec(T d = 1) { name##Is(static_cast<T>(name##_ - d)); } \
                                                                  \
 private:

// GUARD(k, "name") runs first in name##Is: a map whose keys have a value
// that must never be stored (an invalid id) refuses it there; VIX_MAP_IMPL
// takes every key.
#define VIX_NO_KEY_GUARD(k, nameText)
#define VIX_MAP_IMPL(Container, K, V, name, Name) VIX_GUARDED_MAP_IMPL(Container, K, V, name, Name, VIX_NO_KEY_GUARD)
#define VIX_GUARDED_MAP_IMPL(Container, K, V, name, Name, GUARD)          \
 public:                                                                  \
  V name(K const& k) const {                                              \
    auto it = name##_.find(k);                                            \
    return it == name##_.end() ? V{} : it->second;                        \
  }                                                                       \
  bool name##Has(K const& k) const { return name##_.find(k) != name##_.end(); } \
  void name##Is(K const& k, V const& v) {                                 \
    GUARD(k, #name)                                                       \
    auto [it, fresh] = name##_.try_emplace(k, v);                         \
    if (!fresh) {                                                         \
      if (it->second == v) return;                                        \
      it->second = v;                                                     \
    }                                                                     \
    this->notify(&Notifiee::handle##Name, k);                             \
  }                                                                       \
  void name##Del(K const& k) {                                            \
    if (name##_.erase(k)) this->notify(&Notifiee::handle##Name, k);       \
  }                                                                       \
  /* Notifies the key's watchers although nothing changed (a retry). */   \
  void name##Notify(K const& k) { this->notify(&Notifiee::handle##Name, k); } \
  void name##DelAll() {                                                   \
    Container<K, V> gone;                                                 \
    std::swap(gone, name##_);                                             \
    for (auto const& kv : gone) this->notify(&Notifiee::handle##Name, kv.first); \
  }                                                                       \
  size_t name##Size() const { return name##_.size(); }                    \
  Container<K, V> const& name##Map() const { return name##_; }            \
  void name##Reserve(size_t n) { Vix::reserveIfPossible(name##_, n); }    \
                                                                          \
 private:                                                                 \
  Container<K, V> name##_;

#define VIX_HASH_MAP(K, V, name, Name) VIX_MAP_IMPL(Vix::HashMap, K, V, name, Name)
#define VIX_ORDERED_MAP(K, V, name, Name) VIX_MAP_IMPL(std::map, K, V, name, Name)

#define VIX_CHILD_MAP(K, Child, name, Name)                                \
  VIX_ORDERED_MAP(K, Vix::Ptr<Child>, name, Name)                          \
 public:                                                                   \
  template <class... A>                                                    \
  Vix::Ptr<Child> new##Name(K const& k, A&&... a) {                        \
    auto c = Vix::makePtr<Child>(k, std::forward<A>(a)...);                \
    name##Is(k, c);                                                        \
    return c;                                                              \
  }                                                                        \
                                                                           \
 private:

#define VIX_QUEUE(T, name, Name)                                          \
 public:                                                                  \
  void name##Enq(T const& v) {                                            \
    name##_.push_back(v);                                                 \
    this->notify(&Notifiee::handle##Name);                                \
  }                                                                       \
  T name##Deq() {                                                         \
    T v = name##_.front();                                                \
    name##_.pop_front();                                                  \
    this->notify(&Notifiee::handle##Name);                                \
    return v;                                                             \
  }                                                                       \
  T const& name##Front() const { return name##_.front(); }                \
  bool name##Remove(T const& v) {                                         \
    for (auto it = name##_.begin(); it != name##_.end(); ++it) {          \
      if (*it == v) {                                                     \
        name##_.erase(it);                                                \
        this->notify(&Notifiee::handle##Name);                            \
        return true;                                                      \
      }                                                                   \
    }                                                                     \
    return false;                                                         \
  }                                                                       \
  size_t name##Size() const { return name##_.size(); }                    \
  std::deque<T> const& name##Queue() const { return name##_; }            \
                                                                          \
 private:                                                                 \
  std::deque<T> name##_;
