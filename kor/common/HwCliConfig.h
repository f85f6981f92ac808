#pragma once
// The hardware part of the switch's CLI configuration, published by the
// configuration agent and shared read-only through KorCommonSmData::cliConfig.
// It carries no attributes yet: the machines that read hardware CLI settings
// add the ones they need here.
#include <string>

#include "kor/common/KorExport.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT HwCliConfig : public Vix::Entity {
 public:
  explicit HwCliConfig(std::string name) : Vix::Entity(std::move(name)) {}
};

}  // namespace Kor
