#include "softchip/l2/LagChip.h"

#include <string>

#include "softchip/SoftChip.h"

namespace SoftChip {

namespace {

// A 64-bit finaliser (splitmix64): every input bit moves every output bit.
uint64_t mix(uint64_t x) {
  x += 0x9e3779b97f4a7c15ull;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
  return x ^ (x >> 31);
}

// FNV-1a of the member's name: the same on every run and platform.
uint64_t nameHash(std::string const& s) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (unsigned char c : s) h = (h ^ c) * 0x100000001b3ull;
  return h;
}

}  // namespace

LagChip::LagChip(SoftChip* chip, ChipRegistry& registry, FaultInjector* injector)
    : chip_(chip), lag_("lag", injector), softLagHelper_(Vix::makePtr<SoftLagHelper>(chip)) {
  registry.tableIs(&lag_);
  registry.helperIs(softLagHelper_.ptr());
}

LagChip::~LagChip() = default;

Vix::Ptr<KorHelper::KorHelperLagSm> LagChip::lagHelper() const { return softLagHelper_; }

std::optional<Nollo::IntfId> LagChip::memberFor(Nollo::IntfId const& lag, uint64_t flowHash) const {
  Kor::KorPortList const* ports = lag_.find(lag);
  if (!ports) ports = softLagHelper_->wanted(lag);
  if (!ports) return std::nullopt;
  std::optional<Nollo::IntfId> best;
  uint64_t bestScore = 0;
  for (auto const& p : *ports) {
    uint64_t const score = mix(flowHash ^ mix(nameHash(p.str())));
    if (!best || score > bestScore) {
      best = p;
      bestScore = score;
    }
  }
  return best;
}

uint32_t LagChip::chipId(Nollo::IntfId const& lag) const {
  return lag_.has(lag) ? chip_->adj().softAdjSmHelper().getHwLagId(lag) : 0;
}

}  // namespace SoftChip
