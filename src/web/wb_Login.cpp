// Who asks: users who log in by each request, and sessions.
#include "web/wb_Login.h"

#include <algorithm>

#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/us_Password.h"
#include "util/st_Tokens.h"
#include "web/wb_Audit.h"
#include "web/wb_Secrets.h"

namespace services::web {

using http::Access;
using user::User;

namespace {

using Record = std::shared_ptr<const User>;

constexpr std::size_t mostKnown = 256;

// What is hashed for users who have no hash, so that the time does not tell which there are.
constexpr const char* nobodysPassword =
    "$scrypt$ln=14,r=8,p=1$00000000000000000000000000000000$"
    "0000000000000000000000000000000000000000000000000000000000000000";

bool mayUseWeb(const User& user) {
  const auto& interfaces = user.getInterfaces();
  return interfaces.inSet(strings::token<"Http">) || interfaces.inSet(strings::token<"Https">);
}

// The user of a name who may log in; null for others.
Record userOf(const std::string& name) {
  const Record user = user::UserManager::getManager()->find(name);
  return user != nullptr && mayUseWeb(*user) && *user->getPassword() != '\0' ? user : nullptr;
}

Access accessOf(const User& user) {
  if (user.getRights() == user::administrator) return Access::Administer;
  return user.getRights() == user::operatorRights ? Access::Operate : Access::Read;
}

// Changes with what ends a user's sessions.
std::string stampOf(const User& user) {
  return keyedDigest(std::to_string(user.getRights()) + user.getPassword());
}

// Whether the password is right. One hash is worked out, whatever is known of the user.
bool holds(const Record& user, const std::string& password) {
  const bool hasHash = user != nullptr && user::isHashedPassword(user->getPassword());
  const bool byHash = user::isPassword(hasHash ? user->getPassword() : nobodysPassword, password);
  if (hasHash || user == nullptr) return byHash && hasHash;
  return user::isPassword(user->getPassword(), password);
}

}  // namespace

Login::Login(Audit& audit, std::function<std::int64_t()> now, std::int64_t idleSeconds)
    : m_audit(audit), m_now(std::move(now)), m_idleSeconds(idleSeconds) {}

Login::Answer Login::identify(http::Request& request) {
  const std::string& token = request.header("x-auth-token");
  if (!token.empty()) return {resume(token, request) ? Outcome::In : Outcome::Wrong};
  const auto given = basicCredentials(request.header("authorization"));
  if (!given) return {Outcome::Wrong};
  const Answer answer = verify(given->user, given->password, request.address);
  const Record user = userOf(given->user);
  if (answer.outcome != Outcome::In || user == nullptr) return answer;
  request.user = given->user;
  request.granted = accessOf(*user);
  return answer;
}

std::int64_t Login::waitOf(const std::string& name, const std::string& address) const {
  const std::lock_guard lock(m_mutex);
  const bool isKnown = m_known.contains({name, address});
  const std::int64_t forUser = isKnown ? 0 : m_users.wait(name, seconds());
  return std::max(forUser, m_addresses.wait(address, seconds()));
}

bool Login::isRemembered(const std::string& name, const std::string& digest) const {
  const std::lock_guard lock(m_mutex);
  const auto found = m_remembered.find(name);
  return found != m_remembered.end() && areEqualSecrets(found->second, digest);
}

Login::Answer Login::verify(const std::string& name, const std::string& password,
                            const std::string& address) {
  if (const auto wait = waitOf(name, address); wait > 0) return {Outcome::Wait, wait};
  const Record user = userOf(name);
  const std::string digest =
      user == nullptr
          ? ""
          : keyedDigest(name + '\0' + password + '\0' + std::string(user->getPassword()));
  if (user != nullptr && isRemembered(name, digest)) return {Outcome::In};
  if (!holds(user, password)) return refuse(name, user != nullptr, address);
  letIn(name, address, digest);
  m_audit.note(false, name, address, "logged in");
  return {Outcome::In};
}

// A name that is not known may be a password that was typed in its place, so it is not told.
Login::Answer Login::refuse(const std::string& name, bool isKnown, const std::string& address) {
  {
    const std::lock_guard lock(m_mutex);
    m_users.fail(name, seconds());
    m_addresses.fail(address, seconds());
  }
  m_audit.note(true, isKnown ? name : "", address, "a wrong name or password");
  return {Outcome::Wrong};
}

void Login::letIn(const std::string& name, const std::string& address, const std::string& digest) {
  const std::lock_guard lock(m_mutex);
  m_users.succeed(name);
  m_addresses.succeed(address);
  if (m_remembered.size() >= mostKnown) m_remembered.clear();
  if (m_known.size() >= mostKnown) m_known.clear();
  m_remembered[name] = digest;
  m_known.emplace(name, address);
}

Login::Answer Login::begin(const std::string& user, const std::string& password,
                           const std::string& address, std::string& token, Session& session) {
  const Answer answer = verify(user, password, address);
  const Record record = userOf(user);
  if (answer.outcome != Outcome::In || record == nullptr) return answer;
  token = randomText(32);
  const std::lock_guard lock(m_mutex);
  dropStale();
  if (m_sessions.size() >= mostSessions) {
    m_sessions.erase(std::ranges::min_element(m_sessions, {}, &Kept::used));
  }
  session = {std::to_string(++m_begun), user, address, m_now()};
  m_sessions.push_back({session, keyedDigest(token), web::stampOf(*record), seconds()});
  return answer;
}

bool Login::resume(const std::string& token, http::Request& request) {
  const std::string digest = keyedDigest(token);
  const std::lock_guard lock(m_mutex);
  dropStale();
  for (Kept& kept : m_sessions) {
    if (!areEqualSecrets(kept.tokenDigest, digest)) continue;
    const Record user = userOf(kept.session.user);
    if (user == nullptr) return false;
    kept.used = seconds();
    request.user = kept.session.user;
    request.granted = accessOf(*user);
    return true;
  }
  return false;
}

bool Login::end(const std::string& id) {
  const std::lock_guard lock(m_mutex);
  return std::erase_if(m_sessions, [&](const Kept& kept) { return kept.session.id == id; }) > 0;
}

std::string Login::stampOf(const std::string& user) {
  const Record record = userOf(user);
  return record == nullptr ? "" : web::stampOf(*record);
}

std::vector<Login::Session> Login::sessions() {
  const std::lock_guard lock(m_mutex);
  dropStale();
  std::vector<Session> sessions;
  for (const Kept& kept : m_sessions) sessions.push_back(kept.session);
  return sessions;
}

// Takes out the sessions that are over: unused for too long, or of a user who is another by now.
void Login::dropStale() {
  std::erase_if(m_sessions, [this](const Kept& kept) {
    const Record user = userOf(kept.session.user);
    return seconds() - kept.used > m_idleSeconds || user == nullptr ||
           web::stampOf(*user) != kept.stamp;
  });
}

}  // namespace services::web
