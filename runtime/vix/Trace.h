#pragma once
// Per-state-machine tracing. Each state machine owns a TraceFacility named
// after its implementation ("KorVrfRootSm"); its level string ("0-4",
// "0,3,9", "" for off, "*" for all) chooses which of levels 0..15 are written.
// VIX_TRACE checks the level before it builds any string, so a disabled trace
// line costs one test of a bit.
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "vix/Ptr.h"

namespace Vix {

class TraceSink : public PtrInterface {
 public:
  virtual void write(std::string const& facility, int level, std::string const& msg) = 0;
};

class StderrTraceSink : public TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;
};

class MemoryTraceSink : public TraceSink {
 public:
  void write(std::string const& facility, int level, std::string const& msg) override;
  std::vector<std::string> const& lines() const { return lines_; }
  // Lines containing `text`.
  size_t count(std::string const& text) const;
  bool contains(std::string const& text) const { return count(text) > 0; }
  void clear() { lines_.clear(); }

 private:
  std::vector<std::string> lines_;
};

// Process-wide trace output (none until set: tracing then costs nothing).
void traceSinkIs(Ptr<TraceSink> s);
TraceSink* traceSink();

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

#define VIX_TRACE(facility, level, expr)                            \
  do {                                                              \
    auto const& vixTf_ = (facility);                                \
    if (vixTf_.enabled(level) && ::Vix::traceSink()) {              \
      std::ostringstream vixOs_;                                    \
      vixOs_ << expr;                                               \
      vixTf_.write(level, vixOs_.str());                            \
    }                                                               \
  } while (0)
