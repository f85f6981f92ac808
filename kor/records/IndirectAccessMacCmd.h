#pragma once
// One command to the chip's MAC table, from the moment the MAC programmer
// queues it until the chip answers: its kind, its key (the address for adds
// and removes, the VLAN for VLAN flushes), the interface (the port of an add,
// the port or LAG of a flush), the entry type of an add, the programmer's
// transaction id, the chip's group and table index, and when the chip
// started it. `addrOp` tells an address command from a flush. `valid` is
// cleared when a newer command for the same key supersedes this one (it is
// then out of date and never reaches the chip, or its answer is dropped).
#include <cstdint>
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/records/IndirectAccessMacCmdType.h"
#include "kor/records/MacEntryKey.h"
#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"
#include "vix/Time.h"

namespace Kor {

class KOR_EXPORT IndirectAccessMacCmd : public Vix::PtrInterface {
 public:
  IndirectAccessMacCmd(IndirectAccessMacCmdType cmdType, MacEntryKey key, Nollo::IntfId intf = Nollo::IntfId(),
                       Bridging::EntryType entryType = Bridging::EntryType::learnedDynamicMac);

  IndirectAccessMacCmdType cmdType() const { return cmdType_; }
  MacEntryKey const& key() const { return key_; }
  Nollo::IntfId intf() const { return intf_; }
  Bridging::EntryType entryType() const { return entryType_; }
  // An address add or remove; flushes are not.
  bool addrOp() const { return addrOp_; }

  uint64_t transactionId() const { return transactionId_; }
  void transactionIdIs(uint64_t t) { transactionId_ = t; }
  uint32_t groupIndex() const { return groupIndex_; }
  void groupIndexIs(uint32_t g) { groupIndex_ = g; }
  uint32_t tblIndex() const { return tblIndex_; }
  void tblIndexIs(uint32_t i) { tblIndex_ = i; }
  Vix::Seconds execStartTime() const { return execStartTime_; }
  void execStartTimeIs(Vix::Seconds t) { execStartTime_ = t; }
  bool valid() const { return valid_; }
  void validIs(bool v) { valid_ = v; }

  // For a flush: whether it removes the entry `key` on `intf` (an entry on a
  // LAG is on the LAG's id). The VLAN of a VLAN flush is the key's VLAN.
  bool flushCovers(MacEntryKey const& key, Nollo::IntfId const& intf) const;

  std::string str() const;

 private:
  IndirectAccessMacCmdType cmdType_;
  MacEntryKey key_;
  Nollo::IntfId intf_;
  Bridging::EntryType entryType_;
  bool addrOp_;
  uint64_t transactionId_ = 0;
  uint32_t groupIndex_ = 0;
  uint32_t tblIndex_ = 0;
  Vix::Seconds execStartTime_ = 0;
  bool valid_ = true;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, IndirectAccessMacCmd const& c);

}  // namespace Kor
