// The MAC table's shared value types and the MacTable entity.
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <vector>

#include "kor/records/IndirectAccessMacCmd.h"
#include "kor/records/MacProgramStatus.h"
#include "kor/records/MacTable.h"
#include "vix/RangeError.h"

using KorTypes::MacAddressTableEntry;
using KorTypes::MacTable;
using Key = MacAddressTableEntry::Key;

namespace {

Nollo::EthAddr mac(uint64_t v) { return Nollo::EthAddr::fromUint64(v); }

template <class T>
std::string text(T const& v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

struct Recorder : MacTable::Notifiee {
  using Notifiee::Notifiee;
  std::vector<Key> keys;
  void handleMacEntry(Key const& k) override { keys.push_back(k); }
};

}  // namespace

TEST(MacTypes, KeyOrdersByAddressThenVlanPrintsAndRangeChecks) {
  Key a(mac(0x0000000000a1), 20), b(mac(0x0000000000a1), 30), c(mac(0x0000000000b0), 1);
  EXPECT_LT(a, b);
  EXPECT_LT(b, c);
  EXPECT_LE(a, a);
  EXPECT_GT(c, a);
  EXPECT_NE(a, b);
  EXPECT_EQ(text(a), "00:00:00:00:00:a1/20");
  for (int bad : {0, 4095}) {
    try {
      Key k(mac(1), bad);
      ADD_FAILURE() << "VLAN " << bad << " accepted";
    } catch (Vix::RangeError const& e) {
      EXPECT_STREQ(e.what(), "VlanId::value < 1 or > 4094 not allowed");
    }
  }
}

TEST(MacTypes, MacTableNotifiesPerKeyAndRefusesNull) {
  auto t = Vix::makePtr<MacTable>("learned");
  Recorder r(t);
  Key k(mac(5), 10);
  auto e = Vix::makePtr<MacAddressTableEntry>(k, Nollo::IntfId::ethernet(1));
  t->macEntryIs(e);
  t->macEntryIs(e);  // the same entry again: no change, no notification
  t->macEntryIs(Vix::makePtr<MacAddressTableEntry>(k, Nollo::IntfId::ethernet(2)));
  EXPECT_EQ(t->macEntry(k)->intf(), Nollo::IntfId::ethernet(2));
  t->macEntryDel(Key(mac(6), 10));  // absent: nothing
  t->macEntryIs(Vix::makePtr<MacAddressTableEntry>(Key(mac(6), 11), Nollo::IntfId::ethernet(3)));
  t->macEntryDelAll();
  EXPECT_EQ(t->macEntrySize(), 0u);
  EXPECT_EQ(r.keys, (std::vector<Key>{k, k, Key(mac(6), 11), k, Key(mac(6), 11)}));
  try {
    t->macEntryIs(nullptr);
    ADD_FAILURE() << "null entry accepted";
  } catch (std::invalid_argument const& e) {
    EXPECT_STREQ(e.what(), "null _macEntry parameter to mutator for KorTypes::MacTable::macEntry not allowed");
  }
  EXPECT_EQ(r.keys.size(), 5u);
}

TEST(MacTypes, CommandsKnowAddressOpsAndEnumsPrintUnknownValues) {
  Kor::MacEntryKey k(Key(mac(7), 3));
  EXPECT_TRUE(Kor::IndirectAccessMacCmd(Kor::IndirectAccessMacCmdType::addHost, k).addrOp());
  EXPECT_TRUE(Kor::IndirectAccessMacCmd(Kor::IndirectAccessMacCmdType::removeHost, k).addrOp());
  EXPECT_FALSE(Kor::IndirectAccessMacCmd(Kor::IndirectAccessMacCmdType::flushVlan, k).addrOp());
  EXPECT_FALSE(Kor::IndirectAccessMacCmd(Kor::IndirectAccessMacCmdType::flushAll, k).addrOp());
  EXPECT_EQ(text(static_cast<Kor::MacProgramStatus>(42)), "MacProgramStatus(42)");
  EXPECT_EQ(text(Kor::MacProgramStatus::macProgramFull), "macProgramFull");
}
