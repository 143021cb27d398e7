// What happens on the controller, told to the clients who listen.
#include "web/wb_EventFeed.h"

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "web/wb_Messages.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;

namespace {

std::string managerPath(const Snapshot& now) {
  return std::string("/redfish/v1/Managers/") + now.letter;
}

void addDaemons(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  for (const DaemonFacts& daemon : now.daemons) {
    const DaemonFacts* earlier = before.daemon(daemon.name);
    if (earlier == nullptr || earlier->state == daemon.state) continue;
    const bool isDown = daemon.state == "Down";
    all.push_back({isDown ? "DaemonDown" : "DaemonStateChanged",
                   {daemon.name, daemon.state, earlier->state},
                   managerPath(now) + "/Oem/Mc/Daemons/" + daemon.name});
  }
}

void addInterfaces(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  for (const InterfaceFacts& interface : now.interfaces) {
    const InterfaceFacts* earlier = before.interface(interface.name);
    if (earlier == nullptr || earlier->up == interface.up) continue;
    all.push_back({"InterfaceChanged",
                   {interface.name, interface.up ? "up" : "down"},
                   managerPath(now) + "/NetworkProtocol"});
  }
}

void addPath(const char* name, bool before, bool now, const std::string& manager,
             std::vector<Happening>& all) {
  if (before == now) return;
  all.push_back(
      {"PathChanged", {name, now ? "up" : "down"}, manager + "/EthernetInterfaces/" + name});
}

void addControllers(const Snapshot& before, const Snapshot& now, std::vector<Happening>& all) {
  for (const ControllerFacts& controller : now.controllers) {
    const ControllerFacts* earlier = before.controller(controller.letter);
    if (earlier == nullptr || earlier->isValid == controller.isValid) continue;
    all.push_back({"ControllerChanged",
                   {controller.letter, controller.isValid ? "known" : "not known any more"},
                   "/redfish/v1/Managers/" + controller.letter});
  }
}

object shown(const Happening& one, std::uint64_t number, std::int64_t now) {
  object event = messageInfo(one.message, one.arguments);
  event.erase("@odata.type");
  event["MemberId"] = "0";
  event["EventId"] = std::to_string(number);
  event["EventTimestamp"] = isoTime(now);
  event["OriginOfCondition"] = link(one.origin);
  return event;
}

}  // namespace

std::vector<Happening> happenings(const Snapshot& before, const Snapshot& now) {
  std::vector<Happening> all;
  addDaemons(before, now, all);
  addInterfaces(before, now, all);
  addPath("Inner", before.innerUp, now.innerUp, managerPath(now), all);
  addPath("Outer", before.outerUp, now.outerUp, managerPath(now), all);
  addControllers(before, now, all);
  return all;
}

std::shared_ptr<http::Stream> EventFeed::open(const std::string& user, const std::string& stamp) {
  const std::lock_guard lock(m_mutex);
  dropGone();
  if (m_listeners.size() >= most) return nullptr;
  auto stream = std::make_shared<http::Stream>();
  stream->push(": the events of this controller\n\n");
  m_listeners.push_back({std::to_string(++m_opened), user, stamp, stream});
  return stream;
}

std::vector<EventFeed::Listener> EventFeed::listeners() {
  const std::lock_guard lock(m_mutex);
  dropGone();
  return m_listeners;
}

void EventFeed::endUnless(const std::function<bool(const Listener&)>& mayListen) {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_listeners, [&](const Listener& listener) {
    if (mayListen && mayListen(listener)) return false;
    listener.stream->end();
    return true;
  });
}

void EventFeed::tell(const std::vector<Happening>& all, std::int64_t now) {
  for (const Happening& one : all) {
    const std::lock_guard lock(m_mutex);
    const std::string number = std::to_string(++m_told);
    const object event{{"@odata.type", "#Event.v1_10_0.Event"},
                       {"Id", number},
                       {"Name", "Events of this controller"},
                       {"Events", array{shown(one, m_told, now)}}};
    push("id: " + number + "\ndata: " + boost::json::serialize(event) + "\n\n");
  }
}

void EventFeed::beat() {
  const std::lock_guard lock(m_mutex);
  push(":\n\n");
}

void EventFeed::push(const std::string& text) {
  std::erase_if(m_listeners, [&](const Listener& one) { return !one.stream->push(text); });
}

// A client holds its stream; who asked for the head alone never took it.
void EventFeed::dropGone() {
  std::erase_if(m_listeners, [](const Listener& one) {
    return one.stream.use_count() == 1 || one.stream->isOver();
  });
}

}  // namespace services::web
