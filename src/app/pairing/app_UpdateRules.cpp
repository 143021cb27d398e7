// The rules of the partner firmware update: how versions stand, and what a cycle does.
#include "app/pairing/app_UpdateRules.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace services::app {

namespace {

using Facts = UpdateFacts;
using enum Comparison;

constexpr const char* pushConfig = "/usr/bin/dopfunu pushcfg >>/mnt/ramdisk/pfu.progress &";
constexpr const char* pushBoth = "/usr/bin/dopfunu pushmc pushcfg >>/mnt/ramdisk/pfu.progress &";
constexpr const char* pushFirmware = "/usr/bin/dopfunu pushmc >>/mnt/ramdisk/pfu.progress &";
constexpr const char* pushToOlder = "/usr/bin/dopfu &";

bool givesConfig(const Facts& f) { return f.hasDecisions && f.config == BurnToActive::Push; }
bool givesFirmware(const Facts& f) { return f.hasDecisions && f.firmware == BurnToActive::Push; }
bool givesBoth(const Facts& f) { return givesFirmware(f) && givesConfig(f); }
bool isOff(const Facts& f) { return f.comparison == NotCompared; }
bool isOffAndGivesConfig(const Facts& f) { return isOff(f) && givesConfig(f); }
bool areUnavailable(const Facts& f) { return f.comparison == Unavailable; }
bool areEqual(const Facts& f) { return f.comparison == Equal; }
bool areEqualAndGivesConfig(const Facts& f) { return areEqual(f) && givesConfig(f); }
bool partnerIsOlder(const Facts& f) { return !f.hasDecisions && f.comparison == PartnerOlder; }
bool always(const Facts&) { return true; }

struct Rule {
  bool (*holds)(const Facts&);
  UpdateStep step;
};

// The first rule that holds decides.
constexpr Rule rules[] = {
    {isOffAndGivesConfig, {"PFU: PFU disabled, need push config", pushConfig, NextWait::Slow}},
    {isOff, {nullptr, nullptr, NextWait::Unchanged}},
    {areUnavailable, {nullptr, nullptr, NextWait::Slow}},
    {areEqualAndGivesConfig,
     {"PFU: Versions match, but need to push config.", pushConfig, NextWait::Slow}},
    {areEqual, {nullptr, nullptr, NextWait::Configured}},
    {givesBoth, {"PFU: Push firmware and config", pushBoth, NextWait::Slow}},
    {givesFirmware, {"PFU: Push firmware image only", pushFirmware, NextWait::Slow}},
    {partnerIsOlder,
     {"PFU: Partner is older than local, push firmware image.", pushToOlder, NextWait::Slow}},
    {always, {nullptr, nullptr, NextWait::Slow}},
};

bool isOneCharacter(const std::array<char, 32>& text) { return std::strlen(text.data()) == 1; }

bool isUnavailable(const VersionTexts& versions) {
  return versions.mc[0] == '\0' || isOneCharacter(versions.bundle) || isOneCharacter(versions.cpld);
}

}  // namespace

Comparison compareVersions(const VersionTexts& local, const VersionTexts& partner) {
  if (isUnavailable(local) || isUnavailable(partner)) return Unavailable;
  const int comparisons[] = {std::strcmp(local.mc.data(), partner.mc.data()),
                             std::strcmp(local.cpld.data(), partner.cpld.data()),
                             std::strcmp(local.bundle.data(), partner.bundle.data())};
  if (std::ranges::all_of(comparisons, [](int c) { return c == 0; })) return Equal;
  return std::ranges::any_of(comparisons, [](int c) { return c > 0; }) ? PartnerOlder : Different;
}

const UpdateStep& decideUpdate(const UpdateFacts& facts) {
  return std::ranges::find_if(rules, [&](const Rule& rule) { return rule.holds(facts); })->step;
}

}  // namespace services::app
