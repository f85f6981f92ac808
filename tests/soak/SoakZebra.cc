#include "SoakZebra.h"

#include <chrono>
#include <cstdio>

namespace KorSoak {

namespace {

using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

NlNexthop hop(std::string const& gateway, uint32_t oif) {
  NlNexthop h;
  h.gateway = Nollo::IpGenAddr(gateway);
  h.oif = oif;
  return h;
}

// Single objects, then the groups naming them: the order zebra replays in.
constexpr uint32_t kSingles[] = {1, 2, 3, 4, 11, 12, 20};
constexpr uint32_t kGroups[] = {100, 101, 110};
constexpr uint32_t kV4Objects[] = {1, 2, 3, 4, 20, 100, 101};
constexpr uint32_t kV6Objects[] = {11, 12, 20, 110};

}  // namespace

SoakZebra::SoakZebra(uint16_t port, uint64_t seed) : port_(port), rng_(seed), slots_(kV4Routes + kV6Routes) {}

SoakZebra::~SoakZebra() = default;

NlNexthopObject SoakZebra::object(uint32_t id) const {
  NlNexthopObject o;
  o.id = id;
  o.family = id >= 11 && id < 20 ? 10 : 2;
  switch (id) {
    case 20: o.blackhole = true; break;
    case 100: o.group = {{1, 1}, {2, 1}}; break;
    case 101: o.group = {{2, 1}, {3, 2}, {4, 1}}; break;
    case 110: o.group = {{11, 1}, {12, 1}}; break;
    default:
      if (id < 10) o.nexthop = hop("10.1." + std::to_string(shift_[id]) + "." + std::to_string(1 + id), 1 + id % 2);
      else o.nexthop = hop("2001:db8::" + std::to_string(shift_[id] * 16 + id), 2);
  }
  return o;
}

NlRoute SoakZebra::route(uint32_t i) const {
  NlRoute r;
  bool const v6 = i >= kV4Routes;
  if (v6) {
    char text[40];
    std::snprintf(text, sizeof text, "2001:db8:%x::/48", i - kV4Routes);
    r.prefix = Nollo::Ip6Prefix(std::string(text));
  } else {
    r.prefix = Nollo::IpPrefix(Nollo::IpAddr4(0x0a000000u + (i << 8)), 24);
  }
  Slot const& s = slots_[i];
  if (!s.present) {
    r.add = false;
    return r;
  }
  std::string const a = v6 ? "2001:db8::2" : "10.1.0.2", b = v6 ? "2001:db8::3" : "10.1.0.3";
  switch (s.kind) {
    case 0: r.nhId = s.object; break;
    case 1: r.type = 6; break;
    case 2: r.nexthops = {hop(a, 1)}; break;
    default: r.nexthops = {hop(a, 1), hop(b, 2)};
  }
  return r;
}

void SoakZebra::doRandomSlot(Slot& s, bool v6) {
  s.present = true;
  s.kind = uint8_t(pick(4));
  s.object = v6 ? kV6Objects[pick(std::size(kV6Objects))] : kV4Objects[pick(std::size(kV4Objects))];
}

void SoakZebra::doTable(std::vector<uint8_t>* out) {
  for (uint32_t id : kSingles) enc_.encodeFrame(object(id), out);
  for (uint32_t id : kGroups) enc_.encodeFrame(object(id), out);
  for (uint32_t i = 0; i < slots_.size(); ++i)
    if (slots_[i].present) enc_.encodeFrame(route(i), out);
}

bool SoakZebra::doSend(KorTest::FpmPeer& peer, std::vector<uint8_t> const& bytes) {
  if (peer.send(bytes)) {
    counters_.bytes += bytes.size();
    return true;
  }
  ++counters_.sendFailures;
  error_ = "an FPM send of " + std::to_string(bytes.size()) + " bytes failed or timed out";
  return false;
}

bool SoakZebra::start() {
  for (uint32_t i = 0; i < slots_.size(); ++i) doRandomSlot(slots_[i], i >= kV4Routes);
  return reconnect(Reconnect::closeFirst);
}

bool SoakZebra::churn(size_t n) {
  if (!conn_) return reconnect(Reconnect::closeFirst);
  std::vector<uint8_t> out;
  if (pick(20) == 0) {
    // A neighbour moved: an object's gateway changes, its routes follow.
    uint32_t id = kSingles[pick(6)];
    shift_[id] ^= 1;
    enc_.encodeFrame(object(id), &out);
    ++counters_.objectUpdates;
    ++counters_.frames;
  }
  for (; n; --n) {
    uint32_t i = uint32_t(pick(slots_.size()));
    Slot& s = slots_[i];
    if (s.present && pick(2)) {
      s.present = false;
      ++counters_.routeDels;
    } else {
      doRandomSlot(s, i >= kV4Routes);
      ++counters_.routeAdds;
    }
    enc_.encodeFrame(route(i), &out);
    ++counters_.frames;
  }
  if (doSend(*conn_, out)) return true;
  // The stream may end mid-frame: zebra drops the connection and reconnects.
  conn_.reset();
  return false;
}

bool SoakZebra::reconnect(Reconnect how) {
  if (how == Reconnect::lostRoutes) {
    // zebra came back without some of its routes: the agent must sweep them.
    for (auto& s : slots_)
      if (s.present && pick(10) == 0) {
        s.present = false;
        ++counters_.lost;
      }
  }
  std::unique_ptr<KorTest::FpmPeer> old = std::move(conn_);
  if (how != Reconnect::keepOld) old.reset();
  auto fresh = std::make_unique<KorTest::FpmPeer>(port_);
  if (!fresh->connected()) {
    error_ = "cannot connect to the FPM port";
    ++counters_.sendFailures;
    return false;
  }
  ++counters_.connections;
  std::vector<uint8_t> table;
  doTable(&table);
  if (!doSend(*fresh, table)) return false;
  ++counters_.replays;
  if (old) {
    // The agent must close the old connection for the proven new one.
    if (old->closedByAgent(10)) ++counters_.takeovers;
    else ++counters_.takeoverFailures;
  }
  conn_ = std::move(fresh);
  return true;
}

void SoakZebra::stranger(bool garbage) {
  auto peer = std::make_unique<KorTest::FpmPeer>(port_);
  if (!peer->connected()) return;
  if (!garbage) {
    ++counters_.silentStrangers;
    strangers_.push_back({std::move(peer), now()});
    return;
  }
  ++counters_.garbageStrangers;
  std::vector<uint8_t> bytes(1 + pick(512));
  for (auto& b : bytes) b = uint8_t(pick(256));
  if (bytes[0] == 1) bytes[0] = 2;  // no FPM version: framing is lost at once
  peer->send(bytes, 1.0);
  if (peer->closedByAgent(5)) ++counters_.strangersClosed;
  else ++counters_.strangersKept;
}

void SoakZebra::reapStrangers(double seconds) {
  double const t = now();
  for (auto it = strangers_.begin(); it != strangers_.end();) {
    if (t - it->since < seconds) {
      ++it;
      continue;
    }
    if (it->peer->closedByAgent(0)) ++counters_.strangersClosed;
    else ++counters_.strangersKept;
    it = strangers_.erase(it);
  }
}

size_t SoakZebra::routes() const {
  size_t n = 0;
  for (auto const& s : slots_) n += s.present;
  return n;
}

}  // namespace KorSoak
