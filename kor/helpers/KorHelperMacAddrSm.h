#pragma once
// Platform hook of the MAC table owner (MacAddrSm): adds and removes hosts in
// the chip's MAC table, flushes it by VLAN, port and LAG, turns hardware
// learning on and off per port and sets the aging time. The add operations
// return nothing; the platform writes its answer into returnAssert() before
// it returns (a full table is a state the machine retries, never an error).
// Entries the chip learns or ages are not reported here: the platform writes
// them into the learned MacTable the machine watches, flushed ones included.
// A platform library derives from it; an operation it does not override
// fails loudly ("Call to unimplemented function KorMacAddrSmHelper::...").
#include <cstdint>
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/ParityEvent.h"
#include "kor/helpers/TableAddStatus.h"
#include "kor/records/MacAddressTableEntry.h"
#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"

namespace KorHelper {

class KOR_EXPORT KorHelperMacAddrSm : public Kor::KorBaseHelper {
 public:
  using Key = KorTypes::MacAddressTableEntry::Key;

  explicit KorHelperMacAddrSm(std::string name = "KorMacAddrSmHelper") : KorBaseHelper(std::move(name)) {}

  // Once, when the machine starts.
  virtual void hwInit() { unimplemented(kClass, "hwInit"); }
  virtual void handleLinkStateAtInit() const { unimplemented(kClass, "handleLinkStateAtInit"); }
  virtual void handleParityEvent(Kor::ParityEvent::Key const& /*parityKey*/) {
    unimplemented(kClass, "handleParityEvent");
  }

  virtual void addHost(Key const& /*key*/, Nollo::IntfId const& /*intf*/, uint16_t /*vlan*/, bool /*isUpdate*/,
                       Bridging::EntryType /*entryType*/) {
    unimplemented(kClass, "addHost");
  }
  virtual void removeHost(Key const& /*key*/, Bridging::EntryType /*entryType*/) { unimplemented(kClass, "removeHost"); }
  virtual void addRemoteHost(Key const& /*key*/, Nollo::IntfId const& /*intf*/, uint32_t /*tunnel*/, uint16_t /*vlan*/,
                             bool /*isUpdate*/, Bridging::EntryType /*entryType*/, bool /*learnt*/) {
    unimplemented(kClass, "addRemoteHost");
  }
  // The host moved from behind a remote VTEP to a local port: one update.
  virtual void addLearntLocalAndRemoveRemoteHost(Key const& /*key*/, Nollo::IntfId const& /*intf*/,
                                                 Bridging::EntryType /*entryType*/) {
    unimplemented(kClass, "addLearntLocalAndRemoveRemoteHost");
  }

  virtual void flushAll() { korAssert("Call to unimplemented function KorMacAddrSmHelper::flushAll"); }
  virtual void flushVlan(uint16_t /*vlan*/) { unimplemented(kClass, "flushVlan"); }
  // vlan 0: every VLAN of the port.
  virtual void flushVlanPort(int /*vlan*/, Nollo::IntfId const& /*intf*/) { unimplemented(kClass, "flushVlanPort"); }
  virtual void flushVlanLag(int /*vlan*/, Nollo::IntfId const& /*lag*/) { unimplemented(kClass, "flushVlanLag"); }
  virtual void removeLag(Nollo::IntfId const& /*lag*/) { unimplemented(kClass, "removeLag"); }

  virtual void enableLearning(Nollo::IntfId const& /*intf*/, bool /*enable*/) { unimplemented(kClass, "enableLearning"); }
  virtual void configureAgingTime(int /*seconds*/) { unimplemented(kClass, "configureAgingTime"); }

  virtual void showL2TableAll(uint32_t /*filter*/) { unimplemented(kClass, "showL2TableAll"); }
  virtual void handleVerify() { unimplemented(kClass, "handleVerify"); }
  virtual void verifyLearning(Nollo::IntfId const& /*intf*/, bool /*enable*/) { unimplemented(kClass, "verifyLearning"); }
  virtual void verifyRemoteHost(Key const& /*key*/, uint32_t /*tunnel*/) { unimplemented(kClass, "verifyRemoteHost"); }
  virtual void verifyNumRemoteHost(uint16_t /*numRemoteHost*/) { unimplemented(kClass, "verifyNumRemoteHost"); }
  virtual uint32_t getMaxRemoteMacs() {
    unimplemented(kClass, "getMaxRemoteMacs");
    return 0;
  }

  // The answer to the last add (written by the platform inside the add).
  KorTypes::TableAddStatus returnAssert() const { return returnAssert_; }
  void returnAssertIs(KorTypes::TableAddStatus s) { returnAssert_ = s; }

 private:
  static constexpr char const* kClass = "KorMacAddrSmHelper";
  KorTypes::TableAddStatus returnAssert_ = KorTypes::TableAddStatus::tableAddSuccess;
};

}  // namespace KorHelper
