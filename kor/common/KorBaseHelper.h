#pragma once
// Base of every non-reactive helper, in particular of the platform helpers a
// chip library derives from. A helper operation the platform has not
// implemented fails loudly through unimplemented().
#include <string>

#include "kor/common/KorAssert.h"
#include "kor/common/KorExport.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT KorBaseHelper : public Vix::PtrInterface {
 public:
  explicit KorBaseHelper(std::string name) : name_(std::move(name)) {}
  std::string const& name() const { return name_; }
  void korAssert(std::string const& message) const { ::Kor::korAssert(message); }

 protected:
  // "Call to unimplemented function <Class>::<operation>"
  void unimplemented(char const* className, char const* operation) const {
    ::Kor::korAssert(std::string("Call to unimplemented function ") + className + "::" + operation);
  }

 private:
  std::string name_;
};

}  // namespace Kor
