#include "kor/l2/VlanUpdate.h"

#include "kor/common/KorAssert.h"

namespace Kor {

namespace {
void printSet(std::ostream& os, std::map<Nollo::IntfId, bool> const& set, bool tagFlag) {
  os << '[';
  char const* sep = "";
  for (auto const& [intf, v] : set) {
    os << sep << intf;
    if (tagFlag) os << (v ? "(t)" : "(u)");
    sep = ", ";
  }
  os << ']';
}
}  // namespace

Vix::Ptr<VlanUpdate> VlanUpdate::snapshot() const {
  auto s = Vix::makePtr<VlanUpdate>(vlanId_);
  copyTo(*s);
  return s;
}

void VlanUpdate::copyTo(VlanUpdate& dst) const {
  if (!(dst.vlanId() == vlanId())) korAssert("dst->vlanId() == vlanId()");
  dst.add_ = add_;
  dst.ingress_ = ingress_;
  dst.egress_ = egress_;
  dst.remove_ = remove_;
  dst.genId_ = genId_;
}

void VlanUpdate::print(std::ostream& os) const {
  os << " adds: ";
  printSet(os, add_, true);
  os << " removes: ";
  printSet(os, remove_, false);
  os << " ingress: ";
  printSet(os, ingress_, false);
  os << " egress: ";
  printSet(os, egress_, false);
}

}  // namespace Kor
