// The console commands services, information, event and shutdown.
#include "host/console/fw_HostCommands.h"

#include <cstring>
#include <optional>

#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_ConsoleHold.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/console/fw_Nearest.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/service/fw_ServiceHost.h"

namespace framework {

namespace {

using strings::stringtoken;
using utility::Arguments;

const char* stateOf(const RunningService& running) {
  if (*running.failed) return "failed";
  const auto* active = dynamic_cast<const ActiveService*>(running.service.get());
  return active != nullptr && active->requestToShutdown() ? "stopping" : "running";
}

int services(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  TableRows rows;
  const ServiceHost& host = ServiceHost::instance();
  for (const RunningService& running : host.services()) {
    rows.push_back({running.service->getNameString(), stateOf(running),
                    std::to_string(running.threads.size())});
  }
  for (const ServiceFactory* factory : ServiceFactory::all()) {
    if (host.find(factory->getName()) == nullptr) {
      rows.push_back({factory->getName(), "not built", "0"});
    }
  }
  writeTable(console.output(),
             {{"NAME", "Name"}, {"STATE", "State"}, {"THREADS", "Threads", Cell::Number}}, rows);
  return 1;
}

std::vector<std::string> serviceNames(unsigned int place) {
  std::vector<std::string> names;
  if (place > 0) return names;
  for (const RunningService& running : ServiceHost::instance().services()) {
    names.emplace_back(running.service->getNameString());
  }
  return names;
}

int information(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 1) return 0;
  const char* name = arguments.ArgValue(0);
  if (name == nullptr) {
    for (const RunningService& running : ServiceHost::instance().services()) {
      console.output().PutF("%s\n", running.service->getNameString());
      running.service->information(console.output(), 2, false);
    }
    return 1;
  }
  const RunningService* running = ServiceHost::instance().find(name);
  if (running == nullptr) {
    console.reply(Refused, "no such service: %s%s\n", name,
                  didYouMean(name, serviceNames(0)).c_str());
  } else {
    running->service->information(console.output(), 0, true);
  }
  return 1;
}

std::vector<stringtoken> subscribedEvents() {
  std::vector<stringtoken> events;
  for (const RunningService& running : ServiceHost::instance().services()) {
    const stringtoken* event = running.service->eventSubscription();
    for (; event != nullptr && *event != strings::tGSendOfList; ++event) events.push_back(*event);
  }
  return events;
}

std::vector<std::string> eventNames(unsigned int place) {
  std::vector<std::string> names;
  for (const stringtoken event : subscribedEvents()) {
    if (place == 0) names.emplace_back(strings::StringRepository::toString(event));
  }
  return names;
}

// Only an event that somebody subscribes to, so that what is typed makes no token.
std::optional<stringtoken> subscribedEvent(const char* name) {
  for (const stringtoken event : subscribedEvents()) {
    if (std::strcmp(strings::StringRepository::toString(event), name) == 0) return event;
  }
  return std::nullopt;
}

std::string joined(const Arguments& arguments, unsigned int from) {
  std::string text = arguments.ArgValue(from);
  for (unsigned int i = from + 1; i < arguments.ArgCount(); ++i) {
    text += ' ';
    text += arguments.ArgValue(i);
  }
  return text;
}

// Why an event was not taken.
const char* refusalOf(EventManager& events, stringtoken event) {
  if (events.isRecord(event)) return "it carries a record";
  return events.isDelivering() ? "too many wait" : "the host starts or stops";
}

int eventSend(Console& console, const Arguments& arguments) {
  const char* name = arguments.ArgValue(0);
  if (name == nullptr) return 0;
  const auto event = subscribedEvent(name);
  if (!event) {
    console.reply(Refused, "no service subscribes to an event of this name: %s%s\n", name,
                  didYouMean(name, eventNames(0)).c_str());
    return 1;
  }
  EventManager& events = EventManager::instance();
  const bool hasText = arguments.ArgCount() > 1;
  const std::string text = hasText ? joined(arguments, 1) : "";
  const std::string refusal = hasText ? events.textRefusal(*event, text) : "";
  if (!refusal.empty()) {
    console.reply(Refused, "event %s not sent: %s\n", name, refusal.c_str());
    return 1;
  }
  const bool taken = hasText ? events.raise(*event, text) : events.raise(*event);
  if (taken) {
    console.reply(Ok, "event %s sent\n", name);
  } else {
    console.reply(Refused, "event %s not sent: %s\n", name, refusalOf(events, *event));
  }
  return 1;
}

int shutdownHost(const std::function<void()>& shutdown, Console& console,
                 const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  console.reply(Ok, "shutting down\n");
  console.afterReply(shutdown);
  return 1;
}

}  // namespace

void registerHostCommands(Shell& shell, std::function<void()> shutdown) {
  registerCommands(
      shell,
      {
          {services,
           commandOf<"services">("Services",
                                 "services: list the services, their states and their threads.\n",
                                 "services\n")},
          {information,
           commandOf<"information">("Information",
                                    "information: show the report of one service or of all.\n",
                                    "information [SERVICE]\n", nullptr, serviceNames)},
          {eventSend, commandOf<"event", "send">(
                          "EventSend", "event send: raise an event, without data or with a text.\n",
                          "event send NAME [TEXT]\n", nullptr, eventNames)},
          {std::bind_front(shutdownHost, std::move(shutdown)),
           commandOf<"shutdown">("Shutdown", "shutdown: stop the host.\n", "shutdown\n")},
      });
  registerHelpCommands(shell);
  registerLogCommands(shell);
  registerTailCommands(shell);
  registerRegistryCommands(shell);
  registerHoldCommands(shell);
}

}  // namespace framework
