#pragma once
// The software chip's index of what its subsystems hold: every table and
// every platform helper, registered by name by the subsystem that owns it
// (softchip/l3, softchip/adj, ...). Whoever must find a table without
// knowing its subsystem - `show chip`, `chip capacity`, `chip fault`, the
// resource-full checks - asks here, so adding a table or a subsystem
// touches neither the chip class nor the agent.
//
// Invariants: names are unique within tables and within helpers (a second
// registration under a taken name is refused with std::invalid_argument);
// tables() keeps the order of registration, which is the order of the
// shows. The registry owns nothing: the subsystems own their tables and
// helpers and outlive it in the chip.
#include <string>
#include <vector>

#include "kor/common/KorBaseHelper.h"
#include "softchip/common/ChipTableBase.h"

namespace SoftChip {

class ChipRegistry {
 public:
  void tableIs(ChipTableBase* table);
  // A table by name; null when there is none.
  ChipTableBase* table(std::string const& name) const;
  std::vector<ChipTableBase*> const& tables() const { return tables_; }

  // A helper is registered under its own name (KorBaseHelper::name()).
  void helperIs(Kor::KorBaseHelper* helper);
  // A helper by name; null when there is none.
  Kor::KorBaseHelper* helper(std::string const& name) const;
  std::vector<Kor::KorBaseHelper*> const& helpers() const { return helpers_; }

 private:
  std::vector<ChipTableBase*> tables_;
  std::vector<Kor::KorBaseHelper*> helpers_;
};

}  // namespace SoftChip
