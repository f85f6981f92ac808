#pragma once
// Base of every state machine of the library. Holds the agent-wide common data
// (`acsd`), the machine's trace facility and the `initialized` flag whose
// first change to true runs handleInitialized(), the machine's first full
// pass. Reactors the machine creates register with it so that
// hasNotificationActiveIs() can switch their deliveries off and on together.
// The trace facility follows the common data's TractoLevels for as long as
// the machine lives; a machine registered for self-verification reports the
// outcome of its handleVerify() with KOR_VERIFY_REPORT (see VerifySm).
#include <string>
#include <vector>

#include "kor/common/KorAssert.h"
#include "kor/common/KorExport.h"
#include "kor/common/KorVerifyStatus.h"
#include "vix/Entity.h"
#include "vix/ReactorSet.h"
#include "vix/Trace.h"

namespace Kor {

class KorCommonSmData;
class VrfRouteWatch;

class KOR_EXPORT KorBaseSm : public Vix::Entity {
 public:
  KorBaseSm(Vix::Ptr<KorCommonSmData> const& acsd, std::string const& traceName);
  ~KorBaseSm() override;

  Vix::Ptr<KorCommonSmData> const& acsd() const { return acsd_; }
  bool initialized() const { return initialized_; }
  // Unchanged value: nothing happens. Otherwise stores it and, when true,
  // runs handleInitialized().
  void initializedIs(bool v);
  bool hasNotificationActive() const { return hasNotificationActive_; }

  virtual void handleInitialized() {}
  // Self-verification; machines without one make a verify request fatal.
  virtual void handleVerify();
  virtual void vixDoZombieReactors(bool zombie);
  virtual void hasNotificationActiveIs(bool active);

  Vix::TraceFacility& tf() { return tf_; }
  Vix::TraceFacility const& tf() const { return tf_; }
  // Implementation name used in traces and in "Call to unimplemented function".
  std::string const& className() const { return tf_.name(); }

 protected:
  // One report of this machine's verification: its outcome, a description
  // and the place in the code (normally through KOR_VERIFY_REPORT).
  void verifyReport(KorTypes::KorVerifyStatus status, std::string const& description, char const* file,
                    unsigned line, char const* function);
  void reactorAdd(Vix::NotifieeBase* r) { reactors_.push_back(r); }
  void reactorDel(Vix::NotifieeBase* r);

 private:
  // Adds and removes the reactors it creates (Vix::ReactorSet member).
  template <class>
  friend class Vix::ReactorSet;
  // Its watches, made for a machine, join that machine's list.
  friend class VrfRouteWatch;

 private:
  Vix::Ptr<KorCommonSmData> acsd_;
  Vix::TraceFacility tf_;
  bool initialized_ = false;
  bool hasNotificationActive_ = true;
  std::vector<Vix::NotifieeBase*> reactors_;
};

}  // namespace Kor

// Trace from inside a state machine: KOR_TRACE(5, "Create vrfRoot for vrf " << name);
#define KOR_TRACE(level, expr) VIX_TRACE(this->tf(), level, expr)
// Function-entry trace at level 9.
#define KOR_TRACE_FUNC() VIX_TRACE(this->tf(), 9, __func__)
// From inside handleVerify(): KOR_VERIFY_REPORT(KorTypes::verifyFail, "fec 5 has no via");
#define KOR_VERIFY_REPORT(status, description) this->verifyReport(status, description, __FILE__, __LINE__, __func__)
