#pragma once
// VLAN translation and VLAN -> filtering database: the translation
// configuration per interface and the VLAN -> fid map as the bridging
// configuration agent writes them, and the translation status the library
// publishes. Its part of the library is VlanMappingSm and VlanPhyIntfSm,
// over the chip's XlateChip helpers. Shows `vlan translation`; reads the
// configuration file's "vlanTranslations" section.
#include <cstdint>
#include <string>

#include "agent/AgentModule.h"
#include "agent/StatementArgs.h"
#include "models/bridging/VlanFidConfigDir.h"
#include "models/bridging/VlanXlateConfigDir.h"
#include "models/bridging/VlanXlateStatusDir.h"
#include "nollo/IntfId.h"
#include "vix/Ptr.h"

namespace Kor {
class VlanMappingSm;
class VlanPhyIntfSm;
}  // namespace Kor

namespace KorAgent {

class XlateModule : public AgentModule {
 public:
  // One translation as a statement or the file gives it: a direction
  // (ingress or egress), native or keyed by a tag (and inner tag), and the
  // VLAN it maps to. VLANs are checked (Kor::VlanId) when it is parsed.
  struct Translation {
    bool egress = false;
    bool native = false;
    Bridging::VlanXlateKey key;
    uint16_t mapped = 0;
  };

  explicit XlateModule(Agent* agent);
  ~XlateModule() override;

  // Adds or replaces the translation on the interface (an Ethernet port or
  // a port channel).
  void translationAdd(Nollo::IntfId const& intf, Translation const& t);
  // Removes it (the mapped VLAN is not compared).
  void translationDel(Nollo::IntfId const& intf, Translation const& t);
  // fid 0: the VLAN learns in a database of its own.
  void vlanFidIs(uint16_t vlan, uint16_t fid);
  // The interface may carry translations: an Ethernet port or a port
  // channel (empty: it may); the statements and the file refuse others.
  static std::string intfError(Nollo::IntfId const& intf);

  Vix::Ptr<Bridging::VlanXlateConfigDir> const& xlateConfig() const { return xlateConfig_; }
  Vix::Ptr<Bridging::VlanXlateStatusDir> const& xlateStatus() const { return xlateStatus_; }
  Vix::Ptr<Bridging::VlanFidConfigDir> const& fidConfig() const { return fidConfig_; }
  Kor::VlanMappingSm* vlanMappingSm() const;
  Kor::VlanPhyIntfSm* vlanPhyIntfSm() const;

  void statementsAdd(StatementTable& t) override;
  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

  // "ingress 100 to 10", "egress 10.20 to 100", "native ingress 5 to 20"
  // (without "to N" when withMapped is false): the statement's words after
  // the interface; throws naming the word at fault.
  static Translation parseTranslation(StatementArgs& a, bool withMapped);
  // "100" or "100.20" (outer.inner), each a VlanId.
  static Bridging::VlanXlateKey parseKey(std::string const& text);

 private:
  ShowModel translationShow() const;

  Vix::Ptr<Bridging::VlanXlateConfigDir> xlateConfig_;
  Vix::Ptr<Bridging::VlanXlateStatusDir> xlateStatus_;
  Vix::Ptr<Bridging::VlanFidConfigDir> fidConfig_;
  Vix::Ptr<Kor::VlanMappingSm> vlanMappingSm_;
  Vix::Ptr<Kor::VlanPhyIntfSm> vlanPhyIntfSm_;
};

}  // namespace KorAgent
