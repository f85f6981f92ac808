#include "kor/records/NextHopL2Info.h"

#include <sstream>

namespace Kor {

std::string NextHopL2Info::str() const {
  std::ostringstream os;
  os << type_;
  if (!macAddr_.isZero()) os << " " << macAddr_;
  if (!vlanId_.isNone()) os << " vlan " << vlanId_.value();
  if (!intfId_.isNone()) os << " " << intfId_;
  if (!l3IntfId_.isNone()) os << " l3 " << l3IntfId_;
  for (size_t i = 0; i < labels_.size(); ++i) os << (i ? "," : " labels ") << labels_[i];
  if (hwLagId_) os << " lag " << hwLagId_;
  if (tunnelL2Info_) os << " tunnel " << tunnelL2Info_;
  if (tunnel6L2Info_) os << " tunnel6 " << tunnel6L2Info_;
  if (!flowSmac_.isZero()) os << " smac " << flowSmac_;
  if (flowInfo_) os << " flow " << flowInfo_;
  if (weight_ != 1) os << " weight " << weight_;
  return os.str();
}

std::ostream& operator<<(std::ostream& os, NextHopL2Info const& i) { return os << i.str(); }

}  // namespace Kor
