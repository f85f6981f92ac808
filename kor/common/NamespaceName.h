#pragma once
// The name of a network namespace, at most 150 bytes; every constructed value
// satisfies that (the constructors throw Vix::RangeError otherwise).
// Default-constructed it is empty.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT NamespaceName {
 public:
  static constexpr size_t maxBytes = 150;

  NamespaceName() = default;
  NamespaceName(std::string name);
  NamespaceName(char const* name) : NamespaceName(std::string(name)) {}
  NamespaceName(std::string_view name) : NamespaceName(std::string(name)) {}

  std::string const& str() const { return name_; }
  size_t bytes() const { return name_.size(); }
  bool empty() const { return name_.empty(); }
  auto operator<=>(NamespaceName const&) const = default;

 private:
  std::string name_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, NamespaceName const& v);

}  // namespace Kor

template <>
struct std::hash<Kor::NamespaceName> {
  size_t operator()(Kor::NamespaceName const& v) const noexcept { return std::hash<std::string>()(v.str()); }
};
