// A VRF root over a complete set of inputs on a manual clock, with the trace
// of the routing spine's facilities captured.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kor/common/KorCommonSmData.h"
#include "kor/l3/VrfRootSm.h"
#include "vix/ActivityLoop.h"
#include "vix/Trace.h"

namespace KorTest {

class VrfRootFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(ts_);
    acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
    Kor::TractoLevels levels;
    levels.korVrfRootSmIs("*");
    levels.korRoutingSmIs("*");
    levels.korIp6RoutingSmIs("*");
    acsd_->tractoLevelsIs(levels);
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);

    cap_ = Vix::makePtr<Ip::VrfCapability>();
    cap_->maxVrfsIs(3);
    l3Status_ = Vix::makePtr<Kor::L3Status>("l3Status");
    dir_ = Vix::makePtr<Routing::VrfInfoDir>("routing");
    dir6_ = Vix::makePtr<Routing6::VrfInfoDir>("routing6");
    hw_ = Vix::makePtr<Routing::Hardware::RouteStatus>("hw");
    hw6_ = Vix::makePtr<Routing6::Hardware::RouteStatus>("hw6");
    em_ = Vix::makePtr<Ledra::EntityManager>("em");
    ipStatus_ = Vix::makePtr<Ip::Status>("ip");
    ip6Status_ = Vix::makePtr<Ip6::Status>("ip6");
    arpTable_ = Vix::makePtr<Quill::Arp::ArpTable>("arp");
    neighTable_ = Vix::makePtr<Quill::Arp::NeighTable>("neigh");
    arpVrfIdMap_ = Vix::makePtr<Quill::Arp::VrfIdMap>("arpVrfIds");
    auto packed = Vix::makePtr<Routing::PackedArgs>();
    packed->routingInfoIs(Vix::makePtr<Routing::RoutingInfo>("default"));
    packed->routing6InfoIs(Vix::makePtr<Routing::RoutingInfo>("default"));
    announce("default");

    in_.acsd = acsd_;
    in_.vrfCapability = cap_;
    in_.l3Status = l3Status_;
    in_.ipStatus = ipStatus_;
    in_.ip6Status = ip6Status_;
    in_.packedArgs = packed;
    in_.routingHwRouteStatus = hw_;
    in_.routing6HwRouteStatus = hw6_;
    in_.routingVrfInfoDir = dir_;
    in_.routing6VrfInfoDir = dir6_;
    in_.entityManager = em_;
    in_.arpTableStatus = arpTable_;
    in_.neighTableStatus = neighTable_;
    in_.arpVrfIdMap = arpVrfIdMap_;
  }

  void TearDown() override {
    sm_ = nullptr;
    Vix::traceSinkIs(nullptr);
    acsd_->doCleanup();
  }

  void announce(std::string const& name, bool routing = false) {
    auto info = Vix::makePtr<Routing::RoutingInfo>(name);
    auto info6 = Vix::makePtr<Routing::RoutingInfo>(name);
    info->routingEnabledIs(routing);
    info6->routingEnabledIs(routing);
    dir_->vrfInfoIs(name, info);
    dir6_->vrfInfoIs(name, info6);
  }
  void withdraw(std::string const& name) {
    dir_->vrfInfoDel(name);
    dir6_->vrfInfoDel(name);
  }
  void start() {
    sm_ = Kor::vrfRootSmFactory(in_);
    // The agent declares its inputs complete on the common data; the root
    // follows it.
    acsd_->initializedIs(true);
    EXPECT_TRUE(sm_->initialized());
  }
  Vix::Ptr<Kor::VrfRoot> root(std::string const& name) const { return sm_->vrfRoot(Kor::VrfName(name)); }
  uint32_t vrfId(std::string const& name) const { return l3Status_->vrfId(Kor::VrfName(name)).value(); }
  std::vector<uint32_t> freeIds() const {
    std::vector<uint32_t> ids;
    for (auto id : sm_->freeVrfIndexQueue()) ids.push_back(id.value());
    return ids;
  }
  // Trace lines containing `text`, in order.
  std::vector<std::string> lines(std::string const& text) const {
    std::vector<std::string> out;
    for (auto const& l : trace_->lines())
      if (l.find(text) != std::string::npos) out.push_back(l);
    return out;
  }

  Vix::Ptr<Vix::ManualTimeSource> ts_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Ip::VrfCapability> cap_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<Routing::VrfInfoDir> dir_;
  Vix::Ptr<Routing6::VrfInfoDir> dir6_;
  Vix::Ptr<Routing::Hardware::RouteStatus> hw_;
  Vix::Ptr<Routing6::Hardware::RouteStatus> hw6_;
  Vix::Ptr<Ledra::EntityManager> em_;
  Vix::Ptr<Ip::Status> ipStatus_;
  Vix::Ptr<Ip6::Status> ip6Status_;
  Vix::Ptr<Quill::Arp::ArpTable> arpTable_;
  Vix::Ptr<Quill::Arp::NeighTable> neighTable_;
  Vix::Ptr<Quill::Arp::VrfIdMap> arpVrfIdMap_;
  Kor::VrfRootSmInputs in_;
  Vix::Ptr<Kor::VrfRootSm> sm_;
};

}  // namespace KorTest
