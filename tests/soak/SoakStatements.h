#pragma once
// Random lines for the agent's command socket, as an operator, a script and
// a careless hand would type them: scenario statements that change inputs
// (VRFs, interfaces, ARP entries, FECs, routes - adds, updates, deletes),
// shows, command codes, and lines that must be refused (bad words, bad
// addresses, unknown statements, overlong or binary lines).
//
// Owns its random generator (a fixed seed gives the same lines in the same
// order) and the pools names are drawn from. The pools are small and fixed,
// so however long it runs the agent's inputs stay bounded, and they keep
// clear of what the soak's zebra uses (interfaces Ethernet1-2, VRF default's
// 10.0.0.0/8 and 2001:db8::/32). Never emits what would end or reset the
// agent (run, restart, init, set adjSharing, maxvrfs, fastboot, env).
#include <cstdint>
#include <random>
#include <string>

namespace KorSoak {

class SoakStatements {
 public:
  explicit SoakStatements(uint64_t seed) : rng_(seed) {}

  // The next line (without its newline).
  std::string next();
  // Lines that are meant to be refused, so far.
  uint64_t invalid() const { return invalid_; }

 private:
  std::string change();
  std::string show();
  std::string garbage();
  std::string vrf(bool withDefault);
  std::string intf();
  std::string ip4(unsigned net);
  std::string mac();
  std::string via();
  size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

  std::mt19937_64 rng_;
  uint64_t invalid_ = 0;
};

}  // namespace KorSoak
