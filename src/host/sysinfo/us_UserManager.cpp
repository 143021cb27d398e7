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
  const auto& nameGrammar = sysinfo::storedUserNameGrammar;
  if (!nameGrammar.holds(user.getNameString())) return nameGrammar.rule;
  for (const auto& field : userFields()) {
    if (field.grammar->holds(field.get(user)->c_str())) continue;
    return std::string(field.key) + " " + field.grammar->rule;
  }
  return contradictionOf(user);
}

// Whether a stored user cannot be put in force, which is logged.
bool isLeftOut(const User& user) {
  const std::string refusal = refusalOf(user);
  if (refusal.empty()) return false;
  framework::Logger::StaticLog(framework::LogType::Error,
                               "system information: user %s was left out: %s", user.getNameString(),
                               refusal.c_str());
  return true;
}

void warnOfName(const User& user) {
  const char* fault = sysinfo::agentNameFault(user.getNameString());
  if (fault == nullptr) return;
  framework::Logger::StaticLog(
      framework::LogType::Warning,
      "system information: user %s is left out of the SNMP agent's file: %s", user.getNameString(),
      fault);
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

std::string UserManager::addUser(const User& user) {
  const std::lock_guard lock(m_changing);
  if (!sysinfo::userNameGrammar.holds(user.getNameString())) return sysinfo::userNameGrammar.rule;
  if (std::string refusal = refusalOf(user); !refusal.empty()) return refusal;
  if (find(user.getNameString()) != nullptr) return "there is a user of this name already";
  if (numUsers(strings::tGSreadAccess) == mostUsers) return "there are as many users as can be";
  std::string failure = replace(user.getNameString(), std::make_shared<const User>(user));
  if (failure.empty()) raise(strings::tGSuserAccessChanged, user);
  return failure;
}

std::string UserManager::changeUser(const std::string& name,
                                    const std::function<std::string(User&)>& edit) {
  const std::lock_guard lock(m_changing);
  const Record before = find(name);
  if (before == nullptr) return "there is no user of this name";
  User user(*before);
  if (std::string refusal = edit(user); !refusal.empty()) return refusal;
  if (std::string refusal = refusalOf(user); !refusal.empty()) return refusal;
  std::string failure = replace(name, std::make_shared<const User>(user));
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

// Which users were changed is not known any more. This one writes nothing into the agent's file,
// and has the SMI-S daemons read the users anew.
void UserManager::tellUntold() {
  const std::lock_guard lock(m_changing);
  const sysinfo::Store* store = SysInfoManager::getManager()->store();
  if (store == nullptr || !store->rows().contains(sysinfo::untoldPlace)) return;
  utility::TokenSet interfaces(20);
  interfaces.set(strings::token<"Smis">);
  User nobody("");
  nobody.setInterfaces(interfaces);
  nobody.setDeleted(true);
  count(1);
  raise(strings::tGSuserAccessChanged, nobody);
}

// The event's record says when the last handler has returned.
void UserManager::raise(stringtoken event, const User& user) {
  const auto finish = [this](const User* handed) {
    const std::unique_ptr<const User> owned(handed);
    if (framework::EventManager::instance().isDelivering()) told();
  };
  const std::shared_ptr<const User> record(new User(user), finish);
  if (framework::EventManager::instance().raise(event, std::shared_ptr<const void>(record))) told();
}

// Each change counts until its event was taken, and until that was handled: the mark goes with the
// last, and stays where an event was not taken. The count begins before the mark is stored, so that
// an earlier change does not take the mark of this one away.
void UserManager::count(int changes) {
  const std::lock_guard lock(m_mutex);
  m_untold += 2 * changes;
}

void UserManager::told() {
  const std::lock_guard lock(m_mutex);
  if (--m_untold > 0) return;
  sysinfo::Store* store = SysInfoManager::getManager()->store();
  if (store != nullptr) store->replace({sysinfo::untoldPlace.scope}, {});
}

// Stores the record in place of that of the name, null to take it out, and puts it in force.
std::string UserManager::replace(const std::string& name, const Record& record) {
  sysinfo::Store* store = SysInfoManager::getManager()->store();
  Rows rows = record == nullptr ? Rows() : rowsOf(*record);
  rows[sysinfo::untoldPlace] = strings::pGStrue;
  count(1);
  if (store != nullptr && !store->replace({scopeOf(name), sysinfo::untoldPlace.scope}, rows)) {
    count(-1);
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
  std::erase_if(users, [](const auto& user) { return isLeftOut(*user); });
  for (const auto& user : users) warnOfName(*user);
  const std::lock_guard lock(m_mutex);
  m_users.assign(users.begin(), users.end());
  m_untold = 0;
}

}  // namespace services::user
