#pragma once
// A FIB forwarding-equivalence class: its id, what it does (FecType) and its
// vias. A value type that is also reference-counted: FEC tables hold FECs as
// Vix::Ptr<FecT const>, so a lookup hands out a pointer instead of copying the
// via list, and a writer replaces a FEC by publishing a new record.
#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/FecId.h"
#include "quill/FecType.h"
#include "quill/Via.h"
#include "vix/Ptr.h"

namespace Quill::Fib {

template <class AF>
class FecT : public Vix::PtrInterface {
 public:
  using Via = ViaT<AF>;

  FecT() = default;
  FecT(FecId id, FecType type, std::vector<Via> vias = {})
      : id_(id), type_(type), vias_(std::move(vias)) {}

  FecId const& id() const { return id_; }
  void idIs(FecId id) { id_ = id; }
  FecType type() const { return type_; }
  void typeIs(FecType t) { type_ = t; }
  std::vector<Via> const& vias() const { return vias_; }
  void viasIs(std::vector<Via> v) { vias_ = std::move(v); }
  void viaAdd(Via const& v) { vias_.push_back(v); }
  size_t viaCount() const { return vias_.size(); }
  Via const& via(size_t i) const { return vias_.at(i); }

  // "fec 72057594037927937 forward [10.0.0.1 Ethernet1 weight 1; ...]".
  std::string str() const {
    std::string s = "fec " + id_.str() + " " + Quill::Fib::str(type_) + " [";
    for (size_t i = 0; i < vias_.size(); ++i) s += (i ? "; " : "") + vias_[i].str();
    return s + "]";
  }

  bool operator==(FecT const& o) const { return id_ == o.id_ && type_ == o.type_ && vias_ == o.vias_; }

 private:
  FecId id_;
  FecType type_ = FecType::drop;
  std::vector<Via> vias_;
};

template <class AF>
std::ostream& operator<<(std::ostream& os, FecT<AF> const& f) {
  return os << f.str();
}

using Fec = FecT<Nollo::Ipv4>;

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using Fec = Quill::Fib::FecT<Nollo::Ipv6>;
}
