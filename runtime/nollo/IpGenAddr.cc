#include "nollo/IpGenAddr.h"

#include "nollo/ParseError.h"

namespace Nollo {

IpGenAddr::IpGenAddr(std::string_view text) {
  auto a = parse(text);
  if (!a) throw ParseError::malformed("IP address", text);
  addr_ = a->addr_;
}

std::optional<IpGenAddr> IpGenAddr::parse(std::string_view text) {
  if (text.find(':') != std::string_view::npos) {
    if (auto a = IpAddr6::parse(text)) return IpGenAddr(*a);
  } else if (auto a = IpAddr4::parse(text)) {
    return IpGenAddr(*a);
  }
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& os, IpGenAddr const& a) { return os << a.str(); }

}  // namespace Nollo
