#include "softchip/common/ChipRegistry.h"

#include <stdexcept>

namespace SoftChip {

namespace {

// A handful of tables and helpers: a scan is all a lookup needs.
template <class T>
T* byName(std::vector<T*> const& all, std::string const& name) {
  for (T* t : all)
    if (t->name() == name) return t;
  return nullptr;
}

}  // namespace

void ChipRegistry::tableIs(ChipTableBase* table) {
  if (byName(tables_, table->name())) throw std::invalid_argument("chip table '" + table->name() + "' registered twice");
  tables_.push_back(table);
}

ChipTableBase* ChipRegistry::table(std::string const& name) const { return byName(tables_, name); }

void ChipRegistry::helperIs(Kor::KorBaseHelper* helper) {
  if (byName(helpers_, helper->name()))
    throw std::invalid_argument("chip helper '" + helper->name() + "' registered twice");
  helpers_.push_back(helper);
}

Kor::KorBaseHelper* ChipRegistry::helper(std::string const& name) const { return byName(helpers_, name); }

}  // namespace SoftChip
