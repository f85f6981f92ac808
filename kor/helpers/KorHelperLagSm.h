#pragma once
// Platform hook of the LAG state machine (LagSm): creates, updates and
// destroys the chip's LAGs and says which interfaces this agent manages.
// The operations return nothing: a LAG the chip refuses is the platform's to
// keep and retry, and the platform tells the machine how each LAG is realised
// (hardware or software LAG) through lagTypeIs(), which the machine writes
// into the common data's lagToLagType. A platform library derives from it;
// an operation it does not override fails loudly.
#include <functional>
#include <map>
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/KorLagType.h"
#include "kor/common/KorPortList.h"
#include "nollo/IntfId.h"

namespace KorHelper {

class KOR_EXPORT KorHelperLagSm : public Kor::KorBaseHelper {
 public:
  using LagTypeHandler = std::function<void(Nollo::IntfId const&, Kor::KorLagType)>;
  // LAG -> the members the chip holds for it.
  using HwLags = std::map<Nollo::IntfId, Kor::KorPortList>;

  explicit KorHelperLagSm(std::string name = "KorHelperLagSm") : KorBaseHelper(std::move(name)) {}

  // Once, when the machine starts.
  virtual void hwInit() {}
  virtual void maybeCreateLag(Nollo::IntfId const& /*lag*/) {
    korAssert("Call to unimplemented function LagSm::doMaybeCreateLag");
  }
  virtual void maybeDestroyLag(Nollo::IntfId const& /*lag*/) {
    korAssert("Call to unimplemented function LagSm::doMaybeDestroyLag");
  }
  // The LAG's whole member list.
  virtual void updateLag(Nollo::IntfId const& /*lag*/, Kor::KorPortList const& /*ports*/) {
    korAssert("Call to unimplemented function LagSm::doUpdateLag");
  }
  // One member joined (add) or left; ports is the list after the change.
  virtual void updateLagMember(Nollo::IntfId const& /*lag*/, Nollo::IntfId const& /*member*/, bool /*add*/,
                               Kor::KorPortList const& /*ports*/) {
    korAssert("Call to unimplemented function LagSm::doUpdateLagMember");
  }
  // Whether this agent programs the interface (another may own it).
  virtual bool isIntfManaged(Nollo::IntfId const& /*intf*/) const {
    korAssert("Call to unimplemented function LagSm::isIntfManaged");
    return false;
  }
  // True: every member counts as managed, isIntfManaged is not asked.
  virtual bool intfManagedCheckOverride() const { return false; }
  virtual void lacpEnabledIs(bool /*enabled*/) { korAssert("Call to unimplemented function lacpEnabledIs"); }
  // The platform's own part of a verification run of the machine.
  virtual void handleVerify() { korAssert("Call to unimplemented function LagSm::handleVerify"); }
  virtual void handleRetryVerify() {}
  // The LAGs the chip holds (the previous run's too), for start-up and
  // verification.
  virtual HwLags hwLags() const {
    korAssert("Call to unimplemented function LagSm::hwLags");
    return {};
  }

  // Set by the machine for its life; the platform calls lagTypeIs().
  void lagTypeHandlerIs(LagTypeHandler fn) { lagTypeHandler_ = std::move(fn); }

 protected:
  void lagTypeIs(Nollo::IntfId const& lag, Kor::KorLagType type) const {
    if (lagTypeHandler_) lagTypeHandler_(lag, type);
  }

 private:
  LagTypeHandler lagTypeHandler_;
};

}  // namespace KorHelper
