// What happens on the controller, told to the clients who listen.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/web/ht_Stream.h"
#include "web/wb_EventFilter.h"
#include "web/wb_Happenings.h"

namespace services::web {

/// An event as it is sent.
struct Told {
  std::string id;    ///< never the same twice, over restarts neither
  std::string json;  ///< the standard's Event
  EventFacts facts;
};

/// What a stream wants of the events.
struct Wish {
  EventFilter filter = {};  ///< none: all
  int logLevel = -1;        ///< the log's lines up to this type, of framework::LogType; -1: none
  std::string lastId = {};  ///< of the event that the client has had before; empty: none
};

/// The open streams of events (server-sent events), and the last events for those that come back.
/// Any thread may call.
class EventFeed {
 public:
  static constexpr std::size_t most = 100;
  static constexpr std::size_t mostKept = 200;  ///< events, of less than 1 KiB each

  EventFeed();

  struct Listener {
    std::string id;
    std::string user;
    std::string stamp;  ///< of the user as he was, see Login::stampOf()
    Wish wish;
    std::shared_ptr<http::Stream> stream;
  };

  /// A new stream for a user; null where there are as many as there can be. One that comes back
  /// gets what it missed; where that is not kept, an event says so, and what is kept follows.
  std::shared_ptr<http::Stream> open(const std::string& user, const std::string& stamp,
                                     Wish wish = {});
  /// Those whose clients are there.
  std::vector<Listener> listeners();
  /// Ends a stream; false when there is none of that id.
  bool end(const std::string& id);
  /// Ends the streams of whom `mayListen` answers false for, and all when it is empty.
  void endUnless(const std::function<bool(const Listener&)>& mayListen);
  /// Tells every listener who wants it; a stream that takes no more is dropped. Answers the events.
  std::vector<Told> tell(const std::vector<Happening>& all);
  /// Tells lines of the log to who asked for them. They are not kept.
  void tellLines(const std::vector<RecentLines::Line>& lines, const std::string& manager);
  /// Keeps streams open where nothing happens.
  void beat();

 private:
  std::string missedBy(const Wish& wish) const;
  void dropGone();

  const std::string m_run;  // begins the ids
  std::mutex m_mutex;       // guards what follows
  std::vector<Listener> m_listeners;
  std::deque<Told> m_kept;
  std::uint64_t m_opened = 0;
  std::uint64_t m_told = 0;
};

/// An event of its own, told to nobody yet.
Told toldOf(const Happening& one, const std::string& id);

}  // namespace services::web
