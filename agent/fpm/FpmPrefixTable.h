#pragma once
// One VRF's FPM routes of one address family: per prefix the entry zebra
// sent with the lowest metric, which is in the VRF's FIB route table, and
// the entries of higher metrics waiting behind it (a lower metric's delete
// promotes the next). Each entry holds its FEC (a user of it: Owner's
// fecRef/fecUnref count the users) and the connection generation that last
// sent it (the stale sweep removes what an older one sent). Invariants: a
// prefix here is in the FIB with its current entry's FEC; `alt` is set iff
// the prefix has waiting entries, kept lowest metric first.
// Fed by FpmRouteSource, which owns the FECs.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"
#include "vix/HashMap.h"
#include "vix/Ptr.h"

namespace KorAgent {

template <class AF, class Fec, class Owner>
class FpmPrefixTable {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  static constexpr uint32_t kGenMask = 0x7fffffff;
  // A prefix's current entry; alt: entries of other metrics wait.
  struct Entry {
    Fec* fec = nullptr;
    uint32_t priority = 0;
    uint32_t gen : 31 = 0;
    uint32_t alt : 1 = 0;
  };
  struct Candidate {
    Fec* fec;
    uint32_t priority;
    uint32_t gen;
  };
  enum class Added { written, unchanged, shadowed };

  FpmPrefixTable(Owner* owner, Vix::Ptr<Quill::Fib::RouteStatusT<AF>> fib) : owner_(owner), fib_(std::move(fib)) {}

  size_t size() const { return routes_.size(); }
  bool has(Prefix const& p) const { return routes_.count(p) != 0; }
  Vix::HashMap<Prefix, Entry> const& routes() const { return routes_; }
  // The entries waiting behind `p`'s current one, lowest metric first.
  std::vector<Candidate> const& others(Prefix const& p) const { return others_.find(p)->second; }

  Added add(Prefix const& p, uint32_t priority, Fec* fe, uint32_t gen) {
    auto [it, fresh] = routes_.try_emplace(p);
    Entry& e = it->second;
    if (fresh || e.priority == priority) {
      bool const same = !fresh && e.fec == fe;
      Fec* old = fresh ? nullptr : e.fec;
      e.priority = priority;
      e.gen = gen;
      if (same) return Added::unchanged;
      doTake(p, e, fe);
      if (old) owner_->doUnref(old);
      return Added::written;
    }
    auto& others = others_[p];
    e.alt = 1;
    if (priority < e.priority) {
      // The new lowest metric takes the FIB; the old one waits behind it.
      others.insert(others.begin(), Candidate{e.fec, e.priority, e.gen});
      e.priority = priority;
      e.gen = gen;
      doTake(p, e, fe);
      return Added::written;
    }
    auto c = std::lower_bound(others.begin(), others.end(), priority,
                              [](Candidate const& a, uint32_t pr) { return a.priority < pr; });
    owner_->doRef(fe);
    if (c != others.end() && c->priority == priority) {
      owner_->doUnref(c->fec);
      c->fec = fe;
      c->gen = gen;
    } else {
      others.insert(c, Candidate{fe, priority, gen});
    }
    return Added::shadowed;
  }

  // Removes the entry of that metric (0: the current one, as the kernel's
  // delete without metric); false when there is none.
  bool del(Prefix const& p, uint32_t priority) {
    auto it = routes_.find(p);
    if (it == routes_.end()) return false;
    Entry& e = it->second;
    if (!priority || priority == e.priority) {
      doRemoveCurrent(p, e);
      return true;
    }
    if (!e.alt) return false;
    auto& others = others_.find(p)->second;
    auto c = std::find_if(others.begin(), others.end(), [&](Candidate const& a) { return a.priority == priority; });
    if (c == others.end()) return false;
    Fec* old = c->fec;
    others.erase(c);
    doOthersMaybeGone(p, e);
    owner_->doUnref(old);
    return true;
  }

  // Removes the prefix's entries not sent by connection `gen`; returns how many.
  size_t sweep(Prefix const& p, uint32_t gen) {
    auto it = routes_.find(p);
    if (it == routes_.end()) return 0;
    Entry& e = it->second;
    size_t n = 0;
    if (e.alt) {
      auto& others = others_.find(p)->second;
      for (auto c = others.begin(); c != others.end();) {
        if ((c->gen & kGenMask) == gen) {
          ++c;
          continue;
        }
        owner_->doUnref(c->fec);
        c = others.erase(c);
        ++n;
      }
      doOthersMaybeGone(p, e);
    }
    if (e.gen == gen) return n;
    doRemoveCurrent(p, e);
    return n + 1;
  }

  // Each entry of `p` takes next(fec) when that is not null; true when the
  // current one moved (a FIB write).
  template <class Next>
  bool move(Prefix const& p, Next&& next) {
    auto it = routes_.find(p);
    if (it == routes_.end()) return false;
    Entry& e = it->second;
    bool moved = false;
    if (Fec* fe = next(e.fec)) {
      Fec* old = e.fec;
      doTake(p, e, fe);
      owner_->doUnref(old);
      moved = true;
    }
    if (!e.alt) return moved;
    for (auto& c : others_.find(p)->second)
      if (Fec* fe = next(c.fec)) {
        owner_->doRef(fe);
        owner_->doUnref(c.fec);
        c.fec = fe;
      }
    return moved;
  }

 private:
  void doTake(Prefix const& p, Entry& e, Fec* fe) {
    e.fec = fe;
    owner_->doRef(fe);
    fib_->routeIs(Quill::Fib::RouteT<AF>(p, fe->fecId));
  }
  void doOthersMaybeGone(Prefix const& p, Entry& e) {
    if (!others_.find(p)->second.empty()) return;
    others_.erase(p);
    e.alt = 0;
  }
  // The current entry leaves: the next metric takes the FIB, or the route
  // goes; its FEC loses a user.
  void doRemoveCurrent(Prefix const& p, Entry& e) {
    Fec* old = e.fec;
    if (e.alt) {
      auto& others = others_.find(p)->second;
      Candidate c = others.front();
      others.erase(others.begin());
      doOthersMaybeGone(p, e);
      bool const write = c.fec != e.fec;
      e.fec = c.fec;
      e.priority = c.priority;
      e.gen = c.gen & kGenMask;
      if (write) fib_->routeIs(Quill::Fib::RouteT<AF>(p, c.fec->fecId));
    } else {
      routes_.erase(p);
      fib_->routeDel(p);
    }
    owner_->doUnref(old);
  }

  Owner* owner_;
  Vix::Ptr<Quill::Fib::RouteStatusT<AF>> fib_;
  Vix::HashMap<Prefix, Entry> routes_;
  Vix::HashMap<Prefix, std::vector<Candidate>> others_;
};

}  // namespace KorAgent
