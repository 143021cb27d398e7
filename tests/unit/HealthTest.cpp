// Daemons that run but do not work: which are told, which are stopped, and how they are asked.
#include <sys/un.h>

#include "app/supervision/app_Probe.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;

// The daemon is asked every 30 s, from 151 s on, when the start-up period is over. It fails from
// `ill` to `well`.
struct Row {
  const char* name;
  std::int64_t ill, well;
  std::vector<std::int64_t> stops;
  bool told;
  void (*prepare)(SimulatedController&) = [](SimulatedController& /*controller*/) {};
  bool act = true;
};

void suspend(bool on) { AppManager::setProcessSuspend(strings::GS.toToken("tool"), on); }

void withoutScript(SimulatedController& controller) {
  controller.onInit("tool", "stop", [] {});
}
void slowly(SimulatedController& controller) {
  controller.machine.onCommand("/app/etc/init.d/toolS stop", [](const platform::Command&) {
    return platform::Result{.outcome = platform::Outcome::TimedOut};
  });
  controller.at(305, [&controller] { controller.removeProcess(70); });
}
template <int second>
void suspendAt(SimulatedController& controller) {
  controller.at(second, [] { suspend(true); });
}
void suspendWhileAsked(SimulatedController& controller) {
  controller.machine.onCommand("ask", [&controller](const platform::Command&) {
    suspend(controller.machine.elapsed() > 200 * test::second);
    return platform::Result{.status = 1};
  });
}
void replaceAt182(SimulatedController& controller) {
  controller.at(182, [&controller] {
    controller.removeProcess(70);
    controller.addProcess(71, "/opt/tool");
  });
}
void uncontrolled(SimulatedController& /*controller*/) { ::setenv("MC_ARCH", "PC", 1); }

const Row rows[] = {
    {"twice", 140, 190, {}, false},
    {"three times", 140, 220, {211}, true},
    {"not helped by its script", 140, 310, {211, 301}, true, withoutScript},
    {"stopped slowly", 140, 310, {211}, true, slowly},
    {"in the start-up period", 0, 190, {}, false},
    {"suspended", 140, 310, {}, false, suspendAt<141>},
    {"suspended after two", 140, 310, {}, false, suspendAt<182>},
    {"suspended while it is asked", 140, 310, {}, false, suspendWhileAsked},
    {"replaced after two", 140, 250, {}, false, replaceAt182},
    {"process control off, and only told", 140, 310, {}, true, uncontrolled},
    {"only told", 140, 310, {}, true, [](auto&) {}, false},
};

void script(SimulatedController& controller, const Row& row) {
  controller.addProcess(70, "/opt/tool");
  controller.onInit("tool", "stop", [&] { controller.removeProcess(70); });
  controller.onInit("tool", "start", [&] { controller.addProcess(72, "/opt/tool"); });
  controller.machine.onCommand("ask", [&](const platform::Command&) {
    const std::int64_t now = controller.machine.elapsed() / test::second;
    return platform::Result{.status = now >= row.ill && now < row.well ? 1 : 0};
  });
  row.prepare(controller);
}

TEST(Health, DecidesAfterThreeFailuresInARow) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    SimulatedController controller({"tool"}, 10);
    controller.setText("daemon.tool.probe", "exec:ask");
    controller.setBool("daemon.tool.act", row.act);
    script(controller, row);
    AppManager& manager = controller.build();
    EXPECT_EQ(manager.NumRequestedThreads(), 2U);
    for (int i = 1; i < 400; ++i) controller.at(i, [&] { manager.lookAtHealth(); });
    controller.runUntil(400);
    EXPECT_EQ(controller.timesOf("/app/etc/init.d/toolS stop"), row.stops);
    const bool helped = row.stops.size() == 1;
    EXPECT_EQ(controller.timesOf("/app/etc/init.d/toolS start").size(), helped ? 1U : 0U);
    EXPECT_EQ(controller.log.count("tool is ill") > 0, row.told);
    EXPECT_EQ(controller.log.count("tool is well again"), row.told && row.stops.empty() ? 1 : 0);
    EXPECT_EQ(manager.views().at(0).markText(), "");
  }
}

TEST(Health, IsShown) {
  SimulatedController controller({"tool"}, 10);
  controller.setInt("daemon.tool.memoryLimit", 4000);
  for (const int pid : {70, 71, 72, 73}) controller.addProcess(pid, "/opt/tool");
  const auto condition = [&](int pid, const char* state, int threads) {
    controller.writeFile("/proc/" + std::to_string(pid) + "/stat",
                         std::to_string(pid) + " (a ) b) " + state +
                             " 1 1 1 0 -1 4194560 1 0 0 0 0 0 0 0 20 0 " + std::to_string(threads) +
                             " 0 1 0 0\n");
  };
  controller.writeFile("/proc/70/status", "Name:\tx\nRssAnon:\t 4001 kB\n");
  condition(70, "S", 1);
  condition(71, "T", 1);
  controller.at(130, [&] {
    for (const int pid : {72, 73}) {
      controller.writeFile("/proc/" + std::to_string(pid) + "/cmdline", "");
      condition(pid, "Z", pid == 72 ? 1 : 3);
    }
  });
  AppManager& manager = controller.build();
  for (int i = 1; i < 240; ++i) controller.at(i, [&] { manager.lookAtHealth(); });
  controller.runUntil(240);
  const ProcessView view = manager.views().at(0);
  EXPECT_EQ(view.pids, (std::vector{70, 71}));
  EXPECT_EQ(view.markText(), "ILL 3x, STOPPED 71, ZOMBIE 72, MAIN THREAD ENDED 73");
  EXPECT_EQ(
      view.health.text(),
      "data 4001 kB, above its limit of 4000, 29 s ago, 3 times in a row, which is only told");
}

// A stream socket that has its address.
class Bound : public test::Unique {
 public:
  Bound(const sockaddr* address, socklen_t size)
      : m_descriptor(::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    EXPECT_EQ(::bind(m_descriptor, address, size), 0);
  }
  ~Bound() { ::close(m_descriptor); }

  void listen() const { EXPECT_EQ(::listen(m_descriptor, 0), 0); }
  int port() const {
    sockaddr_in address = {};
    socklen_t size = sizeof(address);
    ::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  }

 private:
  int m_descriptor;
};

std::string answerOf(const std::string& probe, bool stopped = false) {
  return Probe::parse(probe)->ask(1, [stopped] { return stopped; });
}

TEST(Health, AsksTheRealMachine) {
  sockaddr_in loopback = {};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const Bound tcp(reinterpret_cast<sockaddr*>(&loopback), sizeof(loopback));
  const std::string port = "tcp:" + std::to_string(tcp.port());
  EXPECT_EQ(answerOf(port), "Connection refused");
  tcp.listen();
  EXPECT_EQ(answerOf(port), "");

  const test::Temporary directory;
  const std::string path = directory.path("socket");
  sockaddr_un local = {.sun_family = AF_UNIX, .sun_path = {}};
  path.copy(local.sun_path, sizeof(local.sun_path) - 1);
  EXPECT_EQ(answerOf("unix:" + path), "No such file or directory");
  const Bound socket(reinterpret_cast<sockaddr*>(&local), sizeof(local));
  socket.listen();
  EXPECT_EQ(answerOf("unix:" + path), "");
  EXPECT_EQ(answerOf("unix:" + path, true), "no connection within 1 s") << "its queue is full";

  EXPECT_EQ(answerOf("exec:true"), "");
  EXPECT_THAT(answerOf("exec:echo no port >&2; false"),
              testing::MatchesRegex("exit status 1 after .* s: no port"));
  EXPECT_THAT(answerOf("exec:sleep 600"), testing::HasSubstr("killed"));
}

}  // namespace
}  // namespace services::app
