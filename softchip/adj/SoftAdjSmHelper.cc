#include "softchip/adj/SoftAdjSmHelper.h"

#include <optional>

#include "softchip/SoftChip.h"

namespace SoftChip {

void SoftAdjSmHelper::record(char const* op, uint64_t index) {
  if (calls_.size() < kCallHistory) {
    calls_.push_back({op, index});
  } else {
    calls_[callNext_] = {op, index};
    callNext_ = (callNext_ + 1) % kCallHistory;
  }
  ++opCount_[op];
}

std::vector<std::string> SoftAdjSmHelper::calls() const {
  std::vector<std::string> out;
  out.reserve(calls_.size());
  for (size_t i = 0; i < calls_.size(); ++i) {
    Call const& c = calls_[(callNext_ + i) % calls_.size()];
    out.push_back(std::string(c.op) + " " + std::to_string(c.index));
  }
  return out;
}

void SoftAdjSmHelper::callsDelAll() {
  calls_.clear();
  callNext_ = 0;
}

uint64_t SoftAdjSmHelper::opCount(std::string const& op) const {
  auto it = opCount_.find(op);
  return it == opCount_.end() ? 0 : it->second;
}

Kor::AdjUpdateStatus SoftAdjSmHelper::write(char const* op, uint64_t index, Kor::NextHopL2InfoCollection const& via) {
  record(op, index);
  auto& table = chip_->adj().tableFor(via.type());
  auto const* held = table.find(index);
  std::optional<Kor::NextHopL2InfoCollection> before;
  if (held) before = *held;
  switch (table.write(index, via)) {
    case ChipAnswer::success:
      bucketWrites_.handleWrite(index, before ? &*before : nullptr, &via);
      return Kor::AdjUpdateStatus::adjUpdateSuccess;
    case ChipAnswer::notReady: return Kor::AdjUpdateStatus::adjUpdateNotReady;
    case ChipAnswer::resourceFull:
      if (l3Status_) l3Status_->adjResourceFullIs(true);
      return Kor::AdjUpdateStatus::adjUpdateFail;
    case ChipAnswer::fail: break;
  }
  return Kor::AdjUpdateStatus::adjUpdateFail;
}

Kor::AdjUpdateStatus SoftAdjSmHelper::createAdj(Kor::L2Adjacency const& l2Adj) {
  return write("createAdj", l2Adj.index(), l2Adj.via());
}

Kor::AdjUpdateStatus SoftAdjSmHelper::updateAdj(Kor::L2Adjacency const& l2Adj) {
  return write("updateAdj", l2Adj.index(), l2Adj.via());
}

Kor::AdjUpdateStatus SoftAdjSmHelper::syncAdj(Kor::L2Adjacency const& l2Adj, uint64_t index) {
  // Rewriting equal data counts as a sync in the table, not as an update.
  return write("syncAdj", index, l2Adj.via());
}

void SoftAdjSmHelper::deleteAdj(Kor::L2Adjacency const& l2Adj) {
  record("deleteAdj", l2Adj.index());
  auto& table = chip_->adj().tableFor(l2Adj.via().type());
  if (auto const* held = table.find(l2Adj.index())) bucketWrites_.handleWrite(l2Adj.index(), held, nullptr);
  if (table.erase(l2Adj.index())) recheckResourceFull();
}

void SoftAdjSmHelper::recheckResourceFull() {
  // Room in the L2 adjacency table clears it; a group retry the nhg table
  // still refuses sets it again.
  if (l3Status_ && l3Status_->adjResourceFull() && !chip_->refusesNew(chip_->adj().l2AdjTable()))
    l3Status_->adjResourceFullIs(false);
}

bool SoftAdjSmHelper::verifyAdj(Kor::L2Adjacency const& l2Adj) {
  auto const* held = chip_->adj().tableFor(l2Adj.via().type()).find(l2Adj.index());
  return held && *held == l2Adj.via();
}

uint64_t SoftAdjSmHelper::getNexthopIndexForAdj(Kor::L2Adjacency const& l2Adj) const {
  return chip_->adj().tableFor(l2Adj.via().type()).has(l2Adj.index()) ? l2Adj.index() : 0;
}

uint32_t SoftAdjSmHelper::getL3IntfId(Nollo::IntfId const& l3IntfId) {
  auto [it, fresh] = l3IntfId_.try_emplace(l3IntfId, uint32_t(l3IntfId_.size() + 1));
  return it->second;
}

uint32_t SoftAdjSmHelper::getHwLagId(Nollo::IntfId const& intfId) const {
  if (!intfId.isPortChannel()) return 0;
  auto it = hwLagId_.find(intfId);
  return it == hwLagId_.end() ? intfId.number(0) : it->second;
}

void SoftAdjSmHelper::hwLagIdIs(Nollo::IntfId const& lag, uint32_t id) {
  uint32_t old = getHwLagId(lag);
  if (id) hwLagId_[lag] = id;
  else hwLagId_.erase(lag);
  if (getHwLagId(lag) == old || !l3Status_) return;
  l3Status_->hwLagIdChangeIs(lag, true);
  l3Status_->hwLagIdChangeDel(lag);
}

KorHelper::AdjSmHelper::HeldAdjs SoftAdjSmHelper::heldAdjs() const {
  HeldAdjs out;
  for (auto const& [index, via] : chip_->adj().l2AdjTable().entries()) out.emplace_back(index, via);
  for (auto const& [index, via] : chip_->adj().nhgTable().entries()) out.emplace_back(index, via);
  return out;
}

}  // namespace SoftChip
