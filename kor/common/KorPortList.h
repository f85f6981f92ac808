#pragma once
// A set of interface ids kept as a sorted list (the members of a LAG, as in
// KorCommonSmData::lagToPort and lagToPortConfig). No duplicates; two lists
// with the same members compare equal whatever order they were filled in.
#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <vector>

#include "kor/common/KorExport.h"
#include "nollo/IntfId.h"

namespace Kor {

class KOR_EXPORT KorPortList {
 public:
  KorPortList() = default;
  KorPortList(std::initializer_list<Nollo::IntfId> ports);

  // Returns whether the port was new.
  bool portAdd(Nollo::IntfId const& port);
  // Returns whether the port was there.
  bool portDel(Nollo::IntfId const& port);
  bool has(Nollo::IntfId const& port) const;
  size_t size() const { return ports_.size(); }
  bool empty() const { return ports_.empty(); }

  std::vector<Nollo::IntfId> const& ports() const { return ports_; }
  auto begin() const { return ports_.begin(); }
  auto end() const { return ports_.end(); }

  bool operator==(KorPortList const&) const = default;

 private:
  std::vector<Nollo::IntfId> ports_;
};

// "[Ethernet1, Ethernet2]"
KOR_EXPORT std::ostream& operator<<(std::ostream& os, KorPortList const& l);

}  // namespace Kor
