// Whether the thread on which all supervision depends still goes round.
#include "host/service/fw_Watchdog.h"

#include <atomic>
#include <string>

#include "host/base/fw_Container.h"
#include "host/log/fw_Logger.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

namespace {

using utility::TimeMeasure;

constexpr std::int64_t second = 1000000;
constexpr int periodsToError = 3;
constexpr int periodsToEnd = 4;
constexpr std::int64_t whileNothingIsPromised = 60 * second;

void (*tell)(const char* state) = nullptr;
std::atomic<const char*> thread = nullptr;
std::atomic<std::int64_t> period = 0;    // microseconds; 0: nothing is promised
std::atomic<std::int64_t> lastBeat = 0;  // timestamp
bool isLate = false;                     // of the thread that looks

void notify(const char* state) {
  if (tell != nullptr) tell(state);
}

}  // namespace

void Watchdog::setNotify(void (*notify)(const char* state)) { tell = notify; }

void Watchdog::begin(const char* name, int seconds) {
  thread = name;
  lastBeat = TimeMeasure::getTimestamp();
  period = (seconds + Container::commandLimit()) * second;
  const std::string state = "WATCHDOG_USEC=" + std::to_string(periodsToEnd * period);
  notify(state.c_str());
}

void Watchdog::beat() {
  lastBeat = TimeMeasure::getTimestamp();
  notify("WATCHDOG=1");
}

void Watchdog::end() { period = 0; }

std::int64_t Watchdog::look() {
  const std::int64_t limit = periodsToError * period;
  if (limit == 0) return whileNothingIsPromised;
  const std::int64_t since = TimeMeasure::getTimestamp() - lastBeat;
  if (since < limit) {
    if (isLate) Logger::StaticLog(LogType::Warning, "%s goes on", thread.load());
    isLate = false;
    return limit - since;
  }
  if (!isLate) {
    Logger::StaticLog(LogType::Error, "%s hangs: it has not come round for %d s", thread.load(),
                      static_cast<int>(since / second));
  }
  isLate = true;
  return period;
}

}  // namespace framework
