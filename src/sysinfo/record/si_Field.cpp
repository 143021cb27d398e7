// The fields of the system information and of a controller as keys and texts.
#include "sysinfo/record/si_Field.h"

#include <array>
#include <cstring>

#include "host/base/st_StringRepository.h"
#include "sysinfo/record/si_MacAddress.h"
#include "sysinfo/record/si_SysInfo.h"
#include "util/ut_IPV4Address.h"

namespace services::sysinfo {

namespace {

using OptionalText = std::optional<std::string>;

OptionalText flagText(bool flag) { return flag ? strings::pGStrue : strings::pGSfalse; }

OptionalText addressText(std::uint32_t address) {
  std::array<char, 16> text;
  return utility::IPV4Address(address).toBuffer(text.data(), text.size());
}

OptionalText textOrNone(const char* text) {
  return text == nullptr ? OptionalText() : OptionalText(text);
}

bool flagOf(const char* text, bool initial) {
  return text == nullptr ? initial : std::strcmp(text, strings::pGStrue) == 0;
}

std::uint32_t addressOf(const char* text) {
  return text == nullptr ? 0 : utility::IPV4Address::parse(text).value_or(0);
}

std::uint64_t macOf(const char* text) {
  return text == nullptr ? 0 : parseMacAddress(text).value_or(0);
}

// A line of a field table from a line of the record.
#define MC_FLAG(name, initial)                                           \
  {#name, &flagGrammar, [](auto& r) { return flagText(r.get##name()); }, \
   [](auto& r, const char* v) { r.set##name(flagOf(v, initial)); }},
#define MC_ADDRESS(name)                                                       \
  {#name, &addressGrammar, [](auto& r) { return addressText(r.get##name()); }, \
   [](auto& r, const char* v) { r.set##name(addressOf(v)); }},
#define MC_MAC(name)                                                                        \
  {#name, &macGrammar, [](auto& r) { return OptionalText(macAddressText(r.get##name())); }, \
   [](auto& r, const char* v) { r.set##name(macOf(v)); }},
#define MC_TEXT(name, initial, grammar)                                         \
  {#name, &grammar##Grammar, [](auto& r) { return textOrNone(r.get##name()); }, \
   [](auto& r, const char* v) { r.set##name(v == nullptr ? (initial) : v); }},

constexpr Field<SysInfo> settings[] = {MC_SETTING_FIELDS(MC_FLAG, MC_ADDRESS, MC_TEXT)};
constexpr Field<MCInfo> controller[] = {MC_CONTROLLER_FIELDS(MC_ADDRESS, MC_MAC, MC_TEXT)};

}  // namespace

std::span<const Field<SysInfo>> settingFields() { return settings; }
std::span<const Field<MCInfo>> controllerFields() { return controller; }

}  // namespace services::sysinfo
