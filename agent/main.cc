// kor-agent: the host agent of the library.
//
//   kor-agent                      runs the built-in demo and prints the state
//   kor-agent FILE | -             runs a scenario file (or standard input)
//   kor-agent --socket PATH        serves the command channel on a Unix socket
//   kor-agent --ask PATH 'SR4u a'  asks a running agent
// Options: --trace (library traces to stderr), --realtime (a scenario file
// on the monotonic clock instead of the manual one).
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "agent/Agent.h"
#include "agent/CommandClient.h"
#include "agent/CommandServer.h"
#include "agent/DemoScenario.h"
#include "agent/ScenarioRunner.h"
#include "vix/Log.h"
#include "vix/Trace.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kor-agent [--trace] [--realtime] [FILE | -]\n"
               "       kor-agent [--trace] --socket PATH\n"
               "       kor-agent --ask PATH COMMAND\n");
  return 2;
}

KorAgent::Agent* servedAgent = nullptr;

void handleStopSignal(int) {
  if (servedAgent) servedAgent->loop()->stop();
}

int serve(std::string const& path) {
  KorAgent::Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  agent.init();
  std::ostringstream sink;
  KorAgent::CommandServer server(agent.loop(), [&](int fd, std::string const& text) {
    return agent.channel(fd, text);
  });
  if (!server.listenIs(path)) {
    std::fprintf(stderr, "kor-agent: %s\n", server.errorText().c_str());
    return 1;
  }
  servedAgent = &agent;
  std::signal(SIGTERM, handleStopSignal);
  std::signal(SIGINT, handleStopSignal);
  std::fprintf(stderr, "kor-agent: serving %s\n", path.c_str());
  agent.loop()->run();
  servedAgent = nullptr;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool trace = false, realtime = false;
  std::string socketPath, askPath, askText, file;
  bool haveFile = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--trace") {
      trace = true;
    } else if (a == "--realtime") {
      realtime = true;
    } else if (a == "--socket" && i + 1 < argc) {
      socketPath = argv[++i];
    } else if (a == "--ask" && i + 2 < argc) {
      askPath = argv[++i];
      askText = argv[++i];
    } else if (a == "-h" || a == "--help") {
      usage();
      return 0;
    } else if ((a == "-" || a[0] != '-') && !haveFile) {
      file = a;
      haveFile = true;
    } else {
      return usage();
    }
  }

  if (!askPath.empty()) {
    KorAgent::CommandClient client(askPath);
    std::string answer;
    if (!client.ask(askText, &answer)) {
      std::fprintf(stderr, "kor-agent: %s\n", client.errorText().c_str());
      return 1;
    }
    std::fwrite(answer.data(), 1, answer.size(), stdout);
    return 0;
  }

  if (trace) KorAgent::Agent::traceToStderrIs(true);
  if (!socketPath.empty()) return serve(socketPath);

  Vix::Ptr<Vix::TimeSource> ts;
  if (realtime) ts = Vix::makePtr<Vix::MonotonicTimeSource>();
  else ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  KorAgent::Agent agent(ts);
  KorAgent::ScenarioRunner runner(&agent, &std::cout);
  size_t bad = 0;
  if (!haveFile) {
    bad = runner.runText(KorAgent::DemoScenario::text());
  } else if (file == "-") {
    bad = runner.runStream(std::cin);
  } else {
    std::ifstream in(file);
    if (!in) {
      std::fprintf(stderr, "kor-agent: cannot open %s\n", file.c_str());
      return 2;
    }
    bad = runner.runStream(in);
  }
  std::cout.flush();
  return bad ? 1 : 0;
}
