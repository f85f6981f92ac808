#pragma once
// One resolved path of an L2 adjacency: how the chip rewrites and where it
// sends a packet for one next hop. A value; equality and order cover every
// field, so two collections of equal paths share one L2 adjacency. Built by
// L2AdjHelper from a via and the VRF's neighbour information.
// tunnelL2Info / tunnel6L2Info hold the index of the L2 adjacency of the
// tunnel's underlay (0: none); at most one of the two is set.
#include <compare>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "kor/records/NextHopEntryType.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanIdOrNone.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"

namespace Kor {

class KOR_EXPORT NextHopL2Info {
 public:
  NextHopL2Info() = default;
  explicit NextHopL2Info(NextHopEntryType type) : type_(type) {}

  NextHopEntryType type() const { return type_; }
  void typeIs(NextHopEntryType t) { type_ = t; }
  Nollo::EthAddr const& macAddr() const { return macAddr_; }
  void macAddrIs(Nollo::EthAddr const& m) { macAddr_ = m; }
  VlanIdOrNone vlanId() const { return vlanId_; }
  void vlanIdIs(VlanIdOrNone v) { vlanId_ = v; }
  Nollo::IntfId const& intfId() const { return intfId_; }
  void intfIdIs(Nollo::IntfId const& i) { intfId_ = i; }
  Nollo::IntfId const& l3IntfId() const { return l3IntfId_; }
  void l3IntfIdIs(Nollo::IntfId const& i) { l3IntfId_ = i; }
  std::vector<uint32_t> const& labels() const { return labels_; }
  void labelsIs(std::vector<uint32_t> l) { labels_ = std::move(l); }
  uint32_t hwLagId() const { return hwLagId_; }
  void hwLagIdIs(uint32_t id) { hwLagId_ = id; }
  uint64_t tunnelL2Info() const { return tunnelL2Info_; }
  void tunnelL2InfoIs(uint64_t l2AdjIndex) { tunnelL2Info_ = l2AdjIndex; }
  uint64_t tunnel6L2Info() const { return tunnel6L2Info_; }
  void tunnel6L2InfoIs(uint64_t l2AdjIndex) { tunnel6L2Info_ = l2AdjIndex; }
  Nollo::EthAddr const& flowSmac() const { return flowSmac_; }
  void flowSmacIs(Nollo::EthAddr const& m) { flowSmac_ = m; }
  uint32_t flowInfo() const { return flowInfo_; }
  void flowInfoIs(uint32_t f) { flowInfo_ = f; }
  // ECMP weight of the path: how many equal vias stand for it.
  uint32_t weight() const { return weight_; }
  void weightIs(uint32_t w) { weight_ = w; }

  // "arpResolved 00:11:22:33:44:55 vlan 10 Ethernet1 l3 Vlan10 labels 16 lag 3
  // tunnel 7 weight 2" (parts past the type only when set).
  std::string str() const;

  auto operator<=>(NextHopL2Info const&) const = default;

 private:
  NextHopEntryType type_ = NextHopEntryType::nextHopArpRequired;
  Nollo::EthAddr macAddr_;
  VlanIdOrNone vlanId_;
  Nollo::IntfId intfId_;
  Nollo::IntfId l3IntfId_;
  std::vector<uint32_t> labels_;
  uint32_t hwLagId_ = 0;
  uint64_t tunnelL2Info_ = 0;
  uint64_t tunnel6L2Info_ = 0;
  Nollo::EthAddr flowSmac_;
  uint32_t flowInfo_ = 0;
  uint32_t weight_ = 1;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopL2Info const& i);

}  // namespace Kor
