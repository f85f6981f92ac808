#pragma once
#include <stdexcept>

#include "vix/Ptr.h"

namespace Vix {

// A pointer that may not be null: a mandatory input of a state machine.
template <class T>
class ValidPtr : public Ptr<T> {
 public:
  ValidPtr(Ptr<T> const& p) : Ptr<T>(p) { if (!p) throw std::invalid_argument("null ValidPtr"); }
  ValidPtr(T* p) : ValidPtr(Ptr<T>(p)) {}
};

}  // namespace Vix
