// Who asks: users who log in by each request, and sessions.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/web/ht_Message.h"
#include "web/wb_Throttle.h"

namespace services::user {
class User;
}

namespace services::web {

class Audit;

/// Lets users in who have the interface Http or Https and a password, by HTTP Basic or by the token
/// of a session. A session ends by a logout, after a time without a request, with a change of the
/// user's password, rights or interfaces, and for a newer one where there are `mostSessions`: the
/// one that was not used for the longest time.
///
/// After five wrong passwords the next are not looked at for a time that grows, for the address and
/// for the user's name; a user who has logged in from an address before has to wait for that
/// address's own failures alone, so that others cannot shut him out. Every login and refusal is
/// noted. Any thread may call.
class Login {
 public:
  static constexpr std::size_t mostSessions = 64;

  struct Session {
    std::string id;
    std::string user;
    std::string address;
    std::int64_t begun;  ///< the host's timestamp
  };

  /// `now` gives the host's timestamp; a session ends after `idleSeconds` without a request.
  Login(Audit& audit, std::function<std::int64_t()> now, std::int64_t idleSeconds);

  enum class Outcome { In, Wrong, Wait };
  struct Answer {
    Outcome outcome;
    std::int64_t seconds = 0;  ///< to wait
  };

  /// Finds out by the request's headers who asks, and sets user and granted.
  Answer identify(http::Request& request);
  /// Begins a session; with `In` the token and the session are set.
  Answer begin(const std::string& user, const std::string& password, const std::string& address,
               std::string& token, Session& session);
  /// Ends a session; false when there is none of that id.
  bool end(const std::string& id);
  std::vector<Session> sessions();
  /// What changes with what ends a user's sessions; empty for who may not log in.
  static std::string stampOf(const std::string& user);
  std::int64_t idleSeconds() const { return m_idleSeconds; }

 private:
  struct Kept {
    Session session;
    std::string tokenDigest;
    std::string stamp;  // of the user as he was
    std::int64_t used;  // in seconds
  };
  Answer verify(const std::string& name, const std::string& password, const std::string& address);
  Answer refuse(const std::string& name, bool isKnown, const std::string& address);
  std::int64_t waitOf(const std::string& name, const std::string& address) const;
  bool isRemembered(const std::string& name, const std::string& digest) const;
  void letIn(const std::string& name, const std::string& address, const std::string& digest);
  bool resume(const std::string& token, http::Request& request);
  void dropStale();
  std::int64_t seconds() const { return m_now() / 1000000; }

  Audit& m_audit;
  const std::function<std::int64_t()> m_now;
  const std::int64_t m_idleSeconds;
  mutable std::mutex m_mutex;  // guards what follows; not held while a password is hashed
  Throttle m_users;
  Throttle m_addresses;
  std::map<std::string, std::string> m_remembered;        // by user, of the last that was right
  std::set<std::pair<std::string, std::string>> m_known;  // users and addresses they came from
  std::vector<Kept> m_sessions;
  std::uint64_t m_begun = 0;
};

}  // namespace services::web
