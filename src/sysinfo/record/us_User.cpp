// A user of the management interfaces.
#include "sysinfo/record/us_User.h"

#include "sysinfo/record/us_Password.h"

namespace services::user {

namespace {

using strings::StringRepository;

std::string rolesText(const utility::TokenSet& roles) {
  std::string text;
  for (unsigned int i = 0; i < roles.Length(); ++i) {
    if (i > 0) text += ",";
    text += StringRepository::toString(roles.ElementAt(i));
  }
  return text;
}

utility::TokenSet rolesOf(const char* text) {
  utility::TokenSet roles(20);
  if (text != nullptr) roles.SetFromStringList(text);
  return roles;
}

strings::stringtoken typeOf(const char* text) {
  return text == nullptr ? strings::tGSnone : strings::GS.toToken(text);
}

const char* orEmpty(const char* text) { return text == nullptr ? "" : text; }

const strings::Words rightsWords = {"ReadOnly", "Operator", "Administrator"};

using OptionalText = std::optional<std::string>;

constexpr sysinfo::Field<User> fields[] = {
    {"Interfaces", &sysinfo::rolesGrammar,
     [](const User& u) { return OptionalText(rolesText(u.getInterfaces())); },
     [](User& u, const char* v) { u.setInterfaces(rolesOf(v)); }},
    {"Rights", &sysinfo::rightsGrammar,
     [](const User& u) { return OptionalText(StringRepository::toString(u.getRights())); },
     [](User& u, const char* v) { u.setRights(v == nullptr ? readOnly : typeOf(v)); }},
    {"AuthType", &sysinfo::authTypeGrammar,
     [](const User& u) { return OptionalText(StringRepository::toString(u.getAuthType())); },
     [](User& u, const char* v) { u.setAuthType(typeOf(v)); }},
    {"PrivacyType", &sysinfo::privacyTypeGrammar,
     [](const User& u) { return OptionalText(StringRepository::toString(u.getPrivacyType())); },
     [](User& u, const char* v) { u.setPrivacyType(typeOf(v)); }},
    {"Password", &sysinfo::keptPasswordGrammar,
     [](const User& u) { return OptionalText(u.getPassword()); },
     [](User& u, const char* v) { u.setPassword(orEmpty(v)); }},
    {"PrivacyPassword", &sysinfo::passwordGrammar,
     [](const User& u) { return OptionalText(u.getPrivacyPassword()); },
     [](User& u, const char* v) { u.setPrivacyPassword(orEmpty(v)); }},
    {"TrapDestination", &sysinfo::targetGrammar,
     [](const User& u) { return OptionalText(u.getTrapDestination()); },
     [](User& u, const char* v) { u.setTrapDestination(orEmpty(v)); }},
};

}  // namespace

std::span<const sysinfo::Field<User>> userFields() { return fields; }

std::string contradictionOf(const User& user) {
  const bool authenticated = user.getAuthType() != strings::tGSnone;
  const bool isPrivate = user.getPrivacyType() != strings::tGSnone;
  const bool isTarget = user.getInterfaces().inSet(strings::tGSSnmpTarget);
  if (authenticated && *user.getPassword() == '\0') return "AuthType needs a Password";
  if (authenticated && isPrivate && *user.getPrivacyPassword() == '\0') {
    return "PrivacyType needs a PrivacyPassword";
  }
  if (isTarget && *user.getTrapDestination() == '\0') {
    return "the role SnmpTarget needs a TrapDestination";
  }
  if (user.hasSnmpRole() && isHashedPassword(user.getPassword())) {
    return "an SNMP role needs a new Password with it: of the one that is kept there is only a "
           "hash";
  }
  return {};
}

}  // namespace services::user
