// Why two controllers stay different, or silent, and what goes on from there.
#include "peer/pl_Stalls.h"

#include <algorithm>

#include "app/pairing/app_SyncRules.h"
#include "peer/pl_LinkRules.h"

namespace services::peer {

namespace {

using sysinfo::MCInfo;

// What the rules look at, gathered once. The partner's record is there but for the first rules.
struct Facts {
  const PartnerView& view;
  const PeerRecord& own = view.own.record;
  const PeerRecord partner = view.partner.value_or(PeerRecord());
  bool givesFirmware = false;  // this controller
  bool givesSettings = false;
  bool takesFirmware = false;
  bool takesSettings = false;
};

bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

std::string settingOf(char letter, const char* key, const std::string& value) {
  return std::string("sysinfo set ") + letter + "." + key + " " + value;
}

std::string ownSetting(const Facts& f, const char* key, const std::string& value) {
  return settingOf(f.view.own.letter, key, value);
}

bool differInVersions(const Facts& f) {
  return !haveSameVersions(f.own.controller, f.partner.controller);
}
bool isFirmwareOnBoth(const Facts& f) {
  return !f.own.isUpdateDisabled && !f.partner.isUpdateDisabled;
}
bool isFirmwareOnEither(const Facts& f) {
  return !f.own.isUpdateDisabled || !f.partner.isUpdateDisabled;
}
bool decideByRoles(const Facts& f) { return f.own.decides && f.partner.decides; }
bool areRolesKnown(const Facts& f) {
  return f.view.isDecided && f.own.role != BurnToActive::Undetermined &&
         usableRole(f.view.own, f.partner) != BurnToActive::Undetermined;
}
bool isCpldMissing(const PeerRecord& here, const PeerRecord& there) {
  return isEmpty(here.controller.getCpldVersion()) && !isEmpty(there.controller.getCpldVersion());
}

bool lacksMidplane(const Facts& f) { return f.own.midplane.empty(); }
bool lacksSerial(const Facts& f) { return isEmpty(f.own.controller.getControllerSerial()); }
bool lacksAddress(const Facts& f) { return f.own.controller.getMacAddress() == 0; }
bool isSilent(const Facts& f) {
  return !f.view.partner && f.view.secondsSince >= f.view.silenceSeconds;
}
bool isUnheard(const Facts& f) { return !f.view.partner; }
bool lacksPartnersMidplane(const Facts& f) { return f.partner.midplane.empty(); }
bool lacksOwnVersion(const Facts& f) {
  return isFirmwareOnEither(f) && lacksVersion(f.own.controller);
}
bool lacksPartnersVersion(const Facts& f) {
  return isFirmwareOnEither(f) && lacksVersion(f.partner.controller);
}
bool lacksOwnCpld(const Facts& f) {
  return isFirmwareOnEither(f) && isCpldMissing(f.own, f.partner);
}
bool lacksPartnersCpld(const Facts& f) {
  return isFirmwareOnEither(f) && isCpldMissing(f.partner, f.own);
}
bool areAlike(const Facts& f) { return areEqual(f.view.own, f.partner); }
bool lacksSettings(const Facts& f) { return f.own.digest.empty() || f.partner.digest.empty(); }
bool isUnstored(const Facts& f) { return !f.view.isStored; }
bool isNotKnownYet(const Facts& f) {
  return !f.view.isDecided || (decideByRoles(f) && !areRolesKnown(f));
}

bool isSwitchedOffOnOne(const Facts& f) {
  const bool isBlocked = (f.givesFirmware && f.own.isUpdateDisabled) ||
                         (f.takesFirmware && f.partner.isUpdateDisabled);
  return decideByRoles(f) && differInVersions(f) && isFirmwareOnEither(f) && !isFirmwareOnBoth(f) &&
         isBlocked;
}
bool giveBoth(const Facts& f) {
  return (f.givesFirmware && f.takesFirmware) || (f.givesSettings && f.takesSettings);
}
bool giveBothByVersions(const Facts& f) { return !decideByRoles(f) && giveBoth(f); }
bool isFirmwareStuck(const Facts& f) {
  return isFirmwareOnEither(f) && differInVersions(f) && !f.givesFirmware && !f.takesFirmware;
}
bool isUndecidedStuck(const Facts& f) { return !decideByRoles(f) && isFirmwareStuck(f); }
bool areSettingsStuck(const Facts& f) {
  return !haveSameSettings(f.view.own, f.partner) && !f.givesSettings && !f.takesSettings &&
         (!isFirmwareOnEither(f) || !differInVersions(f));
}
bool areUndecidedSettingsStuck(const Facts& f) { return !decideByRoles(f) && areSettingsStuck(f); }
bool always(const Facts&) { return true; }

std::string switchOn(const Facts& f) {
  return f.own.isUpdateDisabled ? "sysinfo set PfuDisabled false"
                                : "on the partner's console: sysinfo set PfuDisabled false";
}

// The next number, of any length.
std::string after(std::string digits) {
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    *digit = *digit == '9' ? '0' : static_cast<char>(*digit + 1);
    if (*digit != '0') return digits;
  }
  return "1" + digits;
}

std::string loadLater(const Facts& f) {
  const auto timeOf = [](const MCInfo& controller) -> std::string {
    return isEmpty(controller.getLastLoadedTime()) ? "" : controller.getLastLoadedTime();
  };
  const std::string mine = timeOf(f.own.controller);
  const std::string its = timeOf(f.partner.controller);
  const bool isMineLonger = std::pair(mine.size(), mine) > std::pair(its.size(), its);
  return ownSetting(f, "LastLoadedTime", after(isMineLonger ? mine : its)) +
         " (this controller gives its firmware; on the partner's console, the partner)";
}

// A partner that nobody is, so that the roles give by the letters or by the midplane.
std::string unpair(const Facts& f) {
  return ownSetting(f, "LastPairedPartnerSerial", "none") +
         " (the settings are given again; the master's, else those of A)";
}

std::string nameSerial(const Facts& f) { return ownSetting(f, "ControllerSerial", "SERIAL"); }
std::string nameAddress(const Facts& f) { return ownSetting(f, "MacAddress", "ADDRESS"); }

// What no command can do.
template <const char* const& words>
std::string person(const Facts&) {
  return words;
}
std::string nothing(const Facts&) { return {}; }

constexpr const char* readMidplane = "restore the midplane's serial number and restart this host";
constexpr const char* readPartnersMidplane =
    "restore the midplane's serial number at the partner and restart its host";
constexpr const char* seePartner =
    "see that the partner runs, both cables, and that both hold the midplane's key";
constexpr const char* loadThis = "load this controller's firmware anew, with all its versions";
constexpr const char* loadPartner = "load the partner's firmware anew, with all its versions";
constexpr const char* freeStore = "make room in the configuration directory of both";
constexpr const char* replaceRelease = "load a release that carries the pairing decisions";
constexpr const char* checkSlots = "restart the host of B; if it stays, check both slots' letters";

struct Rule {
  bool (*holds)(const Facts&);
  const char* what;  // null: no stall
  std::string (*remedy)(const Facts&);
};

// The first rule that holds decides. Versions come before roles, as the update service goes.
constexpr Rule rules[] = {
    {lacksSerial, "this controller has no serial number", nameSerial},
    {lacksAddress, "this controller has no MAC address", nameAddress},
    {lacksMidplane, "the midplane's serial number cannot be read", person<readMidplane>},
    {isSilent, "the partner is silent", person<seePartner>},
    {isUnheard, nullptr, nothing},
    {lacksPartnersMidplane, "the partner cannot read the midplane's serial number",
     person<readPartnersMidplane>},
    {lacksOwnCpld, "this controller's CPLD version is missing", person<loadThis>},
    {lacksPartnersCpld, "the partner's CPLD version is missing", person<loadPartner>},
    {lacksOwnVersion, "a version of this controller is not known: nobody gives its firmware",
     person<loadThis>},
    {lacksPartnersVersion, "a version of the partner is not known: nobody gives its firmware",
     person<loadPartner>},
    {areAlike, nullptr, nothing},
    {lacksSettings, "the settings of one cannot be read", person<freeStore>},
    {isUnstored, "what the partner tells cannot be stored", person<freeStore>},
    {isNotKnownYet, nullptr, nothing},
    {isSwitchedOffOnOne, "firmware update is switched off on the one that should give its firmware",
     switchOn},
    {giveBothByVersions, "each takes the other's versions for older: each gives at once",
     person<replaceRelease>},
    {giveBoth, "each gives at once, and neither takes", person<checkSlots>},
    {isUndecidedStuck, "versions differ, and nobody gives: a release lacks the pairing decisions",
     person<replaceRelease>},
    {isFirmwareStuck, "versions differ, and neither was loaded later: nobody gives its firmware",
     loadLater},
    {areUndecidedSettingsStuck,
     "settings differ, and a release without pairing decisions gives none", person<replaceRelease>},
    {areSettingsStuck, "settings differ, and both are paired: nobody gives its settings", unpair},
    {always, nullptr, nothing},
};

app::ActionFacts actionsOf(const PeerRecord& giver, char letter, const PeerRecord& taker) {
  return {.mine = giver.role,
          .partner = taker.role,
          .letter = letter,
          .myTime = giver.controller.getLastLoadedTime(),
          .partnerTime = taker.controller.getLastLoadedTime()};
}

void gatherDecisions(Facts& f) {
  const char other = f.view.own.letter == 'A' ? 'B' : 'A';
  const auto mine = actionsOf(f.own, f.view.own.letter, f.partner);
  const auto its = actionsOf(f.partner, other, f.own);
  f.givesFirmware = app::decideFirmwareAction(mine).action == BurnToActive::Push;
  f.takesFirmware = app::decideFirmwareAction(its).action == BurnToActive::Push;
  f.givesSettings = app::decideConfigAction(mine).action == BurnToActive::Push;
  f.takesSettings = app::decideConfigAction(its).action == BurnToActive::Push;
}

}  // namespace

std::optional<Stall> stallOf(const PartnerView& view) {
  Facts facts{view};
  if (decideByRoles(facts)) {
    gatherDecisions(facts);
  } else {
    facts.givesFirmware = !facts.own.decides && givesByVersions(facts.own, facts.partner);
    facts.takesFirmware = !facts.partner.decides && givesByVersions(facts.partner, facts.own);
  }
  const Rule& rule = *std::ranges::find_if(rules, [&](const Rule& r) { return r.holds(facts); });
  if (rule.what == nullptr) return std::nullopt;
  return Stall{rule.what, rule.remedy(facts)};
}

}  // namespace services::peer
