// The users in force.
#include "sysinfo/manager/us_UserManager.h"

#include <algorithm>
#include <cstring>

#include "host/log/fw_Logger.h"
#include "sysinfo/manager/us_UserChange.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/record/us_Password.h"

namespace services::user {

using framework::object::EntityObject;
using strings::stringtoken;
using sysinfo::Rows;

namespace {

constexpr int mostUsers = 10000;
constexpr const char* noHash =
    "the password could not be hashed: memory or random bytes are short, or this host is built "
    "without the web";

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
  const char* const refusal =
      field == nullptr ? "no such attribute" : sysinfo::setField(*field, user, value);
  if (refusal == nullptr) return;
  framework::Logger::StaticLog(framework::LogType::Error,
                               "system information: %s of user %s was left out: %s", key.c_str(),
                               user.getNameString(), refusal);
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

// Keeps the hash of a password that is needed by nobody as it is. False where it cannot be had.
bool hidePassword(User& user) {
  const std::string password = user.getPassword();
  if (password.empty() || user.hasSnmpRole() || isHashedPassword(password.c_str())) return true;
  user.setPassword(hashedPassword(password).c_str());
  return *user.getPassword() != '\0';
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
  const auto record = std::make_shared<User>(user);
  if (!hidePassword(*record)) return noHash;
  return replace(record, strings::tGSuserAccessChanged);
}

std::string UserManager::changeUser(const std::string& name,
                                    const std::function<std::string(User&)>& edit) {
  const std::lock_guard lock(m_changing);
  const Record before = find(name);
  if (before == nullptr) return "there is no user of this name";
  User user(*before);
  if (std::string refusal = edit(user); !refusal.empty()) return refusal;
  if (std::string refusal = refusalOf(user); !refusal.empty()) return refusal;
  if (!hidePassword(user)) return noHash;
  return replace(std::make_shared<const User>(user), concernsAccess(*before, user)
                                                         ? strings::tGSuserAccessChanged
                                                         : strings::tGSuserChanged);
}

std::string UserManager::deleteUser(const std::string& name) {
  const std::lock_guard lock(m_changing);
  const Record before = find(name);
  if (before == nullptr) return "there is no user of this name";
  const auto deleted = std::make_shared<User>(*before);
  deleted->setDeleted(true);
  return replace(deleted, strings::tGSuserAccessChanged);
}

// Stores the record in place of that of its name, none if it is deleted, puts it in force and
// tells.
std::string UserManager::replace(const Record& record, stringtoken event) {
  const std::string name = record->getNameString();
  const Rows rows = record->getDeleted() ? Rows() : rowsOf(*record);
  const auto change = sysinfo::Untold::instance().store({scopeOf(name)}, rows, event);
  if (change == nullptr) return "the change could not be stored; the log says why";
  {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_users, [&name](const Record& user) { return name == user->getNameString(); });
    const auto place = std::ranges::find_if(
        m_users, [&name](const Record& user) { return name < user->getNameString(); });
    if (!record->getDeleted()) m_users.insert(place, record);
  }
  raiseUserChange(event, *record, change);
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
}

}  // namespace services::user
