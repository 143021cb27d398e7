// What services do now and then: the SNMP agent's file, and a decision about the pairing.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "Machine.h"
#include "app/interfaces/app_InterfaceManager.h"
#include "app/pairing/app_SyncRules.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_Config.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/us_UserManager.h"

namespace bench {
namespace {

using services::app::InterfaceManager;

services::sysinfo::Rows users(std::int64_t count) {
  services::sysinfo::Rows rows;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string scope = "user operator" + std::to_string(i);
    rows[{scope, "Interfaces"}] = "SnmpUser";
    rows[{scope, "AuthType"}] = "SHA";
    rows[{scope, "Password"}] = "authentication";
    rows[{scope, "PrivacyType"}] = "AES";
    rows[{scope, "PrivacyPassword"}] = "privacy key";
  }
  return rows;
}

// The whole update, down to the disk and the search for the agent, but for its delay.
void agentFile(benchmark::State& state) {
  Machine machine;
  ::unsetenv("MC_CONFIG");
  framework::Config::setConfig({});
  auto& information = *services::sysinfo::SysInfoManager::getManager();
  information.load({}, 'A');
  auto& manager = *services::user::UserManager::getManager();
  manager.load(users(state.range(0)));
  if (manager.numUsers(strings::tGSreadAccess) != state.range(0)) state.SkipWithError("no users");
  InterfaceManager interfaces("InterfaceManager");
  while (state.KeepRunning()) interfaces.updateSnmpdConfiguration(nullptr, nullptr);
  manager.load({});
  information.unload();
}

// Both roles from their serial numbers, and both actions.
void decision(benchmark::State& state) {
  const services::app::RoleFacts mine = {"MIDPLANE01", "MIDPLANE01", "X0000024D43000002",
                                         "X0000024D43000002"};
  const services::app::RoleFacts partner = {"MIDPLANE01", "MIDPLANE02", "X0000024D43000001",
                                            "X0000024D43000003"};
  while (state.KeepRunning()) {
    const services::app::ActionFacts facts = {.mine = services::app::decideRole(mine).role,
                                              .partner = services::app::decideRole(partner).role,
                                              .letter = 'A',
                                              .myTime = "1700000000",
                                              .partnerTime = "1700000100"};
    benchmark::DoNotOptimize(services::app::decideConfigAction(facts));
    benchmark::DoNotOptimize(services::app::decideFirmwareAction(facts));
  }
}

BENCHMARK(agentFile)->Name("agent's file")->Arg(10)->Arg(1000)->Arg(10000)->UseRealTime();
BENCHMARK(decision)->Name("decision");

}  // namespace
}  // namespace bench

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  framework::Logger::start({"/dev/null", framework::LogType::Error});
  benchmark::RunSpecifiedBenchmarks();
  framework::Logger::stop();
  return EXIT_SUCCESS;
}
