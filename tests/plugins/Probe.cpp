// A plug-in that tries what the host must withstand. Built twice, as First and as Second, with the
// same names inside.
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "host/console/fw_ConsoleSocket.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_Service.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/fw_Exception.h"
#include "util/ut_PutStream.h"

namespace {

const bool isFirst = PROBE == std::string("First");

bool isTold(const char* what) {
  const char* told = std::getenv("MC_TEST");
  return told != nullptr && std::string(told) == what;
}

void note(const char* what) {
  framework::Logger::StaticLog(framework::LogType::Info, "%s %s", PROBE, what);
}

// A thread made here takes every signal that the process has not blocked before.
[[maybe_unused]] const bool stopped = [] {
  if (!isTold("stop") || !isFirst) return false;
  std::thread([] { ::pause(); }).detach();
  ::kill(::getpid(), SIGTERM);
  return true;
}();

}  // namespace

class Probe : public framework::ActiveService {
 public:
  explicit Probe(const char* name) : ActiveService(name) {
    note(name == std::string(PROBE) ? "built" : "built in the other's place");
  }

  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  void information(utility::PutStream&, int, bool) const override { note("asked"); }

  void Startup() override {
    setRequestedThreads(1);
    if (isTold("ask") && isFirst) {
      framework::sendAll(m_client.get(), "information First\nshutdown\n");
      pollfd reply{m_client.get(), POLLIN, 0};
      ::poll(&reply, 1, patience);  // only a host that answers too early ends it
    }
    note("started");
    if (!isFirst) {
      throw new framework::Exception(strings::tGSstreamOverflow, "", "Startup", "trouble", true);
    }
  }

  void threadDo(int) override {
    note("threadDo");
    if (!isTold("throw") || !isFirst) return;
    std::thread([] {
      for (int line = 0; line < 200; ++line) note("last line");
      throw new framework::Exception(strings::tGSstreamOverflow, "", "thread", "trouble", true);
    }).join();
  }

  void Shutdown() override {
    note("stopped");
    ActiveService::Shutdown();
  }

 private:
  static constexpr int patience = 100;  // milliseconds

  platform::Descriptor m_client = framework::connectTo(std::getenv("MC_TEST_CONSOLE"));
};

framework::Service* build(const char* name) { return new Probe(name); }
const framework::ServiceFactory factory(build, PROBE);

namespace services::app {
// Has the name of a function of the product, which must go on calling its own.
std::string trimmedName(const char*) { return "replaced;"; }
}  // namespace services::app
