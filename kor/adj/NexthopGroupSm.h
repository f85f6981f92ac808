#pragma once
// The machine of one next-hop group in one VRF (trace "KorNexthopGroupSm"),
// created by the VRF's NexthopGroupRouteSm (doCreateNexthopGroupSm) when the
// first user asks for the group's id and deleted with its last user.
//
// Owns the group's users: the adjacencies built over it (a FEC naming the
// group) and the next-hop-group requests, each counted per adjacency index
// (the group's adjacency index for every user today; the count stays per
// index so that a later user of another adjacency needs no new bookkeeping).
// Invariant: refCnt() is the sum of the counts and is never 0 while the
// machine lives. The group's name is known once the platform published the
// group; an id whose group is not published has an empty name.
#include <cstdint>
#include <map>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"

namespace Kor {

class NexthopGroupSm : public KorBaseSm {
 public:
  NexthopGroupSm(Vix::Ptr<KorCommonSmData> const& acsd, uint64_t id)
      : KorBaseSm(acsd, "KorNexthopGroupSm"), id_(id) {}

  uint64_t id() const { return id_; }
  std::string const& name() const { return name_; }
  void nameIs(std::string const& n) { name_ = n; }
  uint32_t refCnt() const { return refCnt_; }
  uint32_t refCnt(uint64_t adjIndex) const {
    auto it = adjRefCnt_.find(adjIndex);
    return it == adjRefCnt_.end() ? 0 : it->second;
  }
  std::map<uint64_t, uint32_t> const& adjRefCnt() const { return adjRefCnt_; }

  // One user more (or less) through the adjacency; returns the new total.
  uint32_t doAddRef(uint64_t adjIndex);
  uint32_t doDelRef(uint64_t adjIndex);

 private:
  uint64_t id_;
  std::string name_;
  std::map<uint64_t, uint32_t> adjRefCnt_;
  uint32_t refCnt_ = 0;
};

}  // namespace Kor
