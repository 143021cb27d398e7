// A controller in simulated time: daemons that come and go, and the supervision service over them.
#include "support/SimulatedController.h"

#include "host/console/fw_ApplicationArguments.h"

namespace test {

using services::app::AppManager;

SimulatedController::SimulatedController() {
  for (const char* directory :
       {"/proc", "/usr/bin", "/var/log", "/cfg", "/tmp", "/app/bin", "/opt/bin", "/opt/sbin"}) {
    std::filesystem::create_directories(machine.root() + directory);
  }
  ::setenv("MC_ARCH", "ARM", 1);
  ::setenv("MC_LOG_DIR", "/var/log", 1);
  ::setenv("MC_TEMP", "/tmp", 1);
  framework::ApplicationArguments::setArgs(utility::Arguments({"/usr/sbin/mchost"}));
  setList("data", {});
  setList("nokill", {});
  setInt("flightKiB", 0);
}

SimulatedController::SimulatedController(const std::vector<std::string>& daemons, long pollSeconds)
    : SimulatedController() {
  setList("data", daemons);
  setInt("pollSeconds", pollSeconds);
}

AppManager& SimulatedController::build() {
  framework::Config::setConfig(m_config);
  m_manager = std::make_unique<AppManager>("AppManager");
  return *m_manager;
}

void SimulatedController::at(std::int64_t seconds, std::function<void()> happening) {
  machine.at(seconds * second, std::move(happening));
}

void SimulatedController::runUntil(std::int64_t seconds) {
  at(seconds, [this] { m_manager->Shutdown(); });
  m_manager->threadDo(0);
}

void SimulatedController::addProcess(int pid, const std::string& commandLine) {
  std::string bytes = commandLine;
  std::replace(bytes.begin(), bytes.end(), ' ', '\0');
  std::filesystem::create_directory(machine.root() + "/proc/" + std::to_string(pid));
  writeFile("/proc/" + std::to_string(pid) + "/cmdline", bytes + '\0');
}

void SimulatedController::setOrigin(int pid, const std::string& executable, int user,
                                    int parent) const {
  const std::string directory = "/proc/" + std::to_string(pid);
  std::filesystem::remove(machine.root() + directory + "/exe");
  std::filesystem::create_symlink(executable, machine.root() + directory + "/exe");
  writeFile(directory + "/status", "Name:\tx\nPPid:\t" + std::to_string(parent) + "\nUid:\t" +
                                       std::to_string(user) + "\t0\t0\t0\n");
}

void SimulatedController::removeProcess(int pid) {
  writeFile("/proc/" + std::to_string(pid) + "/cmdline", "");  // for those who have it open
  std::filesystem::remove_all(machine.root() + "/proc/" + std::to_string(pid));
  machine.endProcess(pid);
}

void SimulatedController::onInit(const std::string& daemon, const std::string& action,
                                 std::function<void()> effect) {
  machine.onCommand("/app/etc/init.d/" + daemon + "S " + action,
                    [effect = std::move(effect)](const platform::Command&) {
                      effect();
                      return platform::Result{};
                    });
}

void SimulatedController::writeFile(const std::string& path, const std::string& content) const {
  std::ofstream(machine.root() + path) << content;
}

std::string SimulatedController::readFile(const std::string& path) const {
  std::stringstream content;
  content << std::ifstream(machine.root() + path).rdbuf();
  return content.str();
}

std::vector<std::int64_t> SimulatedController::timesOf(const std::string& command) const {
  std::vector<std::int64_t> times;
  for (const auto& ran : machine.commands()) {
    if (ran.line.starts_with(command)) times.push_back(ran.at);
  }
  return times;
}

std::vector<std::string> SimulatedController::commandLines() const {
  std::vector<std::string> lines;
  for (const auto& ran : machine.commands()) lines.push_back(ran.line + (ran.detached ? " &" : ""));
  return lines;
}

bool SimulatedController::hasFile(const std::string& path) const {
  return std::filesystem::exists(machine.root() + path);
}

}  // namespace test
