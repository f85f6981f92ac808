#pragma once
// The common data on a manual clock and the chip's VLAN part with its own
// registry and fault injector: what the VLAN helper and switch-interface
// cases build their helpers on.
#include <gtest/gtest.h>

#include "kor/common/KorCommonSmData.h"
#include "softchip/common/ChipRegistry.h"
#include "softchip/common/FaultInjector.h"
#include "softchip/l2/VlanChip.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class VlanChipFixture : public ::testing::Test {
 protected:
  VlanChipFixture()
      : ts_(Vix::makePtr<Vix::ManualTimeSource>(0.0)), loop_(Vix::makePtr<Vix::ActivityLoop>(ts_)),
        acsd_(Vix::makePtr<Kor::KorCommonSmData>("acsd", loop_)), chip_(registry_, &injector_) {}
  ~VlanChipFixture() override { acsd_->doCleanup(); }

  Vix::Ptr<Vix::ManualTimeSource> ts_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  SoftChip::FaultInjector injector_;
  SoftChip::ChipRegistry registry_;
  SoftChip::VlanChip chip_;
};

}  // namespace KorTest
