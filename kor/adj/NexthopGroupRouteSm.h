#pragma once
// The next-hop-group route machine of one VRF (trace "KorNexthopGroupRouteSm"),
// created and owned by the VRF's VrfRoot before the adjacency machine, which
// it serves.
//
// Groups are published by name (NexthopGroup::Status: name -> id and
// members) and programmed by id: a FEC names its group by its id (the FEC
// id's adjacency type is nextHopGroupAdj, its index the group id), so the
// group's adjacency index and id convert one into the other
// (adjIndexFromNexthopGroupId, nexthopGroupIdFromAdjIndex).
//
// Owns:
// - an index of the published groups by id (statusIdToName), kept from the
//   status as it changes;
// - the machines of the groups in use in this VRF (NexthopGroupSm, by id),
//   with the name <-> id maps of those groups (nexthopGroupNameToId,
//   nexthopGroupIdToName). Invariant: a name is mapped only while its group
//   has a machine, and the machine lives while it has a user;
// - the next-hop-group requests (WatchedNexthopGroupConfig: group name ->
//   watched), each one user of its group's adjacency.
// Every change of a published group in use - members, id, deletion - is a
// NextHopEntryListColl change: the adjacency of each affected id is handed to
// the adjacency machine for review (reviewHandler).
// Fed by: the next-hop-group status, the watched next-hop-group config.
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "kor/adj/NexthopGroupSm.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VrfName.h"
#include "models/nexthopgroup/Status.h"
#include "models/nexthopgroup/WatchedNexthopGroupConfig.h"
#include "vix/ReactorSet.h"

namespace Kor {

class NexthopGroupRouteSm : public KorBaseSm {
 public:
  // Asks the adjacency machine to review the adjacency of a group.
  using ReviewHandler = std::function<void(uint64_t adjIndex)>;
  // Tells the adjacency machine that a request for a group came or went.
  using RequestHandler = std::function<void(uint64_t adjIndex, bool add)>;

  NexthopGroupRouteSm(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                      Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watched,
                      Vix::Ptr<NexthopGroup::Status const> const& status = nullptr);
  ~NexthopGroupRouteSm() override;

  VrfName const& vrfName() const { return vrfName_; }
  // The name <-> id maps are each other's inverse, and every id in them has
  // its group machine.
  void handleVerify() override;
  Vix::Ptr<NexthopGroup::Status const> const& nexthopGroupStatus() const { return status_; }
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig() const { return watched_; }
  void reviewHandlerIs(ReviewHandler h) { reviewHandler_ = std::move(h); }
  void requestHandlerIs(RequestHandler h) { requestHandler_ = std::move(h); }

  static uint64_t adjIndexFromNexthopGroupId(uint64_t nhgId);
  static uint64_t nexthopGroupIdFromAdjIndex(uint64_t adjIndex);

  std::map<std::string, uint64_t> const& nexthopGroupNameToId() const { return nexthopGroupNameToId_; }
  std::map<uint64_t, std::string> const& nexthopGroupIdToName() const { return nexthopGroupIdToName_; }
  Vix::Ptr<NexthopGroupSm> nexthopGroupSm(uint64_t nhgId) const;
  size_t nexthopGroupSms() const { return nexthopGroupSm_.size(); }
  // The published group of an id (null when none is published).
  NexthopGroup::Group const* publishedGroup(uint64_t nhgId) const;

  // The id of a group by name: first the groups in use, then the status.
  std::optional<uint64_t> handleWatchedNexthopGroup(std::string const& name);
  // The group's machine, created when missing, gains a user through the
  // adjacency; doReleaseNexthopGroupSm takes it back and deletes the machine
  // (and its name mapping) with the last user.
  Vix::Ptr<NexthopGroupSm> doCreateNexthopGroupSm(uint64_t nhgId, uint64_t adjIndex);
  void doReleaseNexthopGroupSm(uint64_t nhgId, uint64_t adjIndex);
  // The adjacency of a group FEC holds its group once, however often it is
  // reviewed: returns whether this call took the hold.
  bool doCreateNexthopGroupSmForAdj(uint64_t adjIndex);
  void doReleaseNexthopGroupSmForAdj(uint64_t adjIndex);
  // A published group changed (members, id or deletion).
  void handleNextHopEntryListColl(std::string const& name);
  // A next-hop-group request came or went.
  void handleWatched(std::string const& name);

 private:
  class VixStatus;
  class VixWatched;

  void doMapName(uint64_t nhgId, std::string const& name);
  void doReview(uint64_t nhgId);

  VrfName vrfName_;
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> watched_;
  Vix::Ptr<NexthopGroup::Status const> status_;
  ReviewHandler reviewHandler_;
  RequestHandler requestHandler_;
  std::map<uint64_t, std::string> statusIdToName_;
  std::map<std::string, uint64_t> statusNameToId_;
  std::map<std::string, uint64_t> nexthopGroupNameToId_;
  std::map<uint64_t, std::string> nexthopGroupIdToName_;
  std::map<uint64_t, Vix::Ptr<NexthopGroupSm>> nexthopGroupSm_;
  // The adjacencies holding their group (doCreateNexthopGroupSmForAdj).
  std::set<uint64_t> groupAdjs_;
  // The requests held, by name, with the id each one took its user on.
  std::map<std::string, uint64_t> requests_;
  Vix::ReactorSet<NexthopGroupRouteSm> vixReactors_{this};
};

}  // namespace Kor
