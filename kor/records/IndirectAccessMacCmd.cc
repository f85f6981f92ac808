#include "kor/records/IndirectAccessMacCmd.h"

#include <sstream>

namespace Kor {

namespace {
bool isAddrOp(IndirectAccessMacCmdType t) {
  return t == IndirectAccessMacCmdType::addHost || t == IndirectAccessMacCmdType::addMcastHost ||
         t == IndirectAccessMacCmdType::removeHost;
}
}  // namespace

IndirectAccessMacCmd::IndirectAccessMacCmd(IndirectAccessMacCmdType cmdType, MacEntryKey key, Nollo::IntfId intf,
                                           Bridging::EntryType entryType)
    : cmdType_(cmdType), key_(key), intf_(intf), entryType_(entryType), addrOp_(isAddrOp(cmdType)) {}

bool IndirectAccessMacCmd::flushCovers(MacEntryKey const& key, Nollo::IntfId const& intf) const {
  bool sameVlan = key.key().vlanId() == key_.key().vlanId();
  switch (cmdType_) {
    case IndirectAccessMacCmdType::flushAll: return true;
    case IndirectAccessMacCmdType::flushVlan: return sameVlan;
    case IndirectAccessMacCmdType::flushVlanPort:
    case IndirectAccessMacCmdType::flushVlanLag: return sameVlan && intf == intf_;
    case IndirectAccessMacCmdType::flushPort:
    case IndirectAccessMacCmdType::flushLag: return intf == intf_;
    case IndirectAccessMacCmdType::addHost:
    case IndirectAccessMacCmdType::addMcastHost:
    case IndirectAccessMacCmdType::removeHost: return false;
  }
  return false;
}

std::string IndirectAccessMacCmd::str() const {
  std::ostringstream os;
  os << *this;
  return os.str();
}

std::ostream& operator<<(std::ostream& os, IndirectAccessMacCmd const& c) {
  os << c.cmdType() << " " << c.key();
  if (c.intf() != Nollo::IntfId()) os << " intf: " << c.intf();
  return os << " txnId: " << c.transactionId() << " addrOp: " << c.addrOp() << " valid: " << c.valid();
}

}  // namespace Kor
