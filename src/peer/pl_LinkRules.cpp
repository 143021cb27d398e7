// The rules of the partner link: what an answer of the partner means.
#include "peer/pl_LinkRules.h"

#include <cstring>

#include "app/pairing/app_SyncRules.h"
#include "app/pairing/app_UpdateRules.h"

namespace services::peer {

namespace {

using sysinfo::MCInfo;

const char* orEmpty(const char* text) { return text == nullptr ? "" : text; }
bool isSame(const char* one, const char* other) {
  return std::strcmp(orEmpty(one), orEmpty(other)) == 0;
}

// A bundle or CPLD version of one character stands for none.
bool isUnavailable(const char* version) { return std::strlen(orEmpty(version)) == 1; }

bool haveVersions(const MCInfo& controller) {
  return *orEmpty(controller.getMcVersion()) != '\0' &&
         !isUnavailable(controller.getBundleVersion()) &&
         !isUnavailable(controller.getCpldVersion());
}

bool haveSameVersions(const MCInfo& own, const MCInfo& partner) {
  const bool noCpld =
      *orEmpty(partner.getCpldVersion()) == '\0' || *orEmpty(own.getCpldVersion()) == '\0';
  return haveVersions(own) && haveVersions(partner) &&
         isSame(own.getMcVersion(), partner.getMcVersion()) &&
         isSame(own.getBundleVersion(), partner.getBundleVersion()) &&
         (noCpld || isSame(own.getCpldVersion(), partner.getCpldVersion()));
}

app::VersionTexts textsOf(const MCInfo& controller) {
  app::VersionTexts texts;
  const auto copy = [](std::array<char, 32>& text, const char* version) {
    std::strncpy(text.data(), orEmpty(version), text.size() - 1);
  };
  copy(texts.mc, controller.getMcVersion());
  copy(texts.cpld, controller.getCpldVersion());
  copy(texts.bundle, controller.getBundleVersion());
  return texts;
}

// Whether a controller whose release lacks the pairing decisions pushes to the other.
bool givesByVersions(const PeerRecord& giver, const PeerRecord& taker) {
  return !giver.isUpdateDisabled &&
         app::compareVersions(textsOf(giver.controller), textsOf(taker.controller)) ==
             app::Standing::PartnerOlder;
}

bool haveSameSettings(const Own& own, const PeerRecord& partner) {
  return !own.record.digest.empty() && own.record.digest == partner.digest;
}

// Whether one controller gives the other anything, as the update service goes by its actions.
bool gives(const PeerRecord& giver, char letter, const PeerRecord& taker) {
  const app::ActionFacts facts = {.mine = giver.role,
                                  .partner = taker.role,
                                  .letter = letter,
                                  .myTime = giver.controller.getLastLoadedTime(),
                                  .partnerTime = taker.controller.getLastLoadedTime()};
  const bool firmware =
      !giver.isUpdateDisabled && !haveSameVersions(giver.controller, taker.controller);
  const auto decision =
      firmware ? app::decideFirmwareAction(facts) : app::decideConfigAction(facts);
  return decision.action == BurnToActive::Push;
}

// The stall where a release lacks the pairing decisions. One that has them gives nothing to one
// that has not.
const char* stallByVersions(const PeerRecord& own, const PeerRecord& partner, bool sameVersions) {
  if (sameVersions) return "settings differ, and a release without pairing decisions gives none";
  const bool mine = !own.decides && givesByVersions(own, partner);
  const bool its = !partner.decides && givesByVersions(partner, own);
  if (mine != its) return nullptr;
  return mine ? "each gives at once"
              : "versions differ, and nobody gives: a release lacks the pairing decisions";
}

}  // namespace

bool areEqual(const Own& own, const PeerRecord& partner) {
  const bool versions =
      own.record.isUpdateDisabled || haveSameVersions(own.record.controller, partner.controller);
  return versions && haveSameSettings(own, partner);
}

bool hasPaired(const PeerRecord& one, const PeerRecord& other) {
  return BurnToActive::comparePairedSN(other.controller.getControllerSerial(),
                                       one.controller.getLastPairedPartnerSerial());
}

bool areConfirmed(const Own& own, const PeerRecord& partner) {
  return hasPaired(own.record, partner) && hasPaired(partner, own.record);
}

bool isHeld(const Own& own, const PeerRecord& partner) {
  return areEqual(own, partner) && !areConfirmed(own, partner);
}

BurnToActive::SyncRole usableRole(const Own& own, const PeerRecord& partner) {
  const bool forUs =
      isSame(own.record.controller.getControllerSerial(), partner.roleForSerial.c_str()) &&
      own.record.bootId == partner.roleForBoot;
  const bool byOurRole =
      partner.partnerRole == BurnToActive::Undetermined || partner.partnerRole == own.record.role;
  const bool alike = own.record.decides == partner.decides;
  return alike && forUs && byOurRole && !isHeld(own, partner) ? partner.role
                                                              : BurnToActive::Undetermined;
}

ResetFacts factsOf(const Own& own, const PeerRecord& partner) {
  const MCInfo& controller = partner.controller;
  return {.serial = orEmpty(controller.getControllerSerial()),
          .mac = controller.getMacAddress(),
          .bootId = partner.bootId,
          .loadMidplane = orEmpty(controller.getLoadMidplaneSerial()),
          .loadedTime = orEmpty(controller.getLastLoadedTime()),
          .role = usableRole(own, partner),
          .held = isHeld(own, partner),
          .complete = *orEmpty(controller.getMcVersion()) != '\0',
          .alike = own.record.decides == partner.decides};
}

const char* resetReason(const std::optional<ResetFacts>& before, const ResetFacts& now) {
  if (!before) return "a partner is there";
  if (now.serial != before->serial || now.mac != before->mac) return "the partner is another one";
  if (now.bootId != before->bootId) return "the partner started anew";
  if (now.loadMidplane != before->loadMidplane) return "the partner recorded another midplane";
  if (now.loadedTime != before->loadedTime) return "the partner was loaded";
  if (now.held && !before->held) return "both are equal";
  if (now.alike != before->alike) return "one of the releases decides otherwise";
  if (now.complete && !before->complete) return "the partner's version is known";
  const bool determined = now.role != BurnToActive::Undetermined;
  return determined && now.role != before->role ? "the partner's role is known" : nullptr;
}

bool shouldPair(const Own& own, const PeerRecord& partner) {
  return areEqual(own, partner) && !hasPaired(own.record, partner);
}

const char* stallOf(const Own& own, const PeerRecord& partner) {
  const bool known = own.record.role != BurnToActive::Undetermined &&
                     usableRole(own, partner) != BurnToActive::Undetermined;
  const bool versions = haveSameVersions(own.record.controller, partner.controller);
  if (areEqual(own, partner)) return nullptr;
  if (!own.record.decides || !partner.decides)
    return stallByVersions(own.record, partner, versions);
  if (!known) return nullptr;
  const bool mine = gives(own.record, own.letter, partner);
  const bool its = gives(partner, own.letter == 'A' ? 'B' : 'A', own.record);
  if (mine != its) return nullptr;
  if (own.record.isUpdateDisabled != partner.isUpdateDisabled) {
    return mine ? "firmware update is switched off on one of the two: each gives at once"
                : "firmware update is switched off on one of the two: nobody gives";
  }
  if (mine) return "each gives at once";
  if (versions || own.record.isUpdateDisabled) {
    return "settings differ, and both are paired: nobody gives its settings";
  }
  return haveVersions(own.record.controller) && haveVersions(partner.controller)
             ? "versions differ, and neither was loaded later: nobody gives its firmware"
             : "a version is not known: nobody gives its firmware";
}

}  // namespace services::peer
