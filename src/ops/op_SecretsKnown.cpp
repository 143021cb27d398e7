// The secrets that the host knows of.
#include "ops/op_SecretsKnown.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <variant>

#include "host/base/ut_Path.h"
#include "host/service/fw_Config.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/si_RecordRows.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::ops {

using framework::Config;
using framework::Property;

namespace {

void addSecretsOf(const sysinfo::Rows& rows, Redactor& redactor) {
  for (const auto& [place, value] : rows) {
    const sysinfo::Grammar* grammar = sysinfo::grammarAt(place);
    if (grammar != nullptr && grammar->secret) redactor.addSecret(value);
  }
}

void addSecretsOfUsers(Redactor& redactor) {
  auto& users = *user::UserManager::getManager();
  for (int i = 0;; ++i) {
    const auto* record = dynamic_cast<const user::User*>(users.getUser(i, strings::tGSreadAccess));
    if (record == nullptr) return;
    for (const auto& field : user::userFields()) {
      if (field.grammar->secret) redactor.addSecret(field.get(*record).value_or(""));
    }
    users.releaseUser(record, strings::tGSreadAccess);
  }
}

// A key may have a file's path for its value, which is none.
bool isSecret(const std::string& name, const std::string& text) {
  const std::string key = name.substr(name.rfind('.') + 1);
  return Redactor::isSecretName(key) &&
         !(text.starts_with('/') && utility::Path::isFile(text.c_str()));
}

template <class Take>
void forEachText(const Property& property, const Take& take) {
  if (const auto* text = std::get_if<std::string>(&property.value)) take(*text);
  if (const auto* list = std::get_if<utility::StringArray>(&property.value)) {
    for (unsigned int i = 0; i < list->Length(); ++i) take(std::string(list->ElementAt(i)));
  }
}

// A basic string of TOML.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    std::array<char, 8> code{};
    if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
      std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned int>(c));
      result += code.data();
    } else {
      result += c;
    }
  }
  return result + "\"";
}

// An entry whose end asks for a secret that is the next one.
bool asksForSecret(const std::string& entry, Redactor& redactor) {
  return redactor.text(entry + " x").ends_with(Redactor::mark);
}

std::string valueText(const std::string& name, const Property& property, Redactor& redactor) {
  bool next = false;
  const auto shown = [&](const std::string& text) {
    const bool secret = next || isSecret(name, text);
    next = asksForSecret(text, redactor);
    return quoted(secret ? Redactor::mark : redactor.text(text));
  };
  if (const auto* number = std::get_if<std::int64_t>(&property.value))
    return std::to_string(*number);
  if (const auto* flag = std::get_if<bool>(&property.value)) return *flag ? "true" : "false";
  std::string text;
  forEachText(property,
              [&](const std::string& one) { text += (text.empty() ? "" : ", ") + shown(one); });
  return std::holds_alternative<utility::StringArray>(property.value) ? "[" + text + "]" : text;
}

}  // namespace

void addKnownSecrets(Redactor& redactor) {
  {
    const sysinfo::SysInfoReadGuard guard;
    if (guard.getObject() != nullptr) addSecretsOf(sysinfo::rowsOf(*guard.getObject()), redactor);
  }
  addSecretsOfUsers(redactor);
  for (const auto& [name, property] : Config::getConfig()->all()) {
    forEachText(property, [&redactor, &full = name](const std::string& text) {
      if (isSecret(full, text)) redactor.addSecret(text);
    });
  }
}

std::string configurationWithout(Redactor& redactor) {
  std::string text;
  for (const auto& [name, property] : Config::getConfig()->all()) {
    const bool plain = std::ranges::all_of(name, [](char c) {
      return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("._-", c) != nullptr;
    });
    text += (plain ? name : quoted(name)) + " = " + valueText(name, property, redactor) + "\n";
  }
  return text;
}

}  // namespace services::ops
