#pragma once
// The platform's answer to one add into a hardware table: taken, refused for
// lack of room (retried when room may have come back), or refused for good.
#include <cstdint>

namespace KorTypes {

enum class TableAddStatus : uint8_t { tableAddSuccess, tableFull, tableAddFailed };

}  // namespace KorTypes
