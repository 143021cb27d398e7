// The daemon's life: reading its configuration, running its services, stopping.
#include "mchost/Daemon.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <sstream>
#include <string>
#include <vector>

#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/console/fw_CommandBundle.h"
#include "host/console/fw_ConsoleServer.h"
#include "host/console/fw_ConsoleSocket.h"
#include "host/console/fw_HostCommands.h"
#include "host/log/fw_Logger.h"
#include "host/log/fw_RecentLines.h"
#include "host/machine/Platform.h"
#include "host/service/fw_ConfigFile.h"
#include "host/service/fw_FlightReplay.h"
#include "host/service/fw_RunningCheck.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/service/fw_ServiceHost.h"
#include "host/service/fw_Watchdog.h"
#include "host/web/ht_HttpServer.h"
#include "mchost/LifeStep.h"
#include "mchost/Notify.h"
#include "mchost/Plugins.h"
#include "mchost/StartPages.h"
#include "mchost/StopControl.h"
#include "sysinfo/manager/si_Midplane.h"
#include "sysinfo/manager/si_SysInfoManager.h"

namespace mchost {

using framework::Logger;
using framework::LogType;

namespace {

// Loads the plug-ins of the file and of the command line. False when one cannot be loaded.
bool loadPlugins(framework::ConfigFile& file, const std::vector<std::string>& options) {
  bool loaded = true;
  const auto load = [&](const std::string& name, const char* origin, unsigned int line) {
    const auto failure = loadPlugin(name);
    if (failure) file.refuse(line, std::string(origin) + ": " + *failure);
    loaded = loaded && !failure;
  };
  const auto& names = file.host().plugins;
  for (std::size_t i = 0; i < names.size(); ++i) {
    load(names[i], "host.plugins", file.config().find("host.plugins")->entryLines[i]);
  }
  for (const std::string& name : options) load(name, "--plugin", 0);
  return loaded;
}

// The configuration, its plug-ins loaded and its instances checked.
framework::ConfigFile readConfig(const Options& options) {
  beginStep("configuration");
  framework::ConfigFile file(options.config);
  file.checkEnvironment();
  if (!file.arePluginsKnown() || !loadPlugins(file, options.plugins)) return file;
  beginStep("check of the configuration");
  file.checkInstances();
  const auto fault = file.isRefused() ? std::nullopt : services::http::webFault(file.config());
  if (fault) file.refuse(fault->line, fault->text);
  if (!file.isRefused()) file.checkMachine();
  return file;
}

// Writes what is wrong to standard error.
void report(const framework::ConfigFile& file) {
  for (const auto& finding : file.findings()) {
    std::fprintf(stderr, "%s: %s\n", finding.fatal ? "error" : "warning", finding.text.c_str());
  }
}

// Writes what may run all the same to the log.
void logWarnings(const framework::ConfigFile& file) {
  for (const auto& finding : file.findings()) {
    Logger::StaticLog(LogType::Warning, "%s", finding.text.c_str());
  }
}

bool startLog(const framework::HostSettings& settings) {
  if (!Logger::start({settings.logDestination, Logger::levelOf(settings.logLevel.c_str())})) {
    std::fprintf(stderr, "error: log file %s: %s\n", settings.logDestination.c_str(),
                 std::strerror(errno));
    return false;
  }
  for (const std::string& flag : settings.debug) {
    utility::Debug::setDebug(strings::GS.toToken(flag.c_str()), true);
  }
  return true;
}

// The services of the configuration, or all: the logger first, then the supervision, then those who
// call it.
std::vector<std::string> servicesToBuild(const framework::HostSettings& settings) {
  if (settings.servicesGiven) return settings.services;
  std::vector<std::string> all = {strings::pGSAppFileLogger, strings::pGSAppManager};
  std::erase_if(all, [](const auto& name) { return !framework::ServiceFactory::find(name); });
  for (const auto* factory : framework::ServiceFactory::all()) {
    const std::string name = factory->getName();
    if (std::find(all.begin(), all.end(), name) == all.end()) all.push_back(name);
  }
  return all;
}

// What the web listeners show: the answers to the console's services and information.
std::string servicesReport() {
  std::string report;
  for (const char* command : {"services", "information"}) {
    framework::Console console;
    std::string text;
    framework::Shell::instance().execute(command, console);
    console.takeReply(text);
    report += (report.empty() ? "" : "\n") + text;
  }
  return report;
}

// The same for web clients, while the services run.
class Reports {
 public:
  void open() { m_open = true; }

  // From here on there are none; those that were begun are waited for.
  void close() {
    m_open = false;
    const std::unique_lock wait(m_rendering);
  }

  // Empty while there are none.
  std::string render() {
    const std::shared_lock lock(m_rendering);
    return m_open ? servicesReport() : std::string();
  }

 private:
  std::atomic<bool> m_open = false;
  std::shared_mutex m_rendering;
};

// Opens what the stored flags allow; the interface service, where it manages them, goes by the
// same.
void openListeners(services::http::HttpServer& web) {
  const services::sysinfo::SysInfoReadGuard guard;
  const auto* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return;
  if (!sysInfo->getHttpDisable()) web.enableConnections("StandardListener");
  if (!sysInfo->getHttpsDisable()) web.enableConnections("SSLListener");
}

// A pause for each try to take what a host that is stopping still has. They end, by false, when
// that takes longer than a stop may take, or when this one is to stop too.
std::function<bool()> pausesFor(const std::string& what, StopControl& stop) {
  constexpr int most = 100;
  return [what, &stop, left = most]() mutable {
    if (left-- == most) {
      Logger::StaticLog(LogType::Warning, "%s: waiting for the end of the host that had it",
                        what.c_str());
    }
    return left >= 0 && !stop.waitForStop(std::chrono::milliseconds(100));
  };
}

// Makes this process the host of the console at `path`, for as long as it lives: what acts after
// the console's end is still under its lock. The answer is empty, or why it cannot be.
std::string takeConsole(framework::ConsoleServer& console, const std::string& path,
                        StopControl& stop) {
  std::string failure;
  const auto pause = pausesFor(path, stop);
  const int lock = framework::lockBeside(path, pause, failure).release();  // never closed
  return lock < 0 ? failure : console.listen(path);
}

bool isToStop(StopControl& stop) { return stop.waitForStop(std::chrono::milliseconds(0)); }

// The end of a start that could not take what is another host's: in order where it was asked for.
int endEarly(StopControl& stop) {
  const bool asked = isToStop(stop);
  Logger::stop();
  return asked ? EXIT_SUCCESS : EXIT_FAILURE;
}

// What the host of the console at `path` replies to a line; empty when none does in 5 seconds.
std::string askRunningHost(const std::string& path, const char* line) {
  const platform::Descriptor socket = framework::connectTo(path);
  if (!socket.isOpen()) return "";
  const timeval patience{.tv_sec = 5, .tv_usec = 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  framework::sendAll(socket.get(), std::string(line) + '\n');
  ::shutdown(socket.get(), SHUT_WR);
  std::string reply;
  std::array<char, 4096> chunk;
  for (ssize_t size = 1; size > 0;) {
    size = ::recv(socket.get(), chunk.data(), chunk.size(), 0);
    if (size > 0) reply.append(chunk.data(), static_cast<std::size_t>(size));
  }
  return reply;
}

// Lets each service that has something to say about it look at the running processes.
void checkAgainstRunning(const framework::ConfigFile& file) {
  Logger::setLevel(LogType::Error);
  for (const std::string& name : servicesToBuild(file.host())) {
    const auto look = framework::RunningCheck::of(name);
    if (look == nullptr) continue;
    framework::Console console;
    const auto ask = [&](const char* line) { return askRunningHost(file.host().console, line); };
    const std::vector<std::string> warnings =
        look(file.config(), name.c_str(), console.output(), ask);
    std::string text;
    console.takeReply(text);
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    for (const std::string& warning : warnings) {
      std::fprintf(stderr, "warning: %s: %s\n", name.c_str(), warning.c_str());
    }
  }
}

// Waits for the stop, and looks meanwhile whether the poll cycle hangs. The first cycles, as the
// start, touch pages that later ones do not: where calls of libraries are bound, for one.
void waitForStop(StopControl& stop) {
  using std::chrono::milliseconds;
  constexpr milliseconds firstCycles(30000);
  const auto settled = std::chrono::steady_clock::now() + firstCycles;
  bool isSettled = false;
  const auto untilNextLook = [&isSettled, firstCycles] {
    constexpr milliseconds roundedUp(1);
    const std::chrono::microseconds time(framework::Watchdog::look());
    const auto look = std::chrono::duration_cast<milliseconds>(time) + roundedUp;
    return isSettled ? look : std::min(look, firstCycles);
  };
  while (!stop.waitForStop(untilNextLook())) {
    if (isSettled || std::chrono::steady_clock::now() < settled) continue;
    releaseStartPages();
    isSettled = true;
  }
}

// Runs the services and, from the end of their start to the beginning of their stop, serves the
// clients of the console and the web.
void serve(const framework::HostSettings& settings, framework::ConsoleServer& console,
           StopControl& stop, Reports& reports) {
  auto& services = framework::ServiceHost::instance();
  auto& shell = framework::Shell::instance();
  shell.takeCommands(true);
  framework::registerHostCommands(shell, [&stop] { stop.request(); });
  framework::CommandBundle::registerAll(shell);
  shell.takeCommands(false);
  services.start();
  framework::RecentLines::instance();  // after the archive, whose are the lines of the start
  beginStep("untold changes");
  services::sysinfo::SysInfoManager::getManager()->tellUntold();
  beginStep("console");
  console.start();
  reports.open();
  notify("READY=1");
  const auto failed = std::ranges::count_if(
      services.services(), [](const auto& running) { return running.failed->load(); });
  Logger::StaticLog(LogType::Info, "controller %s: %zu services run%s", settings.slot.c_str(),
                    services.services().size() - static_cast<std::size_t>(failed),
                    failed == 0 ? "" : "; some have failed, see the console's services");
  beginStep("host");
  releaseStartPages();
  waitForStop(stop);
  notify("STOPPING=1");
  Logger::StaticLog(LogType::Info, "stopping");
  beginStep("commands of the console");
  console.stop();
  beginStep("reports of the web listeners");
  reports.close();
  services.stop();
  platform::Platform::current().finishCommands();
}

}  // namespace

int check(const Options& options) {
  StopControl::unblockSignals();
  const framework::ConfigFile file = readConfig(options);
  report(file);
  if (file.isRefused()) return EXIT_FAILURE;
  if (options.againstRunning) checkAgainstRunning(file);
  return EXIT_SUCCESS;
}

int replay(const Options& options) {
  StopControl::unblockSignals();
  const framework::ConfigFile file = readConfig(options);
  const auto tell = framework::FlightReplay::get();
  std::ifstream flight(options.flight);
  if (!flight || tell == nullptr) {
    std::fprintf(stderr, "error: %s: %s\n", options.flight.c_str(),
                 flight ? "no plug-in replays it" : std::strerror(errno));
    return EXIT_FAILURE;
  }
  std::stringstream content;
  content << flight.rdbuf();
  framework::Console console;
  const int otherwise = tell(content.str(), console.output());
  std::string text;
  console.takeReply(text);
  std::fputs(text.c_str(), stdout);
  if (otherwise < 0) std::fprintf(stderr, "error: %s: no flight\n", options.flight.c_str());
  if (otherwise > 0) std::fprintf(stderr, "this build decides otherwise %d times\n", otherwise);
  return otherwise == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(const Options& options) {
  beginStep("stop control");
  StopControl stop;
  const framework::ConfigFile file = readConfig(options);
  if (file.isRefused()) {
    report(file);
    return EXIT_FAILURE;
  }
  beginStep("log");
  if (!startLog(file.host())) return EXIT_FAILURE;
  logWarnings(file);
  beginStep("console");
  framework::ConsoleServer console;  // services switch it while they are built
  // Before anything acts: a second host would stop daemons and open listeners of the first.
  if (const auto failure = takeConsole(console, file.host().console, stop); !failure.empty()) {
    if (!isToStop(stop)) Logger::StaticLog(LogType::Error, "%s", failure.c_str());
    return endEarly(stop);
  }
  beginStep("system information");
  framework::Config::setConfig(file.config());
  if (!services::sysinfo::SysInfoManager::getManager()->open(
          file.config(), file.host().slot[0], pausesFor("the system information", stop))) {
    return endEarly(stop);
  }
  if (!file.host().midplane.empty()) {
    services::sysinfo::adoptMidplane(file.host().midplane.c_str());
  }
  framework::Container::setCommandLimit(file.host().commandSeconds);
  framework::Watchdog::setNotify(notify);
  auto& services = framework::ServiceHost::instance();
  services.setProgress(beginStep);
  Reports reports;
  std::optional<services::http::HttpServer> web;
  beginStep("web listeners");
  web.emplace(services::http::webSettings(file.config()), [&reports] { return reports.render(); });
  openListeners(*web);
  beginStep("building of the services");
  services.build(servicesToBuild(file.host()));
  serve(file.host(), console, stop, reports);
  beginStep("web listeners");
  web.reset();  // services use it until they have stopped
  services.destroy();
  Logger::stop();
  return EXIT_SUCCESS;
}

}  // namespace mchost
