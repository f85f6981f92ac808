#include "kor/l2/VlanUpdate.h"

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
  s->add_ = add_;
  s->ingress_ = ingress_;
  s->egress_ = egress_;
  s->remove_ = remove_;
  s->genId_ = genId_;
  return s;
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
