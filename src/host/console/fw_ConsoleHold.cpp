// Holding the console, so that nobody switches it off in the middle of an operator's work.
#include "host/console/fw_ConsoleHold.h"

#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_Console.h"

namespace framework {

namespace {

using utility::Arguments;

const ServiceInfo info = {strings::tGSConsoleHold, strings::tGSConsoleHold,
                          strings::tGSConsoleHold};

int hold(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  ConsoleHold::instance().take(console);
  console.atClose("console", [&console] { ConsoleHold::instance().releaseAll(console); });
  console.reply(Ok, "console held\n");
  return 1;
}

int release(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  ConsoleHold& holder = ConsoleHold::instance();
  if (!holder.release(console)) {
    console.reply(Refused, "this client does not hold the console\n");
  } else {
    if (!holder.isHolder(console)) console.atClose("console", nullptr);
    console.reply(Ok, holder.isHeld() ? "hold released; others are left\n" : "console released\n");
  }
  return 1;
}

}  // namespace

ConsoleHold::ConsoleHold() : Service(strings::StringRepository::toString(info.name)) {}

ConsoleHold& ConsoleHold::instance() {
  static ConsoleHold only;
  return only;
}

const ServiceInfo* ConsoleHold::serviceInfo() const { return &info; }

void ConsoleHold::take(const Console& client) {
  const std::lock_guard lock(m_mutex);
  ++m_holds[&client];
  settle();
}

bool ConsoleHold::release(const Console& client) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_holds.find(&client);
  if (found == m_holds.end()) return false;
  if (--found->second == 0) m_holds.erase(found);
  settle();
  return true;
}

bool ConsoleHold::isHolder(const Console& client) const {
  const std::lock_guard lock(m_mutex);
  return m_holds.contains(&client);
}

void ConsoleHold::releaseAll(const Console& client) {
  const std::lock_guard lock(m_mutex);
  m_holds.erase(&client);
  settle();
}

bool ConsoleHold::isHeld() const {
  const std::lock_guard lock(m_mutex);
  return !m_holds.empty();
}

void ConsoleHold::settle() {
  Console* console = Container::getConsole();
  if (console != nullptr) console->setCurrentService(m_holds.empty() ? nullptr : this);
}

void registerHoldCommands(Shell& shell) {
  registerCommands(
      shell, {
                 {hold, commandOf<"console", "hold">(
                            "ConsoleHold",
                            "console hold: keep the console from being switched until this "
                            "client disconnects.\n",
                            "console hold\n")},
                 {release, commandOf<"console", "release">("ConsoleRelease",
                                                           "console release: take a hold back.\n",
                                                           "console release\n")},
             });
}

}  // namespace framework
