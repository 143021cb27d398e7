// What the process is about, for the line that says why it ended.
#include "mchost/LifeStep.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>

#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "util/fw_Exception.h"
#include "util/fw_ShownText.h"

namespace mchost {

namespace {

constexpr std::chrono::seconds lastLinesTake(1);

struct LifeStep {
  std::mutex mutex;
  std::string name;
};

LifeStep& lifeStep() {
  static LifeStep& only = *new LifeStep;
  return only;
}

void say(const std::string& what) {
  std::fprintf(stderr, "error: %s: %s\n", currentStep().c_str(),
               framework::shownText(what).c_str());
}

void sayException(const std::exception_ptr& thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (const framework::Exception* failure) {
    say(std::string(strings::StringRepository::toString(failure->getKind())) + " in " +
        failure->getOperation() + " " + failure->getMessage());
  } catch (const std::exception& failure) {
    say(failure.what());
  } catch (...) {
    say("unknown exception");
  }
}

[[noreturn]] void sayWhatEnded() {
  static std::atomic_flag saying;
  if (saying.test_and_set()) {  // another thread ends the process, or this one could not
    std::this_thread::sleep_for(2 * lastLinesTake);
    std::_Exit(EXIT_FAILURE);
  }
  framework::Logger::drain(lastLinesTake);
  const std::exception_ptr thrown = std::current_exception();
  if (thrown == nullptr) std::abort();
  sayException(thrown);
  std::_Exit(EXIT_FAILURE);
}

}  // namespace

void beginStep(const std::string& name) {
  std::string next = name;
  const std::lock_guard lock(lifeStep().mutex);
  lifeStep().name.swap(next);
  std::set_terminate(sayWhatEnded);
}

std::string currentStep() {
  const std::lock_guard lock(lifeStep().mutex);
  return lifeStep().name;
}

}  // namespace mchost
