// Two controllers agree on a push before it begins.
#include "peer/pl_Consent.h"

#include "app/pairing/app_SyncRules.h"
#include "peer/pl_LinkRules.h"

namespace services::peer {

namespace {

using Kind = Answer::Kind;

constexpr std::int64_t ticketLife = 60'000'000;
constexpr std::int64_t retryPause = 60'000'000;
constexpr const char* yes = "yes";
constexpr const char* isFree = "free";

Answer refusal(const char* rule) { return {Kind::No, rule}; }

bool isFor(const Ask& ask, const PeerRecord& own) {
  const char* serial = own.controller.getControllerSerial();
  return serial != nullptr && ask.toSerial == serial && ask.toBoot == own.bootId;
}

// Without the decisions the older version takes, where the partner does not find its own older too.
Answer wouldTakeByVersions(const PeerRecord& own, const PeerRecord& partner, const Ask& ask) {
  if (ask.gives("settings") || partner.decides) return refusal("the_releases_decide_otherwise");
  if (!givesByVersions(partner, own)) return refusal("its_version_is_not_the_newer_one");
  const bool mine = !own.decides && givesByVersions(own, partner);
  return mine ? refusal("each_takes_the_version_of_the_other_for_older") : Answer{Kind::Yes};
}

// The action for a kind: the one that was decided, else the one that the same facts give.
BurnToActive::SyncAction actionFor(const PartnerView& view, bool firmware) {
  const auto kept = firmware ? view.decisions.pfuSyncAction : view.decisions.configSyncAction;
  if (kept != BurnToActive::None) return kept;
  const auto& time = view.decisions.partnerCodeloadTimestamp;
  const app::ActionFacts facts = {.mine = view.own.record.role,
                                  .partner = view.decisions.partnerSyncRole,
                                  .letter = view.own.letter,
                                  .myTime = view.own.record.controller.getLastLoadedTime(),
                                  .partnerTime = time ? time->c_str() : nullptr};
  return (firmware ? app::decideFirmwareAction(facts) : app::decideConfigAction(facts)).action;
}

bool isCpldMissing(const PeerRecord& giver, const PeerRecord& taker) {
  const auto isEmpty = [](const char* text) { return text == nullptr || *text == '\0'; };
  return isEmpty(giver.controller.getCpldVersion()) && !isEmpty(taker.controller.getCpldVersion());
}

// Whether the push programs of both ask for consent.
bool isGuarded(const PartnerView& view) {
  return view.own.record.consents && view.partner->consents;
}

// Whether both go by the same two roles.
bool agree(const PartnerView& view) {
  const PeerRecord& own = view.own.record;
  const auto its = usableRole(view.own, *view.partner);
  return view.isDecided && own.role != BurnToActive::Undetermined &&
         its != BurnToActive::Undetermined && its == view.decisions.partnerSyncRole &&
         view.partner->partnerRole == own.role;
}

}  // namespace

Answer wouldTake(const PartnerView& view, const Ask& ask) {
  const PeerRecord& own = view.own.record;
  if (!view.partner) return refusal("the_partner_is_silent");
  const PeerRecord& partner = *view.partner;
  if (!isFor(ask, own)) return refusal("it_is_meant_for_another_controller_or_boot");
  if (ask.kinds.empty()) return refusal("it_gives_nothing");
  if (!own.decides || !partner.decides) return wouldTakeByVersions(own, partner, ask);
  if (areEqual(view.own, partner)) return refusal("nothing_is_left_to_give");
  if (!agree(view)) return {Kind::NotYet, "the_roles_are_not_settled_yet"};
  if (ask.gives("firmware")) {
    if (isCpldMissing(partner, own)) return refusal("the_CPLD_version_of_the_giver_is_missing");
    if (actionFor(view, true) != BurnToActive::Receive)
      return refusal("firmware_is_not_taken_here");
  }
  if (ask.gives("settings")) {
    const auto action = actionFor(view, false);
    if (action != BurnToActive::Receive && action != BurnToActive::Merge) {
      return refusal("settings_are_not_taken_here");
    }
  }
  return {Kind::Yes};
}

Answer Consent::no(const std::string& rule) {
  m_refusals.push_back(rule);
  return {Kind::No, rule};
}

// An own ask that does not stand any more.
void Consent::close(const std::string& rule) {
  m_ask->word = rule;
  m_refusals.push_back(rule);
}

Answer Consent::ask(Client client, const std::string& kinds, const PartnerView& view,
                    std::int64_t now) {
  if (m_ask && m_ask->client == client && m_ask->ask.kinds == kinds) {
    if (m_ask->word.empty()) return {Kind::NotYet, "the_partner_has_not_answered_yet"};
    return m_ask->word == yes ? Answer{Kind::Yes, m_ask->ask.id} : Answer{Kind::No, m_ask->word};
  }
  if (isOpen()) return no("another_push_is_under_way_here");
  if (!view.partner) return no("the_partner_is_silent");
  if (isTrue(now)) {
    m_waitsForEnd = true;
    return no("a_push_of_the_partner_was_granted_here");
  }
  const PeerRecord& partner = *view.partner;
  if (!isGuarded(view)) return {Kind::Unguarded, "-"};
  const Ask wanted = {.id = m_bootId + "-" + std::to_string(++m_count),
                      .kinds = kinds,
                      .toSerial = partner.controller.getControllerSerial(),
                      .toBoot = partner.bootId};
  m_ask = {wanted, client, {}};
  return {Kind::NotYet, "the_partner_has_not_answered_yet"};
}

Answer Consent::check(const std::string& id, const std::string& kinds, const PartnerView& view,
                      std::int64_t now) {
  if (!view.partner) return no("the_partner_is_silent");
  if (!isGuarded(view) && !m_ticket) {  // no tickets, but one push at a time
    return isOpen() ? no("a_push_is_under_way_here") : Answer{Kind::Unguarded, "-"};
  }
  if (!isTrue(now) || m_ticket->ask.id != id) return no("there_is_no_such_ticket");
  if (m_ticket->ask.kinds != kinds) return no("the_ticket_is_for_other_kinds");
  return {Kind::Yes, id};
}

Answer Consent::seal(Client client, const std::string& id, const std::string& kinds,
                     const PartnerView& view, std::int64_t now) {
  Answer answer = check(id, kinds, view, now);
  if (answer.kind == Kind::No) return answer;
  if (answer.kind == Kind::Unguarded) {
    m_ticket = Ticket{.ask = {.id = id, .kinds = kinds}, .giver = {}, .renewedAt = now};
    m_ticket->sealer = client;
    return answer;
  }
  if (m_ticket->sealer == client) return answer;
  if (m_ticket->sealer != nullptr) return no("it_is_being_put_in_force");
  if (m_ticket->wanter != client) m_ticket->wantedAt = now;
  m_ticket->wanter = client;
  return {Kind::NotYet, "the_giver_is_heard_again"};
}

void Consent::end(Client client, std::int64_t now) {
  if (m_ask && m_ask->client == client) {
    if (isOpen()) m_left = Left{m_ask->ask, now};
    m_ask.reset();
  }
  if (m_ticket && m_ticket->wanter == client) m_ticket->wanter = nullptr;
  if (m_ticket && m_ticket->sealer == client) m_ticket.reset();
}

bool Consent::hear(const PartnerView& view, std::int64_t askedAt, std::int64_t now) {
  const bool isAnswered = hearVerdict(*view.partner);
  const bool wasTrue = isTrue(now);
  if (!isSealed()) hearAsk(view, askedAt, now);
  const bool hasEnded = m_waitsForEnd && !wasTrue && !isTrue(now);
  if (hasEnded) m_waitsForEnd = false;
  return hasFailed(*view.partner, askedAt, now) || isAnswered || hasEnded;
}

// True when a push has ended without effect and is to be tried again.
bool Consent::hasFailed(const PeerRecord& partner, std::int64_t askedAt, std::int64_t now) {
  if (!m_left || askedAt < m_left->at) return false;
  const bool stillRuns = partner.bootId == m_left->ask.toBoot;
  m_left.reset();
  if (!stillRuns || (m_triedAgain && now - *m_triedAgain < retryPause)) return false;
  m_triedAgain = now;
  return true;
}

// True when what was refused would be granted now.
bool Consent::hearVerdict(const PeerRecord& partner) {
  if (isOpen()) {
    const char* serial = partner.controller.getControllerSerial();
    if (partner.bootId != m_ask->ask.toBoot || m_ask->ask.toSerial != serial) {
      close("the_partner_is_another_one_now");
    } else if (partner.verdictFor == m_ask->ask.id && partner.verdict != isFree) {
      if (partner.verdict == yes) {
        m_ask->word = yes;
      } else {
        m_refusedId = m_ask->ask.id;
        close(partner.verdict);
      }
    } else if (m_ask->word == yes) {
      close("the_ticket_is_no_longer_true");
    }
  }
  const bool isFreed =
      !m_refusedId.empty() && partner.verdictFor == m_refusedId && partner.verdict == isFree;
  if (isFreed) m_refusedId.clear();
  return isFreed;
}

void Consent::hearAsk(const PartnerView& view, std::int64_t askedAt, std::int64_t now) {
  const PeerRecord& partner = *view.partner;
  const bool isSame =
      m_ticket && m_ticket->ask.id == partner.ask.id && m_ticket->giver == partner.bootId;
  if (m_ticket && (!isSame || !isTrue(now))) m_ticket.reset();
  if (partner.ask.id.empty()) return considerAgain(view);
  const Answer answer = consider(view, partner.ask);
  if (answer.kind == Kind::Yes) grant(view, askedAt, now);
  if (answer.kind == Kind::No) refuse(partner.ask, answer.words);
}

// Two that ask at once: A's stands, and B's own is refused here.
Answer Consent::consider(const PartnerView& view, const Ask& ask) {
  if (isOpen() && (view.own.letter == 'A' || m_ask->word == yes)) {
    return refusal("a_push_is_under_way_here");
  }
  Answer answer = wouldTake(view, ask);
  if (isOpen() && answer.kind == Kind::Yes) {
    close("both_asked_and_A_goes_first");
    m_waitsForEnd = true;
  }
  return answer;
}

void Consent::grant(const PartnerView& view, std::int64_t askedAt, std::int64_t now) {
  const Ask& ask = view.partner->ask;
  if (!m_ticket) m_ticket = Ticket{.ask = ask, .giver = view.partner->bootId, .renewedAt = now};
  m_ticket->renewedAt = now;
  if (m_ticket->wanter != nullptr && askedAt >= m_ticket->wantedAt) {
    m_ticket->sealer = m_ticket->wanter;
  }
  m_refused.reset();
  m_verdictFor = ask.id;
  m_verdict = yes;
}

void Consent::refuse(const Ask& ask, const std::string& rule) {
  m_ticket.reset();
  m_refused = ask;
  if (m_verdictFor != ask.id || m_verdict != rule) m_refusals.push_back(rule);
  m_verdictFor = ask.id;
  m_verdict = rule;
}

void Consent::considerAgain(const PartnerView& view) {
  if (!m_refused || isOpen() || wouldTake(view, *m_refused).kind != Kind::Yes) return;
  m_verdictFor = m_refused->id;
  m_verdict = isFree;
  m_refused.reset();
}

void Consent::forget() {
  if (isOpen()) close("the_partner_is_silent");
}

void Consent::tell(PeerRecord& record) const {
  if (isOpen()) record.ask = m_ask->ask;
  record.verdictFor = m_verdictFor;
  record.verdict = m_verdict;
}

bool Consent::isTrue(std::int64_t now) const {
  return isSealed() || (m_ticket && now - m_ticket->renewedAt <= ticketLife);
}

bool Consent::isWaiting() const {
  return (isOpen() && m_ask->word.empty()) || (m_ticket && m_ticket->wanter != nullptr);
}

std::string Consent::state(std::int64_t now) const {
  if (isSealed()) return "a push of the partner is being put in force";
  if (isTrue(now)) return "granted the partner a push: " + m_ticket->ask.kinds;
  if (!isOpen()) return {};
  return (m_ask->word.empty() ? "asks for a push: " : "may push: ") + m_ask->ask.kinds;
}

}  // namespace services::peer
