// An example of a plug-in: a service with a thread, properties with rules, a report and a command.
#include "DoorWatch.h"

#include <mutex>

#include "host/base/fw_Entrance.h"
#include "host/base/ut_Debug.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_CommandTable.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/ut_PutStream.h"

namespace {

using framework::PropertyType;

framework::Service* build(const char* name) { return new DoorWatch(name); }
const framework::ServiceFactory factory(build, "DoorWatch");

// A key without a rule is refused.
const framework::PropertyRule rules[] = {
    {.key = "sensor",
     .type = PropertyType::Text,
     .holds = [](const char* value) { return value[0] == '/'; },
     .rule = "must be an absolute path"},
    {.key = "pollSeconds", .type = PropertyType::Integer, .minimum = 1, .maximum = 3600},
};
const framework::ServiceProperties properties("DoorWatch", rules);

}  // namespace

const framework::ServiceInfo DoorWatch::m_serviceInfoData = {
    strings::token<"DoorWatch">, strings::token<"DoorWatch">, strings::token<"example">};

DoorWatch::DoorWatch(const char* name) : ActiveService(name) {
  const framework::Config* config = framework::Config::getConfig();
  config->getStringValueOf(name, "sensor", false, &m_sensor);
  config->getIntValueOf(name, "pollSeconds", false, &m_pollSeconds);
  setRequestedThreads(1);
}

void DoorWatch::threadDo(int /*index*/) {
  const std::lock_guard lock(m_waiter);
  while (!requestToShutdown()) {
    look();
    m_waiter.wait(m_pollSeconds);  // Shutdown() ends it
  }
}

void DoorWatch::look() {
  const bool isOpen = utility::Path::exists(m_sensor);
  if (utility::Debug::isDebugOn(getName())) LogDebug("%s: %d", m_sensor, isOpen);
  if (isOpen && !m_isOpen) LogWarning("the door is open");
  if (!isOpen && m_isOpen) LogInfo("the door is closed");
  m_isOpen = isOpen;
}

void DoorWatch::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("door %s, looked at every %d s\n", m_isOpen ? "open" : "closed", m_pollSeconds);
}

void DoorWatch::initializeCommands(framework::Shell& shell) {
  shell.registerCommand(new framework::FunctionCommand(
      framework::commandOf<"door", "show">("DoorShow", "door show: whether the door is open.\n",
                                           "door show\n"),
      [this](framework::Console& console, const utility::Arguments& arguments) {
        if (arguments.ArgCount() > 0) return 0;  // the shell replies with the usage
        console.reply(framework::Ok, "%s\n", m_isOpen ? "open" : "closed");
        return 1;
      }));
}
