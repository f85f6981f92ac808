#pragma once
// The complete layer-2 rewrite data of an adjacency: one NextHopL2Info per
// next hop (or per next hop and member bitmap) plus what the adjacency is
// for. It is the sharing key of L2 adjacencies: equality and order cover
// every field, so adjacencies whose collections are equal may share one
// L2Adjacency (L3Status::nextHopsToL2Adj). Built by L2AdjHelper; next hops of
// both address families key the maps as Nollo::IpGenAddr.
#include <compare>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kor/records/L2AdjType.h"
#include "kor/records/NextHopL2Info.h"
#include "kor/common/KorExport.h"
#include "kor/common/ViaBitmap.h"
#include "nollo/IpGenAddr.h"

namespace Kor {

class KOR_EXPORT NextHopL2InfoCollection {
 public:
  using NextHopMap = std::map<Nollo::IpGenAddr, NextHopL2Info>;
  using BitmapKey = std::pair<Nollo::IpGenAddr, ViaBitmap::Words>;
  using NextHopBitmapMap = std::map<BitmapKey, NextHopL2Info>;

  NextHopL2InfoCollection() = default;
  explicit NextHopL2InfoCollection(L2AdjType type) : type_(type) {}

  L2AdjType type() const { return type_; }
  void typeIs(L2AdjType t) { type_ = t; }
  bool attachedRoute() const { return attachedRoute_; }
  void attachedRouteIs(bool b) { attachedRoute_ = b; }
  uint8_t tunnelType() const { return tunnelType_; }
  void tunnelTypeIs(uint8_t t) { tunnelType_ = t; }
  bool ipv6Route() const { return ipv6Route_; }
  void ipv6RouteIs(bool b) { ipv6Route_ = b; }

  NextHopMap const& nextHop() const { return nextHop_; }
  bool nextHopHas(Nollo::IpGenAddr const& a) const { return nextHop_.count(a) != 0; }
  void nextHopIs(Nollo::IpGenAddr const& a, NextHopL2Info const& i) { nextHop_.insert_or_assign(a, i); }
  void nextHopDel(Nollo::IpGenAddr const& a) { nextHop_.erase(a); }
  NextHopBitmapMap const& nextHopBitmap() const { return nextHopBitmap_; }
  void nextHopBitmapIs(BitmapKey const& k, NextHopL2Info const& i) { nextHopBitmap_.insert_or_assign(k, i); }
  // Every path, plain and bitmap, in key order.
  size_t paths() const { return nextHop_.size() + nextHopBitmap_.size(); }
  // Whether any path is of type t.
  bool hasType(NextHopEntryType t) const;

  std::vector<NextHopL2Info> const& nextHopGroupEntryL2Info() const { return nextHopGroupEntryL2Info_; }
  void nextHopGroupEntryL2InfoIs(std::vector<NextHopL2Info> v) { nextHopGroupEntryL2Info_ = std::move(v); }
  std::vector<bool> const& nextHopGroupEntryResolution() const { return nextHopGroupEntryResolution_; }
  void nextHopGroupEntryResolutionIs(std::vector<bool> v) { nextHopGroupEntryResolution_ = std::move(v); }
  uint32_t nextHopGroupSize() const { return nextHopGroupSize_; }
  void nextHopGroupSizeIs(uint32_t n) { nextHopGroupSize_ = n; }
  uint32_t ttl() const { return ttl_; }
  void ttlIs(uint32_t t) { ttl_ = t; }
  bool hasDownBfdPeers() const { return hasDownBfdPeers_; }
  void hasDownBfdPeersIs(bool b) { hasDownBfdPeers_ = b; }
  bool hasDownL3Intf() const { return hasDownL3Intf_; }
  void hasDownL3IntfIs(bool b) { hasDownL3Intf_ = b; }
  uint8_t greKeyType() const { return greKeyType_; }
  void greKeyTypeIs(uint8_t t) { greKeyType_ = t; }

  // "routingAdj v6 attached downIntf {10.0.0.1: arpResolved ...; 10.0.0.2: ...}"
  std::string str() const;

  bool operator==(NextHopL2InfoCollection const&) const = default;
  auto operator<=>(NextHopL2InfoCollection const&) const = default;

 private:
  L2AdjType type_ = L2AdjType::routingAdj;
  bool attachedRoute_ = false;
  uint8_t tunnelType_ = 0;
  bool ipv6Route_ = false;
  NextHopMap nextHop_;
  NextHopBitmapMap nextHopBitmap_;
  std::vector<NextHopL2Info> nextHopGroupEntryL2Info_;
  std::vector<bool> nextHopGroupEntryResolution_;
  uint32_t nextHopGroupSize_ = 0;
  uint32_t ttl_ = 0;
  bool hasDownBfdPeers_ = false;
  bool hasDownL3Intf_ = false;
  uint8_t greKeyType_ = 0;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopL2InfoCollection const& c);

}  // namespace Kor
