// The real machine.
#pragma once

#include "host/machine/Platform.h"
#include "host/machine/Reaper.h"

namespace platform {

class LinuxPlatform : public Platform {
 public:
  LinuxPlatform();

  std::int64_t now() override;
  std::int64_t wallOffset() override;
  const char* locate(const char* path, char* buffer, std::size_t size) override;
  void wait(WaitPoint& point, std::int64_t microseconds) override;
  void delay(std::int64_t microseconds) override;
  Result run(const Command& command) override;
  void finishCommands() override;
  void abortCommands() override;
  int queueSignal(int pid, int signal, int value) override;
  std::unique_ptr<utility::ExitWatch> watchExits(std::function<void()> woken) override;

 private:
  std::int64_t m_anchor;  // the wall clock less the boot clock, when the process started
  Descriptor m_abort;     // an event counter that becomes readable for good once commands must end
  Reaper m_reaper;
};

}  // namespace platform
