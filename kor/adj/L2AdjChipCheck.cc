#include "kor/adj/L2AdjChipCheck.h"

#include <map>
#include <sstream>

namespace Kor {

std::vector<std::string> L2AdjChipCheck::faults(std::set<uint64_t> const& unclaimed) const {
  std::map<uint64_t, NextHopL2InfoCollection> held;
  for (auto& [index, via] : helper_.heldAdjs()) held.emplace(index, std::move(via));
  std::map<uint64_t, std::string> out;  // by index, so the report reads in order
  std::set<uint64_t> known;
  for (auto const& [key, l2Adj] : l3Status_.l2AdjListMap()) {
    known.insert(key.index());
    if (!l2Adj || l2Adj->state() != L2AdjState::installed || helper_.verifyAdj(*l2Adj)) continue;
    std::ostringstream os;
    os << "l2adj " << key.index();
    auto it = held.find(key.index());
    if (it == held.end()) os << " missing in the chip: " << l2Adj->via();
    else os << " differs: chip " << it->second << ", records " << l2Adj->via();
    out.emplace(key.index(), os.str());
  }
  for (auto const& [index, via] : held) {
    if (known.count(index) || unclaimed.count(index)) continue;
    std::ostringstream os;
    os << "l2adj " << index << " in the chip but unknown: " << via;
    out.emplace(index, os.str());
  }
  std::vector<std::string> lines;
  for (auto& [index, line] : out) lines.push_back(std::move(line));
  return lines;
}

}  // namespace Kor
