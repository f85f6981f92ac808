#include "kor/common/VerifySm.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "vix/Log.h"

namespace Kor {

VIX_LOG_EVENT(KOR_VERIFY_OUTPUT, 5, "%s", "The forwarding agent's self-verification produced this report.",
              "None, unless the report describes a failure: then collect it with the agent's state.", 0.0);

namespace {

int weight(KorTypes::KorVerifyStatus s) {
  switch (s) {
    case KorTypes::verifyFail:
      return 2;
    case KorTypes::verifyRetry:
      return 1;
    default:
      return 0;
  }
}

}  // namespace

VerifySm::VerifySm(Vix::Ptr<KorCommonSmData> const& acsd)
    : KorBaseSm(acsd, "KorVerifySm"),
      vixAcsd_(acsd, this),
      vixVerifyData_(this),
      vixVerifyRequired_(this),
      clock_(acsd->activityLoop().ptr(), [this] { handleTimeout(); }) {
  reactorAdd(&vixAcsd_);
  reactorAdd(&vixVerifyData_);
  reactorAdd(&vixVerifyRequired_);
  doBindVerifyData();
}

VerifySm::~VerifySm() = default;

void VerifySm::doBindVerifyData() {
  auto const& vd = acsd()->verifyData();
  vixVerifyData_.notifierIs(vd);
  vixVerifyRequired_.notifierIs(vd ? vd->verifyRequired() : nullptr);
}

void VerifySm::VixVerifyRequired::handleVerifyRequired() {
  if (auto const& vd = sm_->acsd()->verifyData()) vd->doRequestVerify();
}

void VerifySm::handleVerifyRequest() {
  KOR_TRACE_FUNC();
  auto const& vd = acsd()->verifyData();
  if (!vd || !vd->verifyEnabled()) return;
  vd->verifyDoneIs(false);
  clock_.timeMinIs(clock_.now());
}

void VerifySm::handleTimeout() { doVerify(); }

std::vector<VerifyOutput> VerifySm::doVerify() {
  Vix::Ptr<VerifyData> vd = acsd()->verifyData();
  faults_.clear();
  if (!vd) return faults_;
  if (vd->retryVerify()) {
    vd->retryVerifyIs(false);
    vd->reverifyInc();
  } else {
    KOR_TRACE(1, "Starting Kor verification");
    vd->verifyInc();
  }
  vd->verifyResultIs(KorTypes::verifyInProgress);

  running_ = true;
  reported_ = false;
  report_ = VerifyOutput("", "", 0, "", KorTypes::verifySuccess);
  // A machine may leave the registry while another one verifies: each is
  // looked up again before it runs.
  std::vector<KorBaseSm*> machines = acsd()->verifiableSms();
  for (auto* sm : machines) {
    auto const& live = acsd()->verifiableSms();
    if (std::find(live.begin(), live.end(), sm) == live.end()) continue;
    current_ = sm;
    try {
      sm->handleVerify();
    } catch (std::exception const& e) {
      doReport(VerifyOutput(e.what(), "", 0, sm->className() + "::handleVerify", KorTypes::verifyFail));
    } catch (...) {
      doReport(VerifyOutput("unknown exception", "", 0, sm->className() + "::handleVerify", KorTypes::verifyFail));
    }
  }
  current_ = nullptr;
  running_ = false;

  vd->verifyOutputIs(report_);
  KOR_TRACE(1, "Kor verification done");
  if (report_.verifyResult() == KorTypes::verifyRetry) vd->retryVerifyIs(true);
  vd->verifyResultIs(report_.verifyResult());
  vd->verifyDoneIs(true);
  return faults_;
}

void VerifySm::doReport(VerifyOutput const& o) {
  if (!running_) return;
  if (o.verifyResult() != KorTypes::verifySuccess) {
    faults_.push_back(o);
    if (current_ && o.function().find("::") == std::string::npos)
      faults_.back() = VerifyOutput(o.description(), o.filename(), o.lineNum(),
                                                current_->className() + "::" + o.function(), o.verifyResult());
  }
  if (reported_ && weight(o.verifyResult()) <= weight(report_.verifyResult())) return;
  report_ = o;
  reported_ = true;
}

void VerifySm::handleVerifyOutput() {
  auto const& vd = acsd()->verifyData();
  // A pass that found nothing wrong has nothing to tell.
  if (!vd || vd->verifyOutput().verifyResult() == KorTypes::verifySuccess) return;
  std::ostringstream os;
  os << vd->verifyOutput();
  KOR_VERIFY_OUTPUT.raise(clock_.now(), os.str().c_str());
}

}  // namespace Kor
