// kor-agent: the host agent of the library.
//
//   kor-agent                      runs the built-in demo and prints the state
//   kor-agent FILE | -             runs a scenario file (or standard input)
//   kor-agent help                 lists every statement and show (./help: a
//                                  file named help)
//   kor-agent --socket PATH        serves the command channel on a Unix socket
//   kor-agent --netlink            takes interfaces, VRFs and neighbours from the
//                                  kernel (with --socket: serves it too)
//   kor-agent --fpm [ADDR:]PORT    takes zebra's routes over FPM (IPv4 or IPv6
//                                  address; a port alone listens on
//                                  127.0.0.1); combines with --netlink, which
//                                  names the interfaces and VRF tables the
//                                  routes use, and with --socket
//   kor-agent --config FILE        applies the switch's configuration file (JSON,
//                                  docs/config.md) before anything else and
//                                  re-reads it on SIGHUP or `reload`; alone it
//                                  runs as a daemon, with a scenario FILE it
//                                  runs the scenario over it
//   kor-agent --ask PATH 'SR4u a'  asks a running agent (TEXT may hold several
//                                  lines; - reads the request from stdin)
// Options: --trace (library traces to stderr), --realtime (a scenario file
// on the monotonic clock instead of the manual one), --netns NAME (enters the
// network namespace /var/run/netns/NAME before any socket is opened).
// The command socket's options (docs/daemon.md): --socket-group GROUP (the
// group may use it too; owner-only otherwise), --socket-timeout DURATION (a
// connection making no progress that long is closed; 60s),
// --socket-answer-max BYTES (answer bytes one client may hold unread; 256 MiB).
// The FPM listener's (docs/fpm.md): --fpm-proof-timeout DURATION (how long a
// new FPM connection may take to send a route while another is current),
// --fpm-stale-quiet DURATION (how long a new connection must be quiet before
// the stale sweep).
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "agent/Agent.h"
#include "agent/CommandClient.h"
#include "agent/CommandServer.h"
#include "agent/DemoScenario.h"
#include "agent/fpm/FpmRouteSource.h"
#include "agent/fpm/FpmServer.h"
#include "agent/KernelIntfMap.h"
#include "agent/KernelNetlinkSource.h"
#include "agent/life/LifeModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/ScenarioRunner.h"
#include "agent/config/ConfigFile.h"
#include "vix/Log.h"
#include "vix/Trace.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kor-agent [--trace] [--realtime] [--config FILE] [FILE | -]\n"
               "       kor-agent help\n"
               "       kor-agent [--trace] [--netns NAME] [--config FILE] [--netlink] [--fpm [ADDR:]PORT] [--socket PATH]\n"
               "                 [--socket-group GROUP] [--socket-timeout DURATION] [--socket-answer-max BYTES]\n"
               "                 [--fpm-proof-timeout DURATION] [--fpm-stale-quiet DURATION]\n"
               "       kor-agent --ask PATH REQUEST|-\n");
  return 2;
}

KorAgent::Agent* servedAgent = nullptr;

void handleStopSignal(int) {
  if (servedAgent) servedAgent->loop()->stop();
}

// SIGHUP only writes a byte into this pipe; the loop watches its read end
// and reloads the configuration there, between two handlers, never inside
// the signal.
int hangupPipe[2] = {-1, -1};

void handleHangupSignal(int) {
  int const saved = errno;
  char const b = 1;
  if (::write(hangupPipe[1], &b, 1) < 0) {
    // Full: a reload is already owed.
  }
  errno = saved;
}

// Installs the configuration file on the agent for the `reload` statement
// and applies it once now; false when the file was refused (said on
// standard error).
bool configure(KorAgent::Agent& agent, KorAgent::ConfigFile* config) {
  if (!config) return true;
  agent.reloadFnIs([&agent, config] { return config->reload(agent).text(config->path()); });
  try {
    std::string const text = config->reload(agent).text(config->path());
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) std::fprintf(stderr, "kor-agent: %s\n", line.c_str());
  } catch (std::exception const& e) {
    std::fprintf(stderr, "kor-agent: %s\n", e.what());
    return false;
  }
  return true;
}

// SIGHUP on the daemon's loop: the file again, its difference applied.
bool watchHangup(KorAgent::Agent& agent, KorAgent::ConfigFile* config) {
  if (!config) return true;
  if (::pipe2(hangupPipe, O_NONBLOCK | O_CLOEXEC) < 0) {
    std::fprintf(stderr, "kor-agent: pipe: %s\n", std::strerror(errno));
    return false;
  }
  agent.loop()->fdIs(hangupPipe[0], [&agent, config] {
    char buf[64];
    while (::read(hangupPipe[0], buf, sizeof buf) > 0) {
    }
    std::string text;
    try {
      text = config->reload(agent).text(config->path());
    } catch (std::exception const& e) {
      text = std::string(e.what()) + " (nothing applied)\n";
    }
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) out += "kor-agent: reload: " + line + "\n";
    std::fputs(out.c_str(), stderr);
  });
  struct sigaction sa = {};
  sa.sa_handler = handleHangupSignal;
  sa.sa_flags = SA_RESTART;
  ::sigaction(SIGHUP, &sa, nullptr);
  return true;
}

// --socket-timeout and the --fpm-... timeouts: a duration as the scenario
// language writes it, above 0.
bool parseTimeout(std::string const& option, std::string const& text, double* out) {
  try {
    double const v = KorAgent::ScenarioRunner::parseDuration(text);
    if (!(v > 0)) throw std::invalid_argument("not above 0");
    *out = v;
    return true;
  } catch (std::exception const&) {
    std::fprintf(stderr, "kor-agent: %s: bad duration '%s'\n", option.c_str(), text.c_str());
    return false;
  }
}

// --socket-answer-max: a byte count, at least 1024.
bool parseBytes(std::string const& text, size_t* out) {
  size_t v = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || v < 1024) {
    std::fprintf(stderr, "kor-agent: --socket-answer-max: bad byte count '%s' (at least 1024)\n", text.c_str());
    return false;
  }
  *out = v;
  return true;
}

// Enters a network namespace made by `ip netns add NAME`.
bool enterNetns(std::string const& name) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    std::fprintf(stderr, "kor-agent: --netns: bad namespace name '%s'\n", name.c_str());
    return false;
  }
  std::string path = "/var/run/netns/" + name;
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || ::setns(fd, CLONE_NEWNET) < 0) {
    std::fprintf(stderr, "kor-agent: --netns: %s: %s\n", path.c_str(), std::strerror(errno));
    if (fd >= 0) ::close(fd);
    return false;
  }
  ::close(fd);
  return true;
}

// The FPM listener's options: its address and, when above 0, its timeouts.
struct FpmOptions {
  std::string address;
  double proofTimeout = 0, staleQuiet = 0;
};

int serve(std::string const& path, bool netlink, FpmOptions const& fpmOptions, std::string const& socketGroup,
          KorAgent::CommandServer::Limits const& limits, std::string const& configPath) {
  std::string const& fpm = fpmOptions.address;
  KorAgent::Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  // Real time on its own loop: `run` is refused, kept traces and log records
  // are bounded, a library that asks to exit is restarted in process.
  agent.daemonIs(true);
  // Fed by zebra or the kernel the agent runs unattended: log lines go to
  // standard error as they come, not into the answers of the socket's shows.
  if (netlink || !fpm.empty()) Vix::logSinkIs(Vix::makePtr<Vix::StderrLogSink>());
  // The configuration's inputs are in before the library's first pass.
  std::unique_ptr<KorAgent::ConfigFile> config;
  if (!configPath.empty()) config = std::make_unique<KorAgent::ConfigFile>(configPath, agent);
  if (!configure(agent, config.get()) || !watchHangup(agent, config.get())) return 1;
  agent.init();
  std::ostringstream sink;
  // The kernel's interface names, also for the route sources' lookups.
  KorAgent::KernelIntfMap intfMap;
  std::unique_ptr<KorAgent::KernelNetlinkSource> kernel;
  if (netlink) {
    kernel = std::make_unique<KorAgent::KernelNetlinkSource>(&agent, &intfMap);
    if (!kernel->open()) {
      std::fprintf(stderr, "kor-agent: --netlink: %s\n", kernel->errorText().c_str());
      return 1;
    }
  }
  // Zebra's routes, their interfaces and VRFs named through the kernel's.
  std::unique_ptr<KorAgent::FpmRouteSource> fpmSource;
  std::unique_ptr<KorAgent::FpmServer> fpmServer;
  if (!fpm.empty()) {
    agent.module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
    fpmSource = std::make_unique<KorAgent::FpmRouteSource>(
        &agent, [&](uint32_t ifindex) { return intfMap.intfOf(ifindex); },
        [&](uint32_t table) { return intfMap.vrfOfTable(table); });
    fpmServer = std::make_unique<KorAgent::FpmServer>(&agent, fpmSource.get());
    if (fpmOptions.proofTimeout > 0) fpmServer->proofTimeoutIs(fpmOptions.proofTimeout);
    if (fpmOptions.staleQuiet > 0) fpmSource->staleQuietIs(fpmOptions.staleQuiet);
    // A table the kernel moves to another VRF is looked up again.
    if (kernel) kernel->tablesChangedHandlerIs([&] { fpmSource->handleTablesChanged(); });
    if (!fpmServer->listenIs(fpm)) {
      std::fprintf(stderr, "kor-agent: --fpm: %s\n", fpmServer->errorText().c_str());
      return 1;
    }
  }
  KorAgent::CommandServer server(
      agent.loop(), [&](int fd, std::string const& line, size_t lineNo) { return agent.channel(fd, line, lineNo); },
      limits);
  if (!path.empty() && !server.listenIs(path, socketGroup)) {
    std::fprintf(stderr, "kor-agent: %s\n", server.errorText().c_str());
    return 1;
  }
  servedAgent = &agent;
  std::signal(SIGTERM, handleStopSignal);
  std::signal(SIGINT, handleStopSignal);
  if (!path.empty()) std::fprintf(stderr, "kor-agent: serving %s\n", path.c_str());
  if (netlink) std::fprintf(stderr, "kor-agent: following the kernel's interfaces and neighbours\n");
  if (fpmServer) std::fprintf(stderr, "kor-agent: fpm listening on %s\n", fpmServer->address().c_str());
  if (config) std::fprintf(stderr, "kor-agent: configured by %s (SIGHUP reloads it)\n", config->path().c_str());
  agent.loop()->run();
  servedAgent = nullptr;
  if (config) {
    std::signal(SIGHUP, SIG_IGN);
    agent.loop()->fdDel(hangupPipe[0]);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool trace = false, realtime = false;
  std::string socketPath, askPath, askText, file, netns, socketGroup, configPath;
  KorAgent::CommandServer::Limits socketLimits;
  FpmOptions fpm;
  bool haveFile = false, netlink = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--trace") {
      trace = true;
    } else if (a == "--realtime") {
      realtime = true;
    } else if (a == "--socket" && i + 1 < argc) {
      socketPath = argv[++i];
    } else if (a == "--config" && i + 1 < argc) {
      configPath = argv[++i];
    } else if (a == "--socket-group" && i + 1 < argc) {
      socketGroup = argv[++i];
    } else if (a == "--socket-timeout" && i + 1 < argc) {
      if (!parseTimeout(a, argv[++i], &socketLimits.timeout)) return usage();
    } else if (a == "--socket-answer-max" && i + 1 < argc) {
      if (!parseBytes(argv[++i], &socketLimits.answerMax)) return usage();
    } else if (a == "--fpm" && i + 1 < argc) {
      fpm.address = argv[++i];
    } else if ((a == "--fpm-proof-timeout" || a == "--fpm-stale-quiet") && i + 1 < argc) {
      if (!parseTimeout(a, argv[++i], a == "--fpm-stale-quiet" ? &fpm.staleQuiet : &fpm.proofTimeout)) return usage();
    } else if (a == "--netlink") {
      netlink = true;
    } else if (a == "--netns" && i + 1 < argc) {
      netns = argv[++i];
    } else if (a == "--ask" && i + 2 < argc) {
      askPath = argv[++i];
      askText = argv[++i];
    } else if (a == "-h" || a == "--help") {
      usage();
      return 0;
    } else if (a == "help" && argc == 2) {
      // The statement table the agent runs, as the `help` statement prints it.
      KorAgent::Agent agent(Vix::makePtr<Vix::ManualTimeSource>(0.0));
      std::cout << agent.module<KorAgent::LifeModule>().helpText();
      return 0;
    } else if ((a == "-" || a[0] != '-') && !haveFile) {
      file = a;
      haveFile = true;
    } else {
      return usage();
    }
  }

  // Before any socket: the command socket and every feed live in it.
  if (!netns.empty() && !enterNetns(netns)) return 1;

  if (!askPath.empty()) {
    if (askText == "-") {
      std::ostringstream in;
      in << std::cin.rdbuf();
      askText = in.str();
    }
    KorAgent::CommandClient client(askPath);
    std::string answer;
    bool const complete = client.ask(askText, &answer);
    std::fwrite(answer.data(), 1, answer.size(), stdout);
    std::fflush(stdout);
    if (!complete) {
      std::fprintf(stderr, "kor-agent: %s\n", client.errorText().c_str());
      return 1;
    }
    return 0;
  }

  if (trace) KorAgent::Agent::traceToStderrIs(true);
  // A configuration file alone is a switch to run: the daemon.
  if (!socketPath.empty() || netlink || !fpm.address.empty() || (!configPath.empty() && !haveFile))
    return serve(socketPath, netlink, fpm, socketGroup, socketLimits, configPath);

  Vix::Ptr<Vix::TimeSource> ts;
  if (realtime) ts = Vix::makePtr<Vix::MonotonicTimeSource>();
  else ts = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  KorAgent::Agent agent(ts);
  KorAgent::ScenarioRunner runner(&agent, &std::cout);
  std::unique_ptr<KorAgent::ConfigFile> config;
  if (!configPath.empty()) config = std::make_unique<KorAgent::ConfigFile>(configPath, agent);
  if (!configure(agent, config.get())) return 1;
  size_t bad = 0;
  if (!haveFile) {
    bad = runner.runText(KorAgent::DemoScenario::text());
  } else if (file == "-") {
    bad = runner.runStream(std::cin);
  } else {
    // A directory opens as a stream but reads as nothing: say so.
    struct stat st;
    if (::stat(file.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
      std::fprintf(stderr, "kor-agent: %s: is a directory, not a scenario file\n", file.c_str());
      return 2;
    }
    std::ifstream in(file);
    if (!in) {
      std::fprintf(stderr, "kor-agent: cannot open %s\n", file.c_str());
      return 2;
    }
    bad = runner.runStream(in);
    if (in.bad()) {
      std::fprintf(stderr, "kor-agent: error reading %s\n", file.c_str());
      return 2;
    }
  }
  std::cout.flush();
  return bad ? 1 : 0;
}
