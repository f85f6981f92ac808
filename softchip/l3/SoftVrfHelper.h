#pragma once
// The software chip's VRF hook: a VRF the library gives an id is written into
// the chip's "vrf" table (name -> id), and removed when the library deletes
// it (with its entries in the other tables). Each write is answered through
// the fault injector under kind "vrf" and the VRF's name; the answer goes
// back to the library as the VRF's state, and a refusal leaves the table
// unchanged. A write refused because the table is full sets the library's
// L3Status::vrfResourceFull; a delete that makes room, or
// recheckResourceFull() once the refusing rule is gone, clears it.
// Owned by the SoftChip; the agent hands it each run's L3Status.
#include "kor/helpers/VrfHelper.h"
#include "kor/records/L3Status.h"
#include "vix/Ptr.h"

namespace SoftChip {

class SoftChip;

class SoftVrfHelper : public KorHelper::VrfHelper {
 public:
  explicit SoftVrfHelper(SoftChip* chip) : chip_(chip) {}
  Kor::VrfHwState vrfCreated(Kor::VrfName const& vrfName, Kor::VrfId vrfId) override;
  void vrfDeleted(Kor::VrfName const& vrfName, Kor::VrfId vrfId) override;

  // The L3 status of the running library (null between runs).
  void l3StatusIs(Vix::Ptr<Kor::L3Status> const& s) { l3Status_ = s; }
  // Clears vrfResourceFull when a new VRF would now be taken.
  void recheckResourceFull();

 private:
  SoftChip* chip_;
  Vix::Ptr<Kor::L3Status> l3Status_;
};

}  // namespace SoftChip
