// What happens on the controller, told to the clients who listen.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/web/ht_Stream.h"
#include "web/wb_Snapshot.h"

namespace services::web {

/// Something that happened: a message of the registry, and what it is about.
struct Happening {
  const char* message;  ///< its id in messages()
  std::vector<std::string> arguments;
  std::string origin;  ///< the path of the resource
};

/// What changed from one snapshot to the next, of what both hold.
std::vector<Happening> happenings(const Snapshot& before, const Snapshot& now);

/// The open streams of events (server-sent events). Any thread may call.
class EventFeed {
 public:
  static constexpr std::size_t most = 100;

  struct Listener {
    std::string id;
    std::string user;
    std::string stamp;  ///< of the user as he was, see Login::stampOf()
    std::shared_ptr<http::Stream> stream;
  };

  /// A new stream for a user; null where there are as many as there can be.
  std::shared_ptr<http::Stream> open(const std::string& user, const std::string& stamp);
  /// Those whose clients are there.
  std::vector<Listener> listeners();
  /// Ends the streams of whom `mayListen` answers false for, and all when it is empty.
  void endUnless(const std::function<bool(const Listener&)>& mayListen);
  /// Tells every listener; a stream that takes no more is dropped.
  void tell(const std::vector<Happening>& all, std::int64_t now);
  /// Keeps streams open where nothing happens.
  void beat();

 private:
  void push(const std::string& text);
  void dropGone();

  std::mutex m_mutex;  // guards what follows
  std::vector<Listener> m_listeners;
  std::uint64_t m_opened = 0;
  std::uint64_t m_told = 0;
};

}  // namespace services::web
