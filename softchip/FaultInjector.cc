#include "softchip/FaultInjector.h"

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
  if (a == ChipAnswer::success) objectFault_.erase({kind, key});
  else objectFault_[{kind, key}] = a;
}

void FaultInjector::kindFaultIs(std::string const& kind, ChipAnswer a) {
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
  objectFault_.clear();
  kindFault_.clear();
  rate_ = 0.0;
}

ChipAnswer FaultInjector::count(std::string const& kind, ChipAnswer a) {
  Counters& c = counters_[kind];
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
  if (auto it = objectFault_.find({kind, key}); it != objectFault_.end()) return count(kind, it->second);
  if (auto it = kindFault_.find(kind); it != kindFault_.end()) return count(kind, it->second);
  if (rate_ > 0.0) {
    // The draw happens on every uncovered call, so the sequence of answers
    // depends only on the seed and the order of calls.
    // 53 random bits as a fraction: the same on every standard library.
    double draw = static_cast<double>(rng_() >> 11) * 0x1.0p-53;
    if (draw < rate_) return count(kind, rateAnswer_);
  }
  return count(kind, tableFull ? ChipAnswer::resourceFull : ChipAnswer::success);
}

FaultInjector::Counters FaultInjector::counters(std::string const& kind) const {
  auto it = counters_.find(kind);
  return it == counters_.end() ? Counters{} : it->second;
}

}  // namespace SoftChip
