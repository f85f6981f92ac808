#pragma once
// The value of an ARP / neighbour table entry: the neighbour's MAC address and
// its resolution state.
#include <ostream>
#include <string>

#include "nollo/EthAddr.h"
#include "quill/ArpState.h"

namespace Quill::Arp {

class ArpEntry {
 public:
  ArpEntry() = default;
  ArpEntry(Nollo::EthAddr const& ethAddr, ArpState state) : ethAddr_(ethAddr), state_(state) {}

  Nollo::EthAddr const& ethAddr() const { return ethAddr_; }
  void ethAddrIs(Nollo::EthAddr const& e) { ethAddr_ = e; }
  ArpState state() const { return state_; }
  void stateIs(ArpState s) { state_ = s; }
  bool resolved() const { return isResolved(state_); }
  // "00:11:22:33:44:55 reachable".
  std::string str() const { return ethAddr_.str() + " " + Quill::Arp::str(state_); }

  bool operator==(ArpEntry const&) const = default;

 private:
  Nollo::EthAddr ethAddr_;
  ArpState state_ = ArpState::incomplete;
};

std::ostream& operator<<(std::ostream& os, ArpEntry const& e);

}  // namespace Quill::Arp
