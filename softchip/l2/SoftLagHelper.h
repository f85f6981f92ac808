#pragma once
// The software chip's LAG hook: programs the library's LAGs into the chip's
// "lag" table (LAG -> member list), each write answered through the fault
// injector under the table's kind and the LAG's name.
//
// Hardware or software LAG: a LAG the chip holds is a hardwareLag; one the
// chip refused (full, failed, not ready) is a softwareLag - the chip has no
// group for it and its frames go to single member ports chosen in software
// (LagChip::memberFor uses the wanted members then). The type is told to the
// library (lagTypeIs) after every write. A refused LAG is kept with the
// members the library wants and written again by recheckRefused(): when a
// LAG leaves the table (room came back), when the fault rules or capacities
// change (the agent calls it) and on a verification retry. Nothing refused
// is lost.
//
// updateLagMember changes one member of what the chip holds; updateLag
// writes the whole list, so a new run over a kept chip rewrites nothing
// that was right (such writes count as syncs). Interfaces it does not
// manage are named with unmanagedIs. Owned by LagChip for the agent's whole
// life, so what it wants and what it refused survive library restarts.
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kor/helpers/KorHelperLagSm.h"
#include "nollo/IntfId.h"

namespace SoftChip {

class SoftChip;

class SoftLagHelper : public KorHelper::KorHelperLagSm {
 public:
  explicit SoftLagHelper(SoftChip* chip) : KorHelperLagSm(), chip_(chip) {}

  void maybeCreateLag(Nollo::IntfId const& lag) override;
  void maybeDestroyLag(Nollo::IntfId const& lag) override;
  void updateLag(Nollo::IntfId const& lag, Kor::KorPortList const& ports) override;
  void updateLagMember(Nollo::IntfId const& lag, Nollo::IntfId const& member, bool add,
                       Kor::KorPortList const& ports) override;
  bool isIntfManaged(Nollo::IntfId const& intf) const override { return !unmanaged_.count(intf); }
  void lacpEnabledIs(bool enabled) override { lacpEnabled_ = enabled; }
  // The chip has nothing of its own to check: the machine compares hwLags().
  void handleVerify() override {}
  void handleRetryVerify() override { recheckRefused(); }
  HwLags hwLags() const override;

  // Writes every refused LAG again.
  void recheckRefused();
  // The chip does (not) manage the interface.
  void unmanagedIs(Nollo::IntfId const& intf, bool unmanaged);
  bool lacpEnabled() const { return lacpEnabled_; }
  // The members the library wants for the LAG (held or refused); null: no such LAG.
  Kor::KorPortList const* wanted(Nollo::IntfId const& lag) const;
  std::set<Nollo::IntfId> const& refused() const { return refused_; }

 private:
  void doWrite(Nollo::IntfId const& lag, Kor::KorPortList const& ports);

  SoftChip* chip_;
  std::map<Nollo::IntfId, Kor::KorPortList> wanted_;
  std::set<Nollo::IntfId> refused_;
  std::set<Nollo::IntfId> unmanaged_;
  bool lacpEnabled_ = true;
};

}  // namespace SoftChip
