#include "softchip/common/FaultInjector.h"

namespace SoftChip {

char const* chipAnswerName(ChipAnswer a) {
  switch (a) {
    case ChipAnswer::success: return "ok";
    case ChipAnswer::fail: return "fail";
    case ChipAnswer::notReady: return "notready";
    case ChipAnswer::resourceFull: return "full";
  }
  return "?";
}

void FaultInjector::objectFaultIs(std::string const& kind, std::string const& key, ChipAnswer a) {
  ++rulesVersion_;
  if (a == ChipAnswer::success) objectFault_.erase({kind, key});
  else objectFault_[{kind, key}] = a;
}

void FaultInjector::kindFaultIs(std::string const& kind, ChipAnswer a) {
  ++rulesVersion_;
  if (a == ChipAnswer::success) kindFault_.erase(kind);
  else kindFault_[kind] = a;
}

void FaultInjector::randomFaultIs(double rate, uint64_t seed, ChipAnswer a) {
  rate_ = rate;
  seed_ = seed;
  rateAnswer_ = a;
  rng_.seed(seed);
}

void FaultInjector::faultsDelAll() {
  ++rulesVersion_;
  objectFault_.clear();
  kindFault_.clear();
  rate_ = 0.0;
}

bool FaultInjector::kindRuled(std::string const& kind) const {
  if (kindFault_.count(kind)) return true;
  auto it = objectFault_.lower_bound({kind, std::string()});
  return it != objectFault_.end() && it->first.first == kind;
}

ChipAnswer FaultInjector::count(Counters& c, ChipAnswer a) {
  ++c.calls;
  switch (a) {
    case ChipAnswer::success: ++c.success; break;
    case ChipAnswer::fail: ++c.fail; break;
    case ChipAnswer::notReady: ++c.notReady; break;
    case ChipAnswer::resourceFull: ++c.resourceFull; break;
  }
  return a;
}

ChipAnswer FaultInjector::answer(std::string const& kind, std::string const& key, bool tableFull) {
  Counters& c = counters_[kind];
  if (auto it = objectFault_.find({kind, key}); it != objectFault_.end()) return count(c, it->second);
  if (auto it = kindFault_.find(kind); it != kindFault_.end()) return count(c, it->second);
  return answerUnruled(c, tableFull);
}

ChipAnswer FaultInjector::answerUnruled(Counters& c, bool tableFull) {
  if (rate_ > 0.0) {
    // The draw happens on every uncovered call, so the sequence of answers
    // depends only on the seed and the order of calls.
    // 53 random bits as a fraction: the same on every standard library.
    double draw = static_cast<double>(rng_() >> 11) * 0x1.0p-53;
    if (draw < rate_) return count(c, rateAnswer_);
  }
  return count(c, tableFull ? ChipAnswer::resourceFull : ChipAnswer::success);
}

FaultInjector::Counters FaultInjector::counters(std::string const& kind) const {
  auto it = counters_.find(kind);
  return it == counters_.end() ? Counters{} : it->second;
}

}  // namespace SoftChip
