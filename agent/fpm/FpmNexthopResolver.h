#pragma once
// Turns zebra's next hops into FIB vias: a route's inline next hops, a single
// next-hop object, or a group object (its members' next hops with the
// group's weights). Owns the kernel interface lookup the next hops' ifindex
// go through and the scratch vector of a group's hops (no allocation per
// route). Stateless otherwise: the objects it resolves are the caller's, a
// group's members are found through the MemberLookup it is given.
// Results: FpmFault::none with vias and the FEC type (attached for a
// connected next hop, drop for blackhole objects, forward otherwise), or the
// cause with `why` naming what was wrong.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/fib/FibModule.h"
#include "agent/fpm/FpmFault.h"
#include "feeds/NlNexthopObject.h"
#include "nollo/IntfId.h"
#include "quill/FecType.h"

namespace KorAgent {

class FpmNexthopResolver {
 public:
  using IntfLookup = std::function<std::optional<Nollo::IntfId>(uint32_t ifindex)>;
  // The member object of that id, null when none is known.
  using MemberLookup = std::function<KorFeeds::NlNexthopObject const*(uint32_t id)>;

  explicit FpmNexthopResolver(IntfLookup intfLookup) : intfLookup_(std::move(intfLookup)) {}

  template <class AF>
  FpmFault hops(std::vector<KorFeeds::NlNexthop> const& hops, std::vector<FibModule::Via>* vias,
                Quill::Fib::FecType* type, std::string* why) const;
  template <class AF>
  FpmFault object(KorFeeds::NlNexthopObject const& o, MemberLookup const& members, std::vector<FibModule::Via>* vias,
                  Quill::Fib::FecType* type, std::string* why);

 private:
  IntfLookup intfLookup_;
  std::vector<KorFeeds::NlNexthop> groupHops_;
};

}  // namespace KorAgent
