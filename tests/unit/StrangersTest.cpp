// Processes that look like a daemon's: which count as the daemon, and what is said of the others.

#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;

// The daemon is process 70, of /opt/tool and user 0. At 135 s process 80 comes, later a child of it
// with the daemon's file; at 145 s all of the daemon's own end.
struct Row {
  const char* name;
  const char* executable;
  int user;
  int parent;
  std::int64_t ends;  // of process 70, in seconds; -1: never
  const char* shown;
  const char* strict;  // shown where identity is strict
};

constexpr Row rows[] = {
    {"started by hand", "/opt/tool", 0, 1, 145, "Up", "Up"},
    {"of a file replaced since", "/opt/tool (deleted)", 0, 1, 145, "Up", "Up"},
    {"of another user", "/opt/tool", 7, 1, 145, "Up?", "Starting"},
    {"of another file", "/usr/bin/vi", 0, 1, 145, "Up?", "Starting"},
    {"a child of the daemon", "/opt/worker", 7, 70, 145, "Up", "Up"},
    {"beside the daemon", "/usr/bin/vi", 0, 1, -1, "Up", "Up"},
};

TEST(Strangers, DoNotStandForADaemon) {
  for (const bool strict : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (strict ? ", strict" : ""));
      SimulatedController controller({"tool"}, 10);
      controller.setBool("daemon.tool.strictIdentity", strict);
      controller.addProcess(70, "/opt/tool");
      controller.setOrigin(70, "/opt/tool", 0, 1);
      const auto come = [&](int pid, const char* executable, int user, int parent) {
        controller.addProcess(pid, "/opt/tool");
        controller.setOrigin(pid, executable, user, parent);
      };
      controller.at(135, [&] { come(80, row.executable, row.user, row.parent); });
      controller.at(143, [&] { come(81, "/opt/tool", 0, 80); });
      if (row.ends > 0) controller.at(row.ends, [&] { controller.removeProcess(70); });
      const AppManager& manager = controller.build();
      controller.runUntil(172);
      const ProcessView view = manager.views().at(0);
      const bool stranger = row.shown == std::string("Up?");
      EXPECT_EQ(view.stateText(), strict ? row.strict : row.shown);
      EXPECT_EQ(view.markText(), stranger ? "STRANGER" : "");
      EXPECT_EQ(controller.log.count("of tool only a stranger runs, process 8"), stranger ? 1 : 0);
      EXPECT_EQ(controller.log.count("gone is process 70 (/opt/tool, user 0)"), stranger ? 1 : 0);
      EXPECT_EQ(controller.timesOf("/app/etc/init.d/toolS start").size(),
                stranger && strict ? 1U : 0U);
      const auto entries = manager.history().entries("tool");
      EXPECT_EQ(std::ranges::count(entries, "only a stranger runs", &HistoryEntry::what),
                stranger ? 1 : 0);
    }
  }
}

TEST(Strangers, AreLetGoWhenTheDaemonIsBack) {
  SimulatedController controller({"tool"}, 10);
  controller.setBool("daemon.tool.strictIdentity", true);
  const auto come = [&](int pid, const char* executable) {
    controller.addProcess(pid, "/opt/tool");
    controller.setOrigin(pid, executable, 0, 1);
  };
  come(70, "/opt/tool");
  controller.onInit("tool", "start", [&] { come(90, "/opt/tool2"); });  // a new firmware's
  controller.at(125, [&] { controller.removeProcess(70); });
  controller.at(126, [&] { come(80, "/usr/bin/vi"); });
  AppManager& manager = controller.build();
  controller.runUntil(185);
  EXPECT_EQ(manager.views().at(0).pids, std::vector{90});
  EXPECT_EQ(manager.views().at(0).markText(), "");
}

}  // namespace
}  // namespace services::app
