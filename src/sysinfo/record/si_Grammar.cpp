// The grammars of the stored values: what of a text may come in.
#include "sysinfo/record/si_Grammar.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "host/base/fw_Entrance.h"
#include "host/base/st_StringRepository.h"
#include "sysinfo/record/si_MacAddress.h"
#include "sysinfo/record/us_Password.h"
#include "util/ut_IPV4Address.h"

namespace services::sysinfo {

namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view digits = "0123456789";

bool isOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }
bool isAlphanumeric(char c) { return isOneOf(c, letters) || isOneOf(c, digits); }
bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

// Up to `longest` characters, each of them a letter, a digit or of `others`.
bool consistsOf(std::string_view text, std::string_view others, std::size_t longest) {
  return text.size() <= longest && std::ranges::all_of(text, [others](char c) {
           return isAlphanumeric(c) || isOneOf(c, others);
         });
}

template <bool (*holds)(const char*)>
bool emptyOr(const char* text) {
  return *text == '\0' || holds(text);
}

bool isFlag(const char* text) {
  return std::strcmp(text, "true") == 0 || std::strcmp(text, "false") == 0;
}

bool isAddress(const char* text) { return utility::IPV4Address::parse(text).has_value(); }

bool isMac(const char* text) { return parseMacAddress(text).has_value(); }

// The relay stands in a command line of bounded length.
bool isRelay(const char* text) { return std::strlen(text) <= 63 && framework::isHostName(text); }

bool isSerial(const char* text) {
  return consistsOf(text, "_-.", 64) && *text != '-' && *text != '.';
}

bool isTimestamp(const char* text) {
  const std::string_view view(text);
  return view.size() <= 31 && view.find_first_not_of(digits) == std::string_view::npos;
}

bool isVersion(const char* text) { return consistsOf(text, "_-.+", 31) && *text != '-'; }

// The agent takes a community that begins with "-" for an option and splits the line at blanks; it
// reads both kinds of quotes and the backslash.
bool isCommunity(const char* text) {
  const std::string_view view(text);
  return !view.empty() && view.size() <= 64 && view[0] != '-' && view[0] != '#' &&
         std::ranges::all_of(view, [](char c) { return isPrintable(c) && !isOneOf(c, " \"'\\"); });
}

// 32 characters are what a name may have in SNMP's user-based model (RFC 3414).
bool isStoredUserName(const char* text) {
  return consistsOf(text, "_-.", 32) && isOneOf(*text, letters) && *text != '\0';
}

bool isUserName(const char* text) {
  return isStoredUserName(text) && agentNameFault(text) == nullptr;
}

// It stands between double quotes.
bool isPassword(const char* text) {
  const std::string_view view(text);
  return view.size() >= 8 && view.size() <= 64 &&
         std::ranges::all_of(view, [](char c) { return isPrintable(c) && !isOneOf(c, "\"\\"); });
}

bool isKeptPassword(const char* text) { return isPassword(text) || user::isHashedPassword(text); }

bool isPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && isTimestamp(text.c_str()) && std::stoi(text) >= 1 &&
         std::stoi(text) <= 65535;
}

bool isTarget(const char* text) {
  const std::string target(text);
  const std::size_t colon = target.find(':');
  return framework::isHostName(target.substr(0, colon).c_str()) &&
         (colon == std::string::npos || isPort(target.substr(colon + 1)));
}

constexpr strings::stringtoken roles[] = {
    strings::token<"Http">,   strings::token<"Https">,
    strings::token<"Telnet">, strings::token<"Ssh">,
    strings::token<"Smis">,   strings::token<"Ftp">,
    strings::token<"Snmp">,   strings::token<"Debug">,
    strings::token<"Usmis">,  strings::token<"ActivityProgress">,
    strings::tGSSnmpUser,     strings::tGSSnmpTarget,
};

bool isRole(std::string_view name) {
  return std::ranges::any_of(
      roles, [name](auto role) { return name == strings::StringRepository::toString(role); });
}

bool areRoles(const char* text) {
  std::string_view rest(text);
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    if (!isRole(rest.substr(0, comma))) return false;
    if (comma == std::string_view::npos) return true;
    rest.remove_prefix(comma + 1);
    if (rest.empty()) return false;
  }
  return true;
}

bool isRights(const char* text) {
  const std::string_view view(text);
  return view == "ReadOnly" || view == "Operator" || view == "Administrator";
}

bool isAuthType(const char* text) {
  const std::string_view view(text);
  return view == "none" || view == "MD5" || view == "SHA";
}

bool isPrivacyType(const char* text) {
  const std::string_view view(text);
  return view == "none" || view == "DES" || view == "AES";
}

}  // namespace

// The agent puts each user into a group of its own, whose name is a prefix and the user's, 32 bytes
// with their end; the groups and names of communities are "comm" and a number.
const char* agentNameFault(const char* name) {
  const std::string_view view(name);
  if (view.size() > 28) return "the agent tells names apart by their first 28 characters alone";
  const bool isNumbered = view.starts_with("comm") && view.size() > 4 &&
                          view.find_first_not_of(digits, 4) == std::string_view::npos;
  return isNumbered ? "\"comm\" and digits are the agent's own names" : nullptr;
}

const Grammar flagGrammar = {isFlag, "must be true or false"};
const Grammar addressGrammar = {isAddress, "must be an IPv4 address"};
const Grammar macGrammar = {isMac, "must be a MAC address, six hexadecimal bytes joined by \":\""};
const Grammar mailGrammar = {emptyOr<framework::isMailAddress>, framework::mailAddressRule};
const Grammar senderGrammar = {emptyOr<framework::isMailLocalPart>, framework::mailLocalPartRule};
const Grammar hostGrammar = {emptyOr<framework::isHostName>, framework::hostNameRule};
const Grammar relayGrammar = {
    emptyOr<isRelay>,
    "must be a host name or address of at most 63 characters: labels of letters, digits and \"-\", "
    "joined by dots"};
const Grammar serialGrammar = {
    emptyOr<isSerial>,
    "must be at most 64 letters, digits, \"_\", \"-\" and \".\" and begin with none of the last "
    "two"};
const Grammar timestampGrammar = {isTimestamp, "must be at most 31 digits"};
const Grammar versionGrammar = {
    isVersion, "must be at most 31 letters, digits, \"_\", \"-\", \".\" and \"+\", no \"-\" first"};
const Grammar communityGrammar = {isCommunity,
                                  "must be 1 to 64 printable characters, no blank, quote or "
                                  "backslash, and begin with neither \"-\" nor \"#\"",
                                  true};
const Grammar userNameGrammar = {
    isUserName,
    "a user's name is 1 to 28 letters, digits, \"_\", \"-\" and \".\", a letter first, and not "
    "\"comm\" and digits"};
const Grammar storedUserNameGrammar = {
    isStoredUserName,
    "a user's name is 1 to 32 letters, digits, \"_\", \"-\" and \".\", a letter first"};
const Grammar passwordGrammar = {
    emptyOr<isPassword>,
    "must be 8 to 64 printable characters, no double quote or backslash, or empty", true};
const Grammar keptPasswordGrammar = {
    emptyOr<isKeptPassword>,
    "must be 8 to 64 printable characters, no double quote or backslash, or empty", true};
const Grammar targetGrammar = {emptyOr<isTarget>, "must be HOST or HOST:PORT"};
const Grammar rolesGrammar = {
    areRoles,
    "must be a list, joined by \",\", of Http, Https, Telnet, Ssh, Smis, Ftp, Snmp, Debug, Usmis, "
    "ActivityProgress, SnmpUser and SnmpTarget"};
const Grammar rightsGrammar = {isRights, "must be ReadOnly, Operator or Administrator"};
const Grammar authTypeGrammar = {isAuthType, "must be none, MD5 or SHA"};
const Grammar privacyTypeGrammar = {isPrivacyType, "must be none, DES or AES"};

}  // namespace services::sysinfo
