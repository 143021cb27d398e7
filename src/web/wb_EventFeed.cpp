// What happens on the controller, told to the clients who listen.
#include "web/wb_EventFeed.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "host/web/ht_Site.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"
#include "web/wb_Secrets.h"

namespace services::web {

using boost::json::array;
using boost::json::object;

namespace {

// The type of the resource at a path, without its version.
std::string resourceTypeAt(const std::string& path) {
  const auto parts = http::partsOf(path);
  const auto isOf = [&](const Resource& row) {
    return std::ranges::equal(http::partsOf(row.pattern), parts,
                              [](const std::string& wanted, const std::string& part) {
                                return wanted == "{}" || wanted == part;
                              });
  };
  const auto found = std::ranges::find_if(allResources(), isOf);
  const std::string type = found == allResources().end() ? "" : found->type;
  return type.substr(type.rfind('.') + 1);
}

object recordOf(const Happening& one, const std::string& id) {
  object event = messageInfo(one.message, one.arguments);
  event.erase("@odata.type");
  event["MemberId"] = "0";
  event["EventType"] = "Other";
  event["EventId"] = id;
  event["EventTimestamp"] = isoTime(one.at);
  event["OriginOfCondition"] = link(one.origin);
  return event;
}

bool isWanted(const Wish& wish, const Told& event) {
  return !wish.filter || wish.filter(event.facts);
}

// As server-sent events have it.
std::string framed(const Told& event) {
  return "id: " + event.id + "\ndata: " + event.json + "\n\n";
}
std::string framedAlone(const Told& event) { return "data: " + event.json + "\n\n"; }

}  // namespace

Told toldOf(const Happening& one, const std::string& id) {
  object record = recordOf(one, id);
  Told told{id, "", {textOf(record["MessageId"]), one.origin, resourceTypeAt(one.origin)}};
  told.json = boost::json::serialize(object{{"@odata.type", "#Event.v1_10_0.Event"},
                                            {"Id", id},
                                            {"Name", "Events of this controller"},
                                            {"Events", array{std::move(record)}}});
  return told;
}

EventFeed::EventFeed() : m_run(randomText(4)) {}

std::shared_ptr<http::Stream> EventFeed::open(const std::string& user, const std::string& stamp,
                                              Wish wish) {
  const std::lock_guard lock(m_mutex);
  dropGone();
  if (m_listeners.size() >= most) return nullptr;
  auto stream =
      std::make_shared<http::Stream>(": the events of this controller\n\n" + missedBy(wish));
  m_listeners.push_back(
      {"sse-" + std::to_string(++m_opened), user, stamp, std::move(wish), stream});
  return stream;
}

// What a stream that comes back gets at first.
std::string EventFeed::missedBy(const Wish& wish) const {
  if (wish.lastId.empty()) return "";
  const auto last = std::ranges::find(m_kept, wish.lastId, &Told::id);
  const bool isKept = last != m_kept.end();
  const bool isNewest = wish.lastId == m_run + "-" + std::to_string(m_told);
  std::string text;
  if (!isKept && !isNewest) {
    text = framedAlone(toldOf({"EventsMissed",
                               {wish.lastId},
                               "/redfish/v1/EventService",
                               utility::TimeMeasure::getTimestamp()},
                              "missed"));
  }
  for (auto next = isKept ? last + 1 : m_kept.begin(); next != m_kept.end(); ++next) {
    if (isWanted(wish, *next)) text += framed(*next);
  }
  return text;
}

std::vector<EventFeed::Listener> EventFeed::listeners() {
  const std::lock_guard lock(m_mutex);
  dropGone();
  return m_listeners;
}

bool EventFeed::end(const std::string& id) {
  const std::lock_guard lock(m_mutex);
  const auto found = std::ranges::find(m_listeners, id, &Listener::id);
  if (found == m_listeners.end()) return false;
  found->stream->end();
  m_listeners.erase(found);
  return true;
}

void EventFeed::endUnless(const std::function<bool(const Listener&)>& mayListen) {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_listeners, [&](const Listener& listener) {
    if (mayListen && mayListen(listener)) return false;
    listener.stream->end();
    return true;
  });
}

std::vector<Told> EventFeed::tell(const std::vector<Happening>& all) {
  std::vector<Told> events;
  const std::lock_guard lock(m_mutex);
  for (const Happening& one : all) {
    const Told event = toldOf(one, m_run + "-" + std::to_string(++m_told));
    std::erase_if(m_listeners, [&](const Listener& listener) {
      return isWanted(listener.wish, event) && !listener.stream->push(framed(event));
    });
    m_kept.push_back(event);
    if (m_kept.size() > mostKept) m_kept.pop_front();
    events.push_back(event);
  }
  return events;
}

void EventFeed::tellLines(const std::vector<RecentLines::Line>& lines, const std::string& manager) {
  const std::lock_guard lock(m_mutex);
  const auto wantsAny = [](const Listener& listener) { return listener.wish.logLevel >= 0; };
  if (std::ranges::none_of(m_listeners, wantsAny)) return;
  for (const RecentLines::Line& line : lines) {
    const Told event = toldOf(happeningOf(line, manager), "log-" + std::to_string(line.number));
    std::erase_if(m_listeners, [&](const Listener& listener) {
      return line.type <= listener.wish.logLevel && isWanted(listener.wish, event) &&
             !listener.stream->push(framedAlone(event));
    });
  }
}

void EventFeed::beat() {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_listeners, [](const Listener& one) { return !one.stream->push(":\n\n"); });
}

// A client holds its stream; who asked for the head alone never took it.
void EventFeed::dropGone() {
  std::erase_if(m_listeners, [](const Listener& one) {
    return one.stream.use_count() == 1 || one.stream->isOver();
  });
}

}  // namespace services::web
