// A scrape of the metrics with 50 daemons, without login and connection: how long it takes, how
// large it is and how often it allocates.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "Machine.h"
#include "app/supervision/app_AppManager.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_Config.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_EventFeed.h"
#include "web/wb_Metrics.h"

namespace {
std::atomic<long> allocations = 0;
}  // namespace

// Not inlined: the compiler would take a new seen through for a malloc, and its delete for a
// mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* storage = std::malloc(size)) return storage;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* storage) noexcept { std::free(storage); }
[[gnu::noinline]] void operator delete(void* storage, std::size_t /*size*/) noexcept {
  std::free(storage);
}

namespace bench {
namespace {

void scrape(benchmark::State& state) {
  const Machine machine;
  utility::StringArray names;
  for (int i = 0; i < 50; ++i) names.Append("d" + std::to_string(i));
  framework::Config config;
  config.set("AppManager.data", {.value = names});
  config.set("AppManager.nokill", {.value = utility::StringArray()});
  framework::Config::setConfig(config);
  const services::app::AppManager manager("AppManager");
  services::web::Audit audit;
  services::web::Login login(audit, utility::TimeMeasure::getTimestamp, 1800);
  services::web::RecentLines lines;
  services::web::EventFeed feed;
  const services::web::Sources sources{audit, login, lines, feed, 0};
  std::size_t size = 0;
  const long before = allocations;
  while (state.KeepRunning()) size = services::web::metricsPage(sources).body.size();
  const auto count = static_cast<double>(state.iterations());
  state.counters["allocations"] = static_cast<double>(allocations - before) / count;
  state.counters["bytes"] = static_cast<double>(size);
}

BENCHMARK(scrape)->Name("scrape, 50 daemons");

}  // namespace
}  // namespace bench

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  framework::Logger::start({"/dev/null", framework::LogType::Error});
  benchmark::RunSpecifiedBenchmarks();
  framework::Logger::stop();
  return EXIT_SUCCESS;
}
