#include "agent/fpm/FpmGroupPublisher.h"

#include <exception>

#include "agent/chip/ChipModule.h"
#include "agent/nhg/NhgModule.h"
#include "models/routing/hardware/Status.h"
#include "vix/ActivityLoop.h"

namespace KorAgent {

class FpmGroupPublisher::HwStatusReactor : public Routing::Hardware::Status::Notifiee {
 public:
  HwStatusReactor(Vix::Ptr<Routing::Hardware::Status> const& s, FpmGroupPublisher* owner)
      : Notifiee(Vix::Ptr<Routing::Hardware::Status const>(s)), owner_(owner) {}
  void handleNexthopGroupSupported() override { owner_->handleGroupSupported(); }

 private:
  FpmGroupPublisher* owner_;
};

std::string FpmGroupPublisher::groupName(uint32_t nhId) {
  std::string name = "fpm-nhg-";
  name += std::to_string(nhId);
  return name;
}

FpmGroupPublisher::FpmGroupPublisher(Agent* agent, ModeHandler modeHandler)
    : agent_(agent), modeHandler_(std::move(modeHandler)), modeClock_(agent->loop(), [this] { handleModeClock(); }) {
  auto const& hw = agent_->module<ChipModule>().hwStatus();
  groupMode_ = hw->nexthopGroupSupported();
  hwReactor_ = std::make_unique<HwStatusReactor>(hw, this);
}

// Published groups stay in the library, as the routes over them stay.
FpmGroupPublisher::~FpmGroupPublisher() = default;

bool FpmGroupPublisher::publish(uint32_t nhId, std::vector<FibModule::Via> const& vias, std::string* why) {
  auto it = published_.find(nhId);
  if (it != published_.end() && it->second == vias) return true;
  try {
    agent_->module<NhgModule>().groupAdd(groupName(nhId), groupId(nhId), vias);
  } catch (std::exception const& e) {
    *why = e.what();
    return false;
  }
  if (it != published_.end()) {
    it->second = vias;
    ++counters_.updates;
  } else {
    published_.try_emplace(nhId, vias);
    ++counters_.adds;
  }
  return true;
}

void FpmGroupPublisher::withdraw(uint32_t nhId) {
  if (!published_.erase(nhId)) return;
  try {
    agent_->module<NhgModule>().groupDel(groupName(nhId));
  } catch (std::exception const&) {
    // Not published any more: nothing to undo.
  }
  ++counters_.dels;
}

void FpmGroupPublisher::handleGroupSupported() { modeClock_.timeMinIs(agent_->loop()->now()); }

void FpmGroupPublisher::handleModeClock() {
  bool const on = agent_->module<ChipModule>().hwStatus()->nexthopGroupSupported();
  if (on == groupMode_) return;
  groupMode_ = on;
  if (modeHandler_) modeHandler_(on);
}

}  // namespace KorAgent
