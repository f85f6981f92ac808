#pragma once
// The FEC table of the shared-memory FIB for one address family: FEC id ->
// FEC record, written by the routing agent, read by the adjacency state
// machines (one notification handleFec(fecId) per added, changed or deleted
// FEC; a deleted FEC reads back as a null pointer). Invariant: no entry is
// keyed by the invalid FEC id, and each record's id() equals its key.
#include <string>
#include <utility>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/Fec.h"
#include "quill/FecId.h"
#include "vix/Entity.h"

namespace Quill::Fib {

template <class AF>
class ForwardingStatusT : public Vix::Entity {
 public:
  using Fec = FecT<AF>;
  using FecPtr = Vix::Ptr<Fec const>;
  using Key = FecId;

  class Notifiee : public Vix::NotifieeOf<ForwardingStatusT> {
   public:
    using Vix::NotifieeOf<ForwardingStatusT>::NotifieeOf;
    VIX_KEY_HANDLER(FecId, Fec)
  };
  // The per-key notification under one name for generic readers
  // (Quill::SlicedReader).
  class KeyNotifiee : public Notifiee {
   public:
    using Notifiee::Notifiee;
    void handleFec(FecId const& k) override { handleKey(k); }
    virtual void handleKey(Key const& k) = 0;
  };

  ForwardingStatusT() = default;
  explicit ForwardingStatusT(std::string name) : Vix::Entity(std::move(name)) {}

  VIX_HASH_MAP(FecId, FecPtr, fec, Fec)

 public:
  // Publishes a copy of `f` under its own id.
  void fecIs(Fec const& f) { fecIs(f.id(), Vix::makePtr<Fec const>(f)); }
  template <class F>
  void forEachKey(F f) const {
    for (auto const& kv : fecMap()) f(kv.first);
  }
};

using ForwardingStatus = ForwardingStatusT<Nollo::Ipv4>;

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using ForwardingStatus = Quill::Fib::ForwardingStatusT<Nollo::Ipv6>;
}
