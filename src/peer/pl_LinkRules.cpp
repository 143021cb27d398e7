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

bool isEmpty(const char* text) { return *orEmpty(text) == '\0'; }

// A bundle or CPLD version of one character stands for none.
bool isUnavailable(const char* version) { return std::strlen(orEmpty(version)) == 1; }

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

bool isSlave(BurnToActive::SyncRole role) {
  return role == BurnToActive::SlaveUnpaired || role == BurnToActive::SlavePaired;
}

// The partner's role, where it was worked out for this controller in its present boot.
BurnToActive::SyncRole roleForUs(const ThisController& own, const PeerRecord& partner) {
  const bool forUs =
      isSame(own.record.controller.getControllerSerial(), partner.roleForSerial.c_str()) &&
      own.record.bootId == partner.roleForBoot;
  return forUs ? partner.role : BurnToActive::Undetermined;
}

}  // namespace

bool lacksVersion(const MCInfo& controller) {
  return isEmpty(controller.getMcVersion()) || isUnavailable(controller.getBundleVersion()) ||
         isUnavailable(controller.getCpldVersion());
}

bool haveSameVersions(const MCInfo& own, const MCInfo& partner) {
  const bool isExcused = isEmpty(partner.getCpldVersion());
  return !lacksVersion(own) && !lacksVersion(partner) &&
         isSame(own.getMcVersion(), partner.getMcVersion()) &&
         isSame(own.getBundleVersion(), partner.getBundleVersion()) &&
         (isExcused || isSame(own.getCpldVersion(), partner.getCpldVersion()));
}

bool haveSameSettings(const ThisController& own, const PeerRecord& partner) {
  return !own.record.digest.empty() && own.record.digest == partner.digest;
}

// A controller tells what its update service finds; of one of an earlier release it is worked out.
bool givesByVersions(const PeerRecord& giver, const PeerRecord& taker) {
  if (!giver.isOfOldLink()) return giver.givesByVersions;
  return !giver.isUpdateDisabled &&
         app::compareVersions(textsOf(giver.controller), textsOf(taker.controller)) ==
             app::Comparison::PartnerOlder;
}

bool areEqual(const ThisController& own, const PeerRecord& partner) {
  const bool versions =
      own.record.isUpdateDisabled || haveSameVersions(own.record.controller, partner.controller);
  return versions && haveSameSettings(own, partner);
}

bool hasPaired(const PeerRecord& one, const PeerRecord& other) {
  return BurnToActive::comparePairedSN(other.controller.getControllerSerial(),
                                       one.controller.getLastPairedPartnerSerial());
}

bool areConfirmed(const ThisController& own, const PeerRecord& partner) {
  return hasPaired(own.record, partner) && hasPaired(partner, own.record);
}

bool isHeld(const ThisController& own, const PeerRecord& partner) {
  return areEqual(own, partner) && !areConfirmed(own, partner);
}

BurnToActive::SyncRole usableRole(const ThisController& own, const PeerRecord& partner) {
  const bool byOurRole =
      partner.partnerRole == BurnToActive::Undetermined || partner.partnerRole == own.record.role;
  const bool alike = own.record.decides == partner.decides;
  return alike && byOurRole && !isHeld(own, partner) ? roleForUs(own, partner)
                                                     : BurnToActive::Undetermined;
}

bool mustTakeFirst(const ThisController& own, const PeerRecord& partner) {
  const app::ActionFacts facts = {.mine = own.record.role,
                                  .partner = usableRole(own, partner),
                                  .letter = own.letter,
                                  .myTime = nullptr,
                                  .partnerTime = nullptr};
  return own.record.decides && !own.record.isUpdateDisabled && isSlave(own.record.role) &&
         haveSameVersions(own.record.controller, partner.controller) &&
         !haveSameSettings(own, partner) &&
         app::decideConfigAction(facts).action == BurnToActive::Receive;
}

ResetFacts factsOf(const ThisController& own, const PeerRecord& partner) {
  const MCInfo& mine = own.record.controller;
  const MCInfo& controller = partner.controller;
  return {.ownMidplane = own.record.midplane,
          .ownLoadMidplane = orEmpty(mine.getLoadMidplaneSerial()),
          .ownLoadedTime = orEmpty(mine.getLastLoadedTime()),
          .ownLastPartner = orEmpty(mine.getLastPairedPartnerSerial()),
          .serial = orEmpty(controller.getControllerSerial()),
          .mac = controller.getMacAddress(),
          .bootId = partner.bootId,
          .loadMidplane = orEmpty(controller.getLoadMidplaneSerial()),
          .loadedTime = orEmpty(controller.getLastLoadedTime()),
          .role = usableRole(own, partner),
          .told = roleForUs(own, partner),
          .held = isHeld(own, partner),
          .complete = *orEmpty(controller.getMcVersion()) != '\0',
          .alike = own.record.decides == partner.decides,
          .mustTakeFirst = mustTakeFirst(own, partner)};
}

const char* resetReason(const std::optional<ResetFacts>& before, const ResetFacts& now) {
  if (!before) return "a partner is there";
  if (now.serial != before->serial || now.mac != before->mac) return "the partner is another one";
  if (now.bootId != before->bootId) return "the partner started anew";
  if (now.loadMidplane != before->loadMidplane) return "the partner recorded another midplane";
  if (now.loadedTime != before->loadedTime) return "the partner was loaded";
  if (now.ownMidplane != before->ownMidplane) return "the midplane is another one";
  if (now.ownLoadMidplane != before->ownLoadMidplane) return "another midplane was recorded here";
  if (now.ownLoadedTime != before->ownLoadedTime) return "this controller was loaded";
  if (now.ownLastPartner != before->ownLastPartner) return "another partner was recorded here";
  if (now.held && !before->held) return "both are equal";
  if (now.alike != before->alike) return "one of the releases decides otherwise";
  if (now.complete && !before->complete) return "the partner's version is known";
  if (!now.mustTakeFirst && before->mustTakeFirst) return "the partner gives no settings first";
  constexpr auto unknown = BurnToActive::Undetermined;
  if (now.role != unknown && now.role != before->role) return "the partner's role is known";
  // Two that decide by each other's old roles would each wait for the other for ever.
  const bool isOutdated = before->role != unknown && now.told != unknown;
  return isOutdated && now.told != before->role ? "the partner's role is another one" : nullptr;
}

std::string stateText(const PartnerView& view) {
  if (!view.partner) {
    return "the partner is silent: " + (view.failure.empty() ? "not yet asked" : view.failure);
  }
  std::string text = areEqual(view.own, *view.partner) ? "equal" : "different";
  if (isHeld(view.own, *view.partner)) text += "; not yet paired on both sides";
  if (!view.failure.empty()) text += "; not heard: " + view.failure;
  return text;
}

bool shouldPair(const ThisController& own, const PeerRecord& partner) {
  return areEqual(own, partner) && !hasPaired(own.record, partner);
}

}  // namespace services::peer
