#pragma once
// KOR_FEC_ID_MAP(V, name, Name): a hash-map attribute keyed by FEC id with the
// generated operations of VIX_HASH_MAP, that refuses invalidFecId_ as a key:
// no live adjacency carries it, so writing it is a broken invariant (a fatal
// assertion naming the attribute; with KOR_NOOP_AGENT the write is dropped).
#include <cstddef>
#include <utility>

#include "kor/common/KorAssert.h"
#include "quill/FecId.h"
#include "vix/Entity.h"
#include "vix/HashMap.h"

#define KOR_FEC_ID_MAP(V, name, Name)                                              \
 public:                                                                           \
  V name(Quill::Fib::FecId const& k) const {                                       \
    auto it = name##_.find(k);                                                     \
    return it == name##_.end() ? V{} : it->second;                                 \
  }                                                                                \
  bool name##Has(Quill::Fib::FecId const& k) const { return name##_.contains(k); } \
  void name##Is(Quill::Fib::FecId const& k, V const& v) {                          \
    if (!k.isValid()) {                                                            \
      ::Kor::korAssert("invalidFecId_ used as key of " #name);                     \
      return;                                                                      \
    }                                                                              \
    auto [it, fresh] = name##_.try_emplace(k, v);                                  \
    if (!fresh) {                                                                  \
      if (it->second == v) return;                                                 \
      it->second = v;                                                              \
    }                                                                              \
    this->notify(&Notifiee::handle##Name, k);                                      \
  }                                                                                \
  void name##Del(Quill::Fib::FecId const& k) {                                     \
    if (name##_.erase(k)) this->notify(&Notifiee::handle##Name, k);                \
  }                                                                                \
  void name##DelAll() {                                                            \
    Vix::HashMap<Quill::Fib::FecId, V> gone;                                       \
    std::swap(gone, name##_);                                                      \
    for (auto const& kv : gone) this->notify(&Notifiee::handle##Name, kv.first);   \
  }                                                                                \
  size_t name##Size() const { return name##_.size(); }                             \
  Vix::HashMap<Quill::Fib::FecId, V> const& name##Map() const { return name##_; }  \
                                                                                   \
 private:                                                                          \
  Vix::HashMap<Quill::Fib::FecId, V> name##_;
