// The bench's clock, which lab/boot preloads into mchost alone: once MC_LAB_STARTUP seconds have
// passed since the host was loaded, CLOCK_BOOTTIME jumps over what is left of the 120 s in which a
// controller starts up, as it does over the time that a machine sleeps.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr time_t startUpSeconds = 130;  // with room for what the host does before its period begins

time_t seconds = 0;  // until the jump
time_t jump = 0;     // on CLOCK_BOOTTIME; 0 for none

int readClock(clockid_t clock, timespec* time) {
  return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

// The daemons that the host starts have the machine's clock.
[[gnu::constructor]] void begin() {
  ::unsetenv("LD_PRELOAD");
  const char* setting = std::getenv("MC_LAB_STARTUP");
  if (setting == nullptr) return;
  timespec now{};
  readClock(CLOCK_BOOTTIME, &now);
  seconds = std::atoi(setting);
  jump = now.tv_sec + seconds;
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const int status = readClock(clock, time);
  if (clock == CLOCK_BOOTTIME && status == 0 && jump != 0 && time->tv_sec >= jump) {
    time->tv_sec += startUpSeconds - seconds;
  }
  return status;
}
