// The machine under a measurement.
#pragma once

#include <functional>
#include <string>

#include "host/machine/LinuxPlatform.h"

namespace bench {

/// The real machine, with its /proc and its clock, but for two things: other files lie in a
/// directory that goes with the object, and waits and delays take no time, though the clock shows
/// it as passed. It is in force while it lives.
class Machine : public platform::LinuxPlatform {
 public:
  Machine();
  ~Machine() override;
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  std::int64_t now() override { return LinuxPlatform::now() + m_skipped; }
  const char* locate(const char* path, char* buffer, std::size_t size) override;
  void wait(platform::WaitPoint& point, std::int64_t microseconds) override;
  void delay(std::int64_t microseconds) override { m_skipped += microseconds; }

  /// Called in each wait.
  void onWait(std::function<void()> action) { m_onWait = std::move(action); }

 private:
  std::string m_root;
  std::int64_t m_skipped = 0;  // microseconds waited
  std::function<void()> m_onWait;
};

}  // namespace bench
