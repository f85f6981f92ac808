#pragma once
// What every table of the software chip shows, whatever its key and entry
// types: its name, capacity, size, the entries as text, and how many writes
// it took. The counters let a restart test prove that a second run over the
// same chip rewrote nothing: a write of the value already held counts as a
// sync, not as an update.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace SoftChip {

class ChipTableBase {
 public:
  static constexpr size_t kUnlimited = std::numeric_limits<size_t>::max();

  struct WriteCounters {
    uint64_t creates = 0;
    uint64_t updates = 0;
    uint64_t deletes = 0;
    uint64_t syncs = 0;
    // Writes that changed the table.
    uint64_t changes() const { return creates + updates + deletes; }
  };

  explicit ChipTableBase(std::string name) : name_(std::move(name)) {}
  ChipTableBase(ChipTableBase const&) = delete;
  ChipTableBase& operator=(ChipTableBase const&) = delete;
  virtual ~ChipTableBase() = default;

  std::string const& name() const { return name_; }
  size_t capacity() const { return capacity_; }
  // Shrinking below the current size keeps the entries; only new ones are refused.
  void capacityIs(size_t c) { capacity_ = c; }
  WriteCounters const& counters() const { return counters_; }
  virtual size_t size() const = 0;
  // Entries in key order as (key, value) texts.
  virtual std::vector<std::pair<std::string, std::string>> entryTexts() const = 0;

 protected:
  WriteCounters counters_;

 private:
  std::string name_;
  size_t capacity_ = kUnlimited;
};

}  // namespace SoftChip
