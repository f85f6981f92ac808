#pragma once
// The library next-hop groups that zebra's group objects become in group
// mode, and the mode itself: the hardware's nexthopGroupSupported as last
// applied. Owns the published groups (zebra's object id -> the members
// published for it) and their counters. A group is named groupName(id)
// ("fpm-nhg-" and zebra's id) with id groupId(id) (zebra's id above
// FibModule::kRouteSourceFecBase, clear of the groups the scenario's
// `nhg add` publishes). Invariants: a group is in NhgModule's status iff it
// is in published_, with the members published_ holds; publishing the same
// members again writes nothing.
// Fed by FpmRouteSource (publish, withdraw); the flag by the chip module's
// hardware status, whose change reaches the owner's mode handler on the loop
// turn after the change (the handler writes routes: never inside the
// status's notification).
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "vix/Clock.h"
#include "vix/HashMap.h"

namespace KorAgent {

class FpmGroupPublisher {
 public:
  struct Counters {
    uint64_t adds = 0, updates = 0, dels = 0;  // published, republished with new members, withdrawn
  };
  using ModeHandler = std::function<void(bool groupMode)>;

  static std::string groupName(uint32_t nhId);
  static uint64_t groupId(uint32_t nhId) { return FibModule::kRouteSourceFecBase + nhId; }

  FpmGroupPublisher(Agent* agent, ModeHandler modeHandler);
  FpmGroupPublisher(FpmGroupPublisher const&) = delete;
  FpmGroupPublisher& operator=(FpmGroupPublisher const&) = delete;
  ~FpmGroupPublisher();

  // Group objects go to the library as next-hop groups.
  bool groupMode() const { return groupMode_; }
  // Publishes object nhId's group with these members (new, or new members
  // under the same id); false with `why` when the library refuses it.
  bool publish(uint32_t nhId, std::vector<FibModule::Via> const& vias, std::string* why);
  void withdraw(uint32_t nhId);
  size_t groups() const { return published_.size(); }
  Counters const& counters() const { return counters_; }

 private:
  class HwStatusReactor;
  void handleGroupSupported();
  void handleModeClock();

  Agent* agent_;
  ModeHandler modeHandler_;
  bool groupMode_ = false;
  Vix::HashMap<uint32_t, std::vector<FibModule::Via>> published_;
  Vix::Clock modeClock_;
  std::unique_ptr<HwStatusReactor> hwReactor_;
  Counters counters_;
};

}  // namespace KorAgent
