#pragma once
// zebra's side of the FPM port for the soak: a routing table that changes,
// streamed to the agent as zebra's FPM data plane writes it (NetlinkEncoder:
// next-hop objects and groups first, then routes; one message per frame),
// with the reconnects zebra makes - its old connection closed first, left
// open (the new one must take over), or gone with routes zebra lost in the
// meantime (the agent must sweep them) - and strangers on the port: silent
// connections and garbage that the agent must close without touching
// anything.
//
// Owns the table (a fixed pool of IPv4 /24s in 10.0.0.0/8 and IPv6 /48s in
// 2001:db8::/32, each present or not, through a next-hop object or inline),
// the next-hop objects, the current connection and the strangers' ones, and
// its random generator (a fixed seed gives the same sequence of changes).
// Next hops name ifindex 1 and 2, which the agent calls Ethernet1 and
// Ethernet2 (the soak adds both), so every route it sends resolves and the
// agent's FPM route count must end equal to routes().
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "FpmPeer.h"
#include "feeds/NetlinkEncoder.h"

namespace KorSoak {

class SoakZebra {
 public:
  static constexpr uint32_t kV4Routes = 6000;
  static constexpr uint32_t kV6Routes = 1000;

  enum class Reconnect { closeFirst, keepOld, lostRoutes };

  struct Counters {
    uint64_t connections = 0, frames = 0, bytes = 0;
    uint64_t routeAdds = 0, routeDels = 0, objectUpdates = 0;
    uint64_t replays = 0, takeovers = 0, takeoverFailures = 0, lost = 0;
    uint64_t silentStrangers = 0, garbageStrangers = 0, strangersClosed = 0, strangersKept = 0;
    uint64_t sendFailures = 0;
  };

  SoakZebra(uint16_t port, uint64_t seed);
  SoakZebra(SoakZebra const&) = delete;
  SoakZebra& operator=(SoakZebra const&) = delete;
  ~SoakZebra();

  // Connects and sends the whole table (every route present at first).
  bool start();
  // `n` random route changes (adds, deletes, next-hop changes) and now and
  // then a next-hop object's gateway moved, sent as one burst. Without a
  // connection (a send failed before) it reconnects instead.
  bool churn(size_t n);
  // A new connection and the replay of the table on it; false (and no
  // connection) when it could not be sent.
  bool reconnect(Reconnect how);
  // A stranger connects: silent (kept until reaped) or sending garbage.
  void stranger(bool garbage);
  // Silent strangers older than `seconds`: the agent should have closed
  // them (counted closed or kept), then they go.
  void reapStrangers(double seconds);

  size_t routes() const;
  Counters const& counters() const { return counters_; }
  std::string const& error() const { return error_; }

 private:
  struct Slot {
    bool present = false;
    uint8_t kind = 0;  // 0: next-hop object, 1: blackhole, 2: one gateway, 3: two gateways
    uint32_t object = 0;
  };
  struct Stranger {
    std::unique_ptr<KorTest::FpmPeer> peer;
    double since;
  };

  KorFeeds::NlRoute route(uint32_t i) const;
  KorFeeds::NlNexthopObject object(uint32_t id) const;
  void doRandomSlot(Slot& s, bool v6);
  void doTable(std::vector<uint8_t>* out);
  bool doSend(KorTest::FpmPeer& peer, std::vector<uint8_t> const& bytes);
  size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

  uint16_t port_;
  std::mt19937_64 rng_;
  KorFeeds::NetlinkEncoder enc_;
  std::vector<Slot> slots_;
  // Gateway of single objects 1-4 (IPv4) and 11-12 (IPv6): moved by churn.
  uint32_t shift_[16] = {};
  std::unique_ptr<KorTest::FpmPeer> conn_;
  std::vector<Stranger> strangers_;
  std::string error_;
  Counters counters_;
};

}  // namespace KorSoak
