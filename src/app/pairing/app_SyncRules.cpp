// The rules of pairing: serial numbers give roles, roles give actions.
#include "app/pairing/app_SyncRules.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

namespace services::app {

namespace {

using enum BurnToActive::SyncRole;
using enum BurnToActive::SyncAction;
using Facts = ActionFacts;

enum MidplaneCase { Matches, Unrecognised, NoneRecorded };
enum PartnerCase { Paired, NotMatching, NoLastPartner };

// By the midplane's case, then the partner's.
constexpr RoleDecision roles[3][3] = {
    {{MasterPaired, "Midplane matches, and paired with partner."},
     {MasterUnpaired, "Midplane matches, and unpaired with partner."},
     {MasterUnpaired, "Midplane matches, No lastPartnerSN"}},
    {{SlavePaired, "Midplane unrecognized, and paired with partner."},
     {SlaveUnpaired, "Midplane unrecognized, and unpaired with partner."},
     {SlaveUnpaired, "Midplane unrecognized, no partner configuration"}},
    {{SlavePaired, "No lastMidplaneSN, and paired with partner."},
     {SlaveUnpaired, "No lastMidplaneSN, and unpaired with partner."},
     {SlaveUnpaired, "No previous configuration"}},
};

MidplaneCase midplaneCase(const RoleFacts& facts) {
  if (facts.lastMidplane == nullptr) return NoneRecorded;
  return std::strcmp(facts.midplane, facts.lastMidplane) == 0 ? Matches : Unrecognised;
}

PartnerCase partnerCase(const RoleFacts& facts) {
  if (facts.lastPartner == nullptr) return NoLastPartner;
  return BurnToActive::comparePairedSN(facts.partner, facts.lastPartner) ? Paired : NotMatching;
}

bool isMaster(BurnToActive::SyncRole role) {
  return role == MasterPaired || role == MasterUnpaired;
}
bool isPaired(BurnToActive::SyncRole role) { return role == MasterPaired || role == SlavePaired; }

// A text of more digits is a later time, leading zeros apart.
bool isLater(const char* time, const char* other) {
  const std::size_t length = std::strlen(time);
  const std::size_t otherLength = std::strlen(other);
  return length > otherLength || (length == otherLength && std::strcmp(time, other) > 0);
}

bool areBothPaired(const Facts& f) { return isPaired(f.mine) && isPaired(f.partner); }
bool isOverSlave(const Facts& f) { return isMaster(f.mine) && !isMaster(f.partner); }
bool isUnderMaster(const Facts& f) { return !isMaster(f.mine) && isMaster(f.partner); }
bool areBothMaster(const Facts& f) { return isMaster(f.mine) && isMaster(f.partner); }
bool lackBothTimes(const Facts& f) {
  return areBothMaster(f) && f.myTime == nullptr && f.partnerTime == nullptr;
}
bool lackMyTime(const Facts& f) { return areBothMaster(f) && f.myTime == nullptr; }
bool lackPartnerTime(const Facts& f) { return areBothMaster(f) && f.partnerTime == nullptr; }
bool isNewer(const Facts& f) { return areBothMaster(f) && isLater(f.myTime, f.partnerTime); }
bool isA(const Facts& f) { return f.letter == 'A'; }
bool always(const Facts&) { return true; }

struct Rule {
  bool (*holds)(const Facts&);
  BurnToActive::SyncAction action;
  const char* words;
  bool showsTimes = false;
  bool isDoubtful = false;
};

// In each table the first rule that holds decides.
constexpr Rule configRules[] = {
    {areBothPaired, Merge, "Both controllers are paired, MERGE"},
    {isOverSlave, Push, "local is master, partner is slave, one of them is unpaired. PUSH"},
    {isUnderMaster, Receive, "local is slave, partner is master, one of them is unpaired. RECEIVE"},
    {isA, Push, "This controller is A. PUSH"},
    {always, Receive, "This controller is B. RECEIVE"},
};

constexpr Rule firmwareRules[] = {
    {isOverSlave, Push, "local is master, partner is slave. PUSH"},
    {isUnderMaster, Receive, "local is slave, partner is master. RECEIVE"},
    {.holds = lackBothTimes,
     .action = Receive,
     .words = "Local and partner codeload timestamp invalid!  RECEIVE",
     .isDoubtful = true},
    {lackMyTime, Receive, "Local codeload timestamp invalid.  RECEIVE"},
    {lackPartnerTime, Push, "Partner codeload timestamp invalid.  PUSH"},
    {isNewer, Push, "PUSH", true},
    {areBothMaster, Receive, "RECEIVE", true},
    {isA, Push, "This controller is A. PUSH"},
    {always, Receive, "This controller is B. RECEIVE"},
};

std::string wordsOf(const Rule& rule, const Facts& facts) {
  if (!rule.showsTimes) return rule.words;
  return std::string("both are master, LocalCodeload: ") + facts.myTime +
         ", OtherCodeload: " + facts.partnerTime + ".  " + rule.words;
}

ActionDecision decide(std::span<const Rule> rules, const Facts& facts) {
  if (const char* missing = missingRole(facts.mine, facts.partner)) return {None, missing};
  const Rule& rule = *std::ranges::find_if(rules, [&](const Rule& r) { return r.holds(facts); });
  return {rule.action, wordsOf(rule, facts), rule.isDoubtful};
}

}  // namespace

RoleDecision decideRole(const RoleFacts& facts) {
  if (facts.partner == nullptr || facts.midplane == nullptr) {
    return {Undetermined, "Not enough information to determine local sync role"};
  }
  return roles[midplaneCase(facts)][partnerCase(facts)];
}

const char* missingRole(BurnToActive::SyncRole mine, BurnToActive::SyncRole partner) {
  if (partner == Undetermined) {
    return "Not enough information to determine system sync action: missing partner sync role!";
  }
  if (mine == Undetermined) {
    return "Not enough information to determine system sync action: missing local sync role!";
  }
  return nullptr;
}

bool dependsOnLoadTimes(BurnToActive::SyncRole mine, BurnToActive::SyncRole partner) {
  return isMaster(mine) && isMaster(partner);
}

ActionDecision decideConfigAction(const ActionFacts& facts) { return decide(configRules, facts); }

ActionDecision decideFirmwareAction(const ActionFacts& facts) {
  return decide(firmwareRules, facts);
}

}  // namespace services::app
