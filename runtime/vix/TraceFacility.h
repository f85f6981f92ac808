#pragma once
// One state machine's trace output, named after its implementation
// ("KorVrfRootSm"), with the levels (0..15) it writes.
#include <cstdint>
#include <string>

namespace Vix {

class TraceFacility {
 public:
  static constexpr char const* kDefaultLevels = "0-1";
  explicit TraceFacility(std::string name, std::string const& levels = kDefaultLevels);

  std::string const& name() const { return name_; }
  std::string const& levels() const { return levels_; }
  // Accepts digits, ranges a-b, commas and '*'; returns false (changing
  // nothing) on anything else.
  bool levelsIs(std::string const& text);
  bool enabled(int level) const { return (mask_ >> level) & 1u; }
  void write(int level, std::string const& msg) const;

  static bool parseLevels(std::string const& text, uint32_t* mask);

 private:
  std::string name_;
  std::string levels_;
  uint32_t mask_ = 0;
};

}  // namespace Vix
