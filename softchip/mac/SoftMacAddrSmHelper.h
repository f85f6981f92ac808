#pragma once
// The software chip's hook of the MAC table owner (MacAddrSm): keeps the
// chip's MAC table (key -> interface, type, tunnel), learns and ages like a
// chip (learn(), age()) and writes every learn and age into the learned
// MacTable the library watches, flushed entries included. Learning per port
// follows enableLearning (a port never told learns); a learn on a port that
// does not learn, or into a full table, is refused and leaves nothing.
// Adds into a full table (capacity, 0: no limit) answer tableFull through
// returnAssert; static and remote entries survive flushes, as in a chip.
// Owned by the agent's MAC module for the agent's whole life.
#include <cstdint>
#include <map>

#include "kor/helpers/KorHelperMacAddrSm.h"
#include "kor/records/MacTable.h"
#include "nollo/IntfId.h"

namespace SoftChip {

class SoftMacAddrSmHelper : public KorHelper::KorHelperMacAddrSm {
 public:
  struct Host {
    Nollo::IntfId intf;
    Bridging::EntryType entryType = Bridging::EntryType::learnedDynamicMac;
    uint32_t tunnel = 0;
    bool operator==(Host const&) const = default;
  };
  struct Counters {
    uint64_t adds = 0, removes = 0, flushAll = 0, flushVlan = 0, flushPort = 0, flushLag = 0, full = 0;
  };

  SoftMacAddrSmHelper();

  // The table the chip's learn and age events go to (the library reads it).
  Vix::Ptr<KorTypes::MacTable> const& learnedTable() const { return learnedTable_; }
  std::map<Key, Host> const& hosts() const { return hosts_; }
  Counters const& counters() const { return counters_; }
  bool learningOn(Nollo::IntfId const& intf) const;
  int agingTime() const { return agingTime_; }
  size_t capacity() const { return capacity_; }
  void capacityIs(size_t n) { capacity_ = n; }

  // The chip saw a frame from the key on the interface. False: refused
  // (learning off on the port, or no room), nothing changed.
  bool learn(Key const& key, Nollo::IntfId const& intf, uint32_t moves = 0);
  // The entry timed out; false when the chip holds no dynamic entry for it.
  bool age(Key const& key);

  void hwInit() override {}
  void addHost(Key const& key, Nollo::IntfId const& intf, uint16_t vlan, bool isUpdate,
               Bridging::EntryType entryType) override;
  void removeHost(Key const& key, Bridging::EntryType entryType) override;
  void addRemoteHost(Key const& key, Nollo::IntfId const& intf, uint32_t tunnel, uint16_t vlan, bool isUpdate,
                     Bridging::EntryType entryType, bool learnt) override;
  void addLearntLocalAndRemoveRemoteHost(Key const& key, Nollo::IntfId const& intf,
                                         Bridging::EntryType entryType) override;
  void flushAll() override;
  void flushVlan(uint16_t vlan) override;
  void flushVlanPort(int vlan, Nollo::IntfId const& intf) override;
  void flushVlanLag(int vlan, Nollo::IntfId const& lag) override;
  void removeLag(Nollo::IntfId const& lag) override;
  void enableLearning(Nollo::IntfId const& intf, bool enable) override { learning_[intf] = enable; }
  void configureAgingTime(int seconds) override { agingTime_ = seconds; }

 private:
  bool full(Key const& key) const { return capacity_ && !hosts_.count(key) && hosts_.size() >= capacity_; }
  // Removes the dynamic entries `match` selects, from the chip and the
  // learned table.
  template <class Match>
  void doFlush(Match match);
  bool doPut(Key const& key, Host const& h);

  Vix::Ptr<KorTypes::MacTable> learnedTable_;
  std::map<Key, Host> hosts_;
  std::map<Nollo::IntfId, bool> learning_;
  int agingTime_ = 0;
  size_t capacity_ = 0;
  Counters counters_;
};

}  // namespace SoftChip
