// The users in force.
#include "host/sysinfo/us_UserManager.h"

#include <algorithm>
#include <cstring>

#include "host/framework/fw_EventManager.h"
#include "host/framework/fw_Logger.h"
#include "host/sysinfo/si_Scopes.h"
#include "host/sysinfo/si_SysInfoManager.h"

namespace services::user {

using framework::object::EntityObject;
using strings::stringtoken;
using sysinfo::Rows;
using sysinfo::SysInfoManager;

namespace {

constexpr int mostUsers = 10000;

std::string scopeOf(const std::string& name) { return std::string(sysinfo::userScope) + name; }

Rows rowsOf(const User& user) {
  Rows rows;
  for (const auto& field : userFields()) {
    rows[{scopeOf(user.getNameString()), field.key}] = *field.get(user);
  }
  return rows;
}

// Sets an attribute that was stored; one that breaks its grammar is left out.
void takeRow(User& user, const std::string& key, const std::string& value) {
  const auto* field = sysinfo::findField(userFields(), key);
  if (field != nullptr && field->grammar->holds(value.c_str())) {
    field->set(user, value.c_str());
    return;
  }
  framework::Logger::StaticLog(
      framework::LogType::Error, "system information: %s of user %s was left out: %s", key.c_str(),
      user.getNameString(), field == nullptr ? "no such attribute" : field->grammar->rule);
}

// Whether the daemons that log users in must learn of the change.
bool concernsAccess(const User& before, const User& after) {
  const auto textOf = [](const User& user, const char* key) {
    return *sysinfo::findField(userFields(), key)->get(user);
  };
  return std::strcmp(before.getPassword(), after.getPassword()) != 0 ||
         textOf(before, "Interfaces") != textOf(after, "Interfaces");
}

std::string refusalOf(const User& user) {
  if (!sysinfo::userNameGrammar.holds(user.getNameString())) return sysinfo::userNameGrammar.rule;
  for (const auto& field : userFields()) {
    if (field.grammar->holds(field.get(user)->c_str())) continue;
    return std::string(field.key) + " " + field.grammar->rule;
  }
  return contradictionOf(user);
}

}  // namespace

UserManager* UserManager::getManager() {
  static UserManager only;
  return &only;
}

int UserManager::numUsers(stringtoken /*access*/) const {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(m_users.size());
}

const EntityObject* UserManager::getUser(int index, stringtoken access) {
  return getUserExcept(index, strings::tGSendOfList, access);
}

const EntityObject* UserManager::getUserExcept(int index, stringtoken name,
                                               stringtoken /*access*/) {
  const std::lock_guard lock(m_mutex);
  if (index < 0 || index >= static_cast<int>(m_users.size())) return nullptr;
  const Record& record = m_users[static_cast<std::size_t>(index)];
  return record->getName() == name ? nullptr : m_held.emplace_back(record).get();
}

void UserManager::releaseUser(const EntityObject* user, stringtoken /*access*/) {
  const std::lock_guard lock(m_mutex);
  const auto held = std::ranges::find(m_held, user, [](const Record& r) { return r.get(); });
  if (held != m_held.end()) m_held.erase(held);
}

UserManager::Record UserManager::find(const std::string& name) const {
  const std::lock_guard lock(m_mutex);
  const auto found = std::ranges::find(
      m_users, name, [](const Record& record) { return std::string(record->getNameString()); });
  return found == m_users.end() ? nullptr : *found;
}

std::unique_ptr<User> UserManager::findUser(const std::string& name) const {
  const Record record = find(name);
  return record == nullptr ? nullptr : std::make_unique<User>(*record);
}

std::string UserManager::addUser(const User& user) {
  const std::lock_guard lock(m_changing);
  if (std::string refusal = refusalOf(user); !refusal.empty()) return refusal;
  if (find(user.getNameString()) != nullptr) return "there is a user of this name already";
  if (numUsers(strings::tGSreadAccess) == mostUsers) return "there are as many users as can be";
  std::string failure = replace(user.getNameString(), std::make_shared<const User>(user));
  if (failure.empty()) raise(strings::tGSuserAccessChanged, user);
  return failure;
}

std::string UserManager::changeUser(const User& user) {
  const std::lock_guard lock(m_changing);
  if (std::string refusal = refusalOf(user); !refusal.empty()) return refusal;
  const Record before = find(user.getNameString());
  if (before == nullptr) return "there is no user of this name";
  std::string failure = replace(user.getNameString(), std::make_shared<const User>(user));
  const bool access = concernsAccess(*before, user);
  if (failure.empty())
    raise(access ? strings::tGSuserAccessChanged : strings::tGSuserChanged, user);
  return failure;
}

std::string UserManager::deleteUser(const std::string& name) {
  const std::lock_guard lock(m_changing);
  const Record before = find(name);
  if (before == nullptr) return "there is no user of this name";
  std::string failure = replace(name, nullptr);
  if (!failure.empty()) return failure;
  User deleted(*before);
  deleted.setDeleted(true);
  raise(strings::tGSuserAccessChanged, deleted);
  return failure;
}

// The event's record says when the last handler has returned.
void UserManager::raise(stringtoken event, const User& user) {
  const auto finish = [this](const User* handed) {
    const std::unique_ptr<const User> owned(handed);
    if (framework::EventManager::instance().isDelivering()) told();
  };
  {
    const std::lock_guard lock(m_mutex);
    ++m_untold;
  }
  const std::shared_ptr<const User> record(new User(user), finish);
  const auto untyped = std::shared_ptr<const void>(record);
  if (framework::EventManager::instance().raise(event, untyped)) return;
  const std::lock_guard lock(m_mutex);
  ++m_untold;  // for good: the mark stays
}

// The mark goes with the last change that was under way.
void UserManager::told() {
  {
    const std::lock_guard lock(m_mutex);
    if (--m_untold > 0) return;
  }
  sysinfo::Store* store = SysInfoManager::getManager()->store();
  if (store != nullptr) store->replace({sysinfo::untoldPlace.scope}, {});
}

// Stores the record in place of that of the name, null to take it out, and puts it in force.
std::string UserManager::replace(const std::string& name, const Record& record) {
  sysinfo::Store* store = SysInfoManager::getManager()->store();
  Rows rows = record == nullptr ? Rows() : rowsOf(*record);
  rows[sysinfo::untoldPlace] = strings::pGStrue;
  if (store != nullptr && !store->replace({scopeOf(name), sysinfo::untoldPlace.scope}, rows)) {
    return "the change could not be stored; the log says why";
  }
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_users, [&name](const Record& user) { return name == user->getNameString(); });
  if (record == nullptr) return {};
  const auto place = std::ranges::find_if(
      m_users, [&name](const Record& user) { return name < user->getNameString(); });
  m_users.insert(place, record);
  return {};
}

void UserManager::load(const Rows& rows) {
  std::vector<std::shared_ptr<User>> users;
  for (const auto& [place, value] : rows) {
    if (!place.scope.starts_with(sysinfo::userScope)) continue;
    const char* name = place.scope.c_str() + sysinfo::userScope.size();
    if (users.empty() || users.back()->getNameString() != std::string_view(name)) {
      users.push_back(std::make_shared<User>(name));
    }
    takeRow(*users.back(), place.key, value);
  }
  const std::lock_guard lock(m_mutex);
  m_users.assign(users.begin(), users.end());
  m_untold = 0;
}

}  // namespace services::user
