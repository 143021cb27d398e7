// The operator's commands over the users: "user list|add|set|delete". No secret is ever in a reply.
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/manager/us_UserManager.h"

namespace services::ops {

namespace {

using framework::commandOf;
using framework::Console;
using framework::Ok;
using framework::Refused;
using user::User;
using user::UserManager;
using utility::Arguments;

// Attributes as they are typed.
using Attributes = std::vector<std::pair<std::string, std::string>>;

// Those behind the name. False when a word is none; what it says may be a secret.
bool readAttributes(const Arguments& arguments, Attributes& attributes) {
  for (unsigned int i = 1; i < arguments.ArgCount(); ++i) {
    const std::string word = arguments.ArgValue(i);
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) return false;
    attributes.emplace_back(word.substr(0, equals), word.substr(equals + 1));
  }
  return true;
}

std::string keysOfAll() {
  std::string keys;
  for (const auto& field : user::userFields()) {
    if (!keys.empty()) keys += ", ";
    keys += field.key;
  }
  return keys;
}

// Sets an attribute, or says why not.
std::string setAttribute(User& record, const std::string& key, const std::string& value) {
  const auto* field = sysinfo::findField(user::userFields(), key);
  if (field == nullptr) return "no such attribute: " + key + "; it is one of " + keysOfAll();
  if (value.empty()) {
    field->set(record, nullptr);
    return "";
  }
  const char* const rule = sysinfo::setField(*field, record, value);
  return rule == nullptr ? "" : key + " " + rule;
}

std::string setAttributes(User& record, const Attributes& attributes) {
  for (const auto& [key, value] : attributes) {
    std::string refusal = setAttribute(record, key, value);
    if (!refusal.empty()) return refusal;
  }
  return "";
}

// Names of users, then the keys of what they have.
std::vector<std::string> userWords(unsigned int place) {
  std::vector<std::string> words;
  if (place > 0) {
    for (const auto& field : user::userFields()) words.push_back(std::string(field.key) + '=');
    return words;
  }
  UserManager& users = *UserManager::getManager();
  for (int i = 0; const auto* entity = users.getUser(i, strings::tGSreadAccess); ++i) {
    words.emplace_back(entity->getNameString());
    users.releaseUser(entity, strings::tGSreadAccess);
  }
  return words;
}

int answer(Console& console, const std::string& refusal, const char* name, const char* done) {
  if (refusal.empty()) {
    console.reply(Ok, "user %s %s\n", name, done);
  } else {
    console.reply(Refused, "%s\n", refusal.c_str());
  }
  return 1;
}

std::vector<std::string> rowOf(const User& record) {
  std::vector<std::string> row = {record.getNameString()};
  for (const auto& field : user::userFields()) {
    const std::string value = field.get(record).value_or("");
    row.push_back(field.grammar->secret && !value.empty() ? "(set)" : value);
  }
  return row;
}

// Says of a user who is left out of the SNMP agent's file why; empty for others.
std::string leftOutLine(const std::string& name) {
  const char* fault = sysinfo::agentNameFault(name.c_str());
  if (fault == nullptr) return "";
  return name + " is left out of the SNMP agent's file: " + fault + "\n";
}

int list(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  framework::Columns columns = {{"Name", "Name"}};
  framework::TableRows rows;
  std::string leftOut;
  for (const auto& field : user::userFields()) columns.push_back({field.key, field.key});
  UserManager& users = *UserManager::getManager();
  for (int i = 0; const auto* entity = users.getUser(i, strings::tGSreadAccess); ++i) {
    if (const auto* record = dynamic_cast<const User*>(entity)) rows.push_back(rowOf(*record));
    leftOut += leftOutLine(entity->getNameString());
    users.releaseUser(entity, strings::tGSreadAccess);
  }
  framework::writeTable(console.output(), columns, rows);
  console.output().PutS(leftOut.c_str());
  console.output().PutS(sysinfo::Untold::instance().finding().c_str());
  return 1;
}

int add(Console& console, const Arguments& arguments) {
  Attributes attributes;
  if (arguments.ArgCount() < 1 || !readAttributes(arguments, attributes)) return 0;
  const char* name = arguments.ArgValue(0);
  if (!sysinfo::userNameGrammar.holds(name)) {
    return answer(console, sysinfo::userNameGrammar.rule, name, "");
  }
  User record(name);
  if (record.getName() == strings::tGSendOfList) {
    return answer(console, "the host knows as many names as it can until it is restarted", name,
                  "");
  }
  std::string refusal = setAttributes(record, attributes);
  if (refusal.empty()) refusal = UserManager::getManager()->addUser(record);
  return answer(console, refusal, name, "added");
}

int set(Console& console, const Arguments& arguments) {
  Attributes attributes;
  if (arguments.ArgCount() < 2 || !readAttributes(arguments, attributes)) return 0;
  const char* name = arguments.ArgValue(0);
  const std::string refusal = UserManager::getManager()->changeUser(
      name, [&](User& record) { return setAttributes(record, attributes); });
  return answer(console, refusal, name, "changed");
}

int erase(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* name = arguments.ArgValue(0);
  return answer(console, UserManager::getManager()->deleteUser(name), name, "deleted");
}

const std::vector<framework::TableCommand> commands = {
    {list,
     commandOf<"user", "list">(
         "UserList", "user list: list the users of the management interfaces.\n", "user list\n")},
    {add, commandOf<"user", "add">("UserAdd", "user add: add a user.\n",
                                   "user add NAME [KEY=VALUE]...\n")},
    {set, commandOf<"user", "set">(
              "UserSet", "user set: change a user; an empty value gives the initial one.\n",
              "user set NAME KEY=VALUE...\n", nullptr, userWords)},
    {erase, commandOf<"user", "delete">("UserDelete", "user delete: take a user out.\n",
                                        "user delete NAME\n", nullptr, userWords)},
};

using UserCommands = framework::CommandTable<"UserCommands", "mcops", commands>;
const framework::ServiceFactory factory(UserCommands::build, "UserCommands");

}  // namespace

}  // namespace services::ops
