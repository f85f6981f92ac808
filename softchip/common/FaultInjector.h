#pragma once
// Decides how the software chip answers each programming call, so that every
// retry path of the library can be driven from a test or a scenario.
//
// A call names the kind of object (the table it goes to: "vrf", "route4"...)
// and the object's key. The answer is, in order of precedence: the rule set
// for that one object, the rule set for its kind, a random draw at the
// configured rate (std::mt19937_64 with the configured seed, so runs repeat),
// and finally "resourceFull" when the table has no room for a new entry, or
// success. Every call and every answer is counted per kind.
//
// Tables that take a million writes (the route tables) must not build a key
// text per call: they ask kindRuled() once per rulesVersion() and, while no
// rule names their kind, answer through answerUnruled() with their own
// counters. The random draw is taken on that path too, so the sequence of
// answers stays a function of the seed and the order of calls.
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>

namespace SoftChip {

enum class ChipAnswer { success, fail, notReady, resourceFull };

char const* chipAnswerName(ChipAnswer a);

class FaultInjector {
 public:
  struct Counters {
    uint64_t calls = 0;
    uint64_t success = 0;
    uint64_t fail = 0;
    uint64_t notReady = 0;
    uint64_t resourceFull = 0;
  };

  // ChipAnswer::success removes the rule.
  void objectFaultIs(std::string const& kind, std::string const& key, ChipAnswer a);
  void kindFaultIs(std::string const& kind, ChipAnswer a);
  // Answers `a` to a fraction `rate` (0..1) of the calls that no rule covers.
  void randomFaultIs(double rate, uint64_t seed, ChipAnswer a = ChipAnswer::fail);
  void faultsDelAll();

  // The answer to one call; `tableFull` says the call needs a new entry in a
  // table that is at capacity.
  ChipAnswer answer(std::string const& kind, std::string const& key, bool tableFull = false);

  // Changes whenever a rule is set or removed.
  uint64_t rulesVersion() const { return rulesVersion_; }
  // Whether an object rule or a kind rule names `kind`.
  bool kindRuled(std::string const& kind) const;
  // The counters of one kind, created on first use; the reference stays
  // valid for the injector's life (counters are never removed).
  Counters& kindCounters(std::string const& kind) { return counters_[kind]; }
  // The answer to a call of a kind no rule names: the random draw, then
  // "full" or success; counted in `c` (from kindCounters()).
  ChipAnswer answerUnruled(Counters& c, bool tableFull);

  Counters counters(std::string const& kind) const;
  std::map<std::string, Counters> const& countersMap() const { return counters_; }
  std::map<std::pair<std::string, std::string>, ChipAnswer> const& objectFaults() const { return objectFault_; }
  std::map<std::string, ChipAnswer> const& kindFaults() const { return kindFault_; }
  double rate() const { return rate_; }
  uint64_t seed() const { return seed_; }
  ChipAnswer rateAnswer() const { return rateAnswer_; }

 private:
  static ChipAnswer count(Counters& c, ChipAnswer a);

  std::map<std::pair<std::string, std::string>, ChipAnswer> objectFault_;
  std::map<std::string, ChipAnswer> kindFault_;
  double rate_ = 0.0;
  uint64_t seed_ = 0;
  ChipAnswer rateAnswer_ = ChipAnswer::fail;
  uint64_t rulesVersion_ = 0;
  std::mt19937_64 rng_;
  std::map<std::string, Counters> counters_;
};

}  // namespace SoftChip
