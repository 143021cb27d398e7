// Who may: accounts, roles, sessions.
#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/si_Field.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;
using user::User;
using user::UserManager;

namespace {

constexpr const char* accounts = "/redfish/v1/AccountService/Accounts";
constexpr const char* sessionsPath = "/redfish/v1/SessionService/Sessions";

object accountService(const Snapshot&, const Keys&) {
  return {{"Status", status("Enabled", "OK")},
          {"ServiceEnabled", true},
          {"MinPasswordLength", 8},
          {"MaxPasswordLength", 64},
          {"Accounts", link(accounts)},
          {"Roles", link("/redfish/v1/AccountService/Roles")},
          {"PrivilegeMap", link("/redfish/v1/AccountService/PrivilegeMap")}};
}

struct RoleRow {
  const char* id;
  std::vector<const char*> privileges;
};

const std::vector<RoleRow>& roleRows() {
  static const std::vector<RoleRow> rows = {
      {"Administrator",
       {"Login", "ConfigureManager", "ConfigureUsers", "ConfigureSelf", "ConfigureComponents"}},
      {"Operator", {"Login", "ConfigureComponents", "ConfigureSelf"}},
      {"ReadOnly", {"Login", "ConfigureSelf"}},
  };
  return rows;
}

Keys roles(const Snapshot&, const Keys&) {
  Keys ids;
  for (const RoleRow& row : roleRows()) ids.emplace_back(row.id);
  return ids;
}

object role(const Snapshot&, const Keys& keys) {
  const auto row = std::ranges::find(roleRows(), keys[0], &RoleRow::id);
  return {{"RoleId", keys[0]},
          {"IsPredefined", true},
          {"AssignedPrivileges", array(row->privileges.begin(), row->privileges.end())}};
}

Keys accountNames(const Snapshot& now, const Keys&) {
  Keys names;
  for (const AccountFacts& facts : now.accounts) {
    if (facts.mayLogIn) names.push_back(facts.name);
  }
  return names;
}

object account(const Snapshot& now, const Keys& keys) {
  const auto facts = std::ranges::find(now.accounts, keys[0], &AccountFacts::name);
  return {{"UserName", keys[0]},
          {"Password", nullptr},
          {"RoleId", facts->rights},
          {"Enabled", true},
          {"Locked", false},
          {"AccountTypes", array{"Redfish"}},
          {"Links", object{{"Role", link("/redfish/v1/AccountService/Roles/" + facts->rights)}}}};
}

object sessionService(const Snapshot& now, const Keys&) {
  return {{"Status", status("Enabled", "OK")},
          {"ServiceEnabled", true},
          {"SessionTimeout", now.sessionSeconds},
          {"Sessions", link(sessionsPath)}};
}

Keys sessionIds(const Snapshot& now, const Keys&) {
  Keys ids;
  for (const auto& session : now.sessions) ids.push_back(session.id);
  return ids;
}

object sessionShown(const Login::Session& session) {
  return {{"UserName", session.user},
          {"SessionType", "Redfish"},
          {"ClientOriginIPAddress", session.address},
          {"CreatedTime", isoTime(session.begun)}};
}

object session(const Snapshot& now, const Keys& keys) {
  return sessionShown(*std::ranges::find(now.sessions, keys[0], &Login::Session::id));
}

http::Response loginRefusal(const Login::Answer& answer, const std::string& path) {
  if (answer.outcome == Login::Outcome::Wait) {
    const std::string seconds = std::to_string(answer.seconds);
    http::Response response = messageResponse("ServiceTemporarilyUnavailable", {seconds});
    response.headers.emplace_back("Retry-After", seconds);
    return response;
  }
  return messageResponse("ResourceAtUriUnauthorized", {path, "wrong name or password"});
}

http::Response login(const Call& call) {
  std::optional<std::string> name, password;
  if (auto refusal = unknownIn(call.body, {"UserName", "Password"}, {}, "#")) return *refusal;
  if (auto refusal = readText(call.body, "UserName", true, name)) return *refusal;
  if (auto refusal = readText(call.body, "Password", true, password)) return *refusal;
  std::string token;
  Login::Session begun;
  const auto answer =
      call.sources.login.begin(*name, *password, call.request.address, token, begun);
  if (answer.outcome != Login::Outcome::In) return loginRefusal(answer, call.request.path);
  call.sources.audit.note(false, begun.user, begun.address, "began session " + begun.id);
  const std::string self = std::string(sessionsPath) + "/" + begun.id;
  object shown{{"@odata.id", self},
               {"@odata.type", "#Session.v1_7_0.Session"},
               {"Id", begun.id},
               {"Name", "Session " + begun.id}};
  for (auto& member : sessionShown(begun)) shown.insert(member);
  http::Response response{.status = 201, .body = boost::json::serialize(shown)};
  response.headers = {{"X-Auth-Token", token}, {"Location", self}};
  return response;
}

bool isAdministrator(const Call& call) { return call.request.granted == http::Access::Administer; }

http::Response logout(const Call& call) {
  const auto session = std::ranges::find(call.snapshot.sessions, call.keys[0], &Login::Session::id);
  if (session->user != call.request.user && !isAdministrator(call)) {
    return messageResponse("InsufficientPrivilege");
  }
  call.sources.login.end(call.keys[0]);
  call.sources.audit.note(false, call.request.user, call.request.address,
                          "ended session " + call.keys[0] + " of " + session->user);
  return {.status = 204};
}

http::Response changed(const Call& call, const std::string& what, const std::string& refusal) {
  call.sources.audit.note(!refusal.empty(), call.request.user, call.request.address, what);
  return refusal.empty() ? http::Response{.status = 204}
                         : messageResponse("ValueRefused", {refusal});
}

// Sets what is given by the grammars of the fields.
std::string setGiven(User& record, const std::optional<std::string>& password,
                     const std::optional<std::string>& rights) {
  const auto set = [&](const char* key, const std::optional<std::string>& given) -> std::string {
    if (!given) return "";
    const char* rule =
        sysinfo::setField(*sysinfo::findField(user::userFields(), key), record, *given);
    return rule == nullptr ? "" : std::string(key) + " " + rule;
  };
  std::string refusal = set("Password", password);
  return refusal.empty() ? set("Rights", rights) : refusal;
}

http::Response addAccount(const Call& call) {
  std::optional<std::string> name, password, rights;
  if (auto refusal = unknownIn(call.body, {"UserName", "Password", "RoleId"},
                               {"Enabled", "Locked", "AccountTypes"}, "#")) {
    return *refusal;
  }
  if (auto refusal = readText(call.body, "UserName", true, name)) return *refusal;
  if (auto refusal = readText(call.body, "Password", true, password)) return *refusal;
  if (auto refusal = readText(call.body, "RoleId", true, rights)) return *refusal;
  if (!sysinfo::userNameGrammar.holds(name->c_str())) {
    return messageResponse("ValueRefused", {sysinfo::userNameGrammar.rule}, "#/UserName");
  }
  if (UserManager::getManager()->find(*name) != nullptr) {
    return messageResponse("ResourceAlreadyExists", {"ManagerAccount", "UserName", *name},
                           "#/UserName");
  }
  User record(name->c_str());
  std::string refusal = setGiven(record, password, rights);
  utility::TokenSet interfaces(20);
  interfaces.set(strings::token<"Http">);
  interfaces.set(strings::token<"Https">);
  record.setInterfaces(interfaces);
  if (refusal.empty() && password->empty()) refusal = "Password must not be empty";
  if (refusal.empty()) refusal = UserManager::getManager()->addUser(record);
  http::Response response = changed(call, "add user " + *name, refusal);
  if (refusal.empty()) {
    response = messageResponse("Created");
    response.headers.emplace_back("Location", std::string(accounts) + "/" + *name);
  }
  return response;
}

// Everybody may change his own password; the rest is the administrators'.
http::Response changeAccount(const Call& call) {
  std::optional<std::string> password, rights;
  if (auto refusal =
          unknownIn(call.body, {"Password", "RoleId"},
                    {"UserName", "Enabled", "Locked", "AccountTypes", "Id", "Name"}, "#")) {
    return *refusal;
  }
  if (auto refusal = readText(call.body, "Password", false, password)) return *refusal;
  if (auto refusal = readText(call.body, "RoleId", false, rights)) return *refusal;
  const bool isOwn = call.keys[0] == call.request.user;
  if (!isAdministrator(call) && (!isOwn || rights)) return messageResponse("InsufficientPrivilege");
  const std::string refusal = UserManager::getManager()->changeUser(
      call.keys[0], [&](User& record) { return setGiven(record, password, rights); });
  return changed(call, "change user " + call.keys[0], refusal);
}

http::Response deleteAccount(const Call& call) {
  return changed(call, "delete user " + call.keys[0],
                 UserManager::getManager()->deleteUser(call.keys[0]));
}

constexpr Resource resources[] = {
    {"/redfish/v1/AccountService", "AccountService.v1_15_0.AccountService", "Accounts", SystemAlone,
     accountService},
    {"/redfish/v1/AccountService/Accounts/{}", "ManagerAccount.v1_12_0.ManagerAccount",
     "Account {}", Accounts, account, accountNames, http::Access::Read, "Accounts"},
    {"/redfish/v1/AccountService/Roles/{}", "Role.v1_3_0.Role", "Role {}", SystemAlone, role, roles,
     http::Access::Read, "Roles"},
    {"/redfish/v1/SessionService", "SessionService.v1_2_0.SessionService", "Sessions", SystemAlone,
     sessionService},
    {"/redfish/v1/SessionService/Sessions/{}", "Session.v1_7_0.Session", "Session {}", Sessions,
     session, sessionIds, http::Access::Read, "Sessions"},
};

constexpr Change changes[] = {
    {"POST", "/redfish/v1/SessionService/Sessions", http::Access::Anyone, SystemAlone, login},
    {"DELETE", "/redfish/v1/SessionService/Sessions/{}", http::Access::Read, Sessions, logout,
     false},
    {"POST", "/redfish/v1/AccountService/Accounts", http::Access::Administer, SystemAlone,
     addAccount},
    {"PATCH", "/redfish/v1/AccountService/Accounts/{}", http::Access::Read, Accounts,
     changeAccount},
    {"DELETE", "/redfish/v1/AccountService/Accounts/{}", http::Access::Administer, Accounts,
     deleteAccount, false},
};

}  // namespace

std::span<const Resource> accessResources() { return resources; }
std::span<const Change> accessChanges() { return changes; }

}  // namespace services::web
