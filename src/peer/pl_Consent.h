// Two controllers agree on a push before it begins.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "peer/pl_PartnerView.h"

namespace services::peer {

/// What is answered to an ask, a check or a seal. A rule is its words, "_" for blanks.
struct Answer {
  enum class Kind { NotYet, Yes, Unguarded, No };
  Kind kind;
  std::string words =
      {};  ///< the ask's id for a yes, the rule for a no, what is missing for a wait

  bool isYes() const { return kind == Kind::Yes || kind == Kind::Unguarded; }
};

/// Whether this controller takes the push that its partner asks for, exclusion apart. Of the words
/// of a no each is a rule.
Answer wouldTake(const PartnerView& view, const Ask& ask);

/// The asks and tickets of one controller.
///
/// A controller that wants to push asks: the ask stands in the record that it tells, signed over
/// the receiver's nonce like all of it. The receiver's verdict comes back the same way. A yes is a
/// ticket: it stands while each answer of the giver repeats the ask from the same boot and the
/// receiver would still grant it, at most 60 seconds after the last. Before anything is put in
/// force the receiver seals the ticket, on an answer to a question asked after the seal was wanted;
/// from then until done or the client's end it neither asks nor grants.
///
/// Who holds an ask grants none, and who has granted asks for none; where both ask at once A's
/// stands. So no two tickets are ever true at once. A refused ask is looked at again each time:
/// once it would be granted the verdict becomes "free", and the giver tries again. It also does,
/// once a minute at most, where its client has gone and the receiver still runs: what is put in
/// force there restarts it.
///
/// A value without a lock. Times are the host's, in microseconds. A client is whoever holds the
/// console's connection; what it holds ends with it.
class Consent {
 public:
  using Client = const void*;

  explicit Consent(std::string bootId) : m_bootId(std::move(bootId)) {}

  // The giver.

  /// Asks for a push of these kinds; the same client's same ask gets the answer that came
  /// meanwhile.
  Answer ask(Client client, const std::string& kinds, const PartnerView& view, std::int64_t now);

  // The receiver.

  /// Whether the ticket of this id is true and holds these kinds.
  Answer check(const std::string& id, const std::string& kinds, const PartnerView& view,
               std::int64_t now);
  /// The same, and seals it; NotYet until the giver was heard again.
  Answer seal(Client client, const std::string& id, const std::string& kinds,
              const PartnerView& view, std::int64_t now);

  /// The push is over, or its client is gone.
  void end(Client client, std::int64_t now);

  // The link.

  /// Takes the partner's answer to a question that was asked at `askedAt`. True when the update
  /// service should try again what was refused.
  bool hear(const PartnerView& view, std::int64_t askedAt, std::int64_t now);
  /// The partner is silent: no ask of this controller stands.
  void forget();
  /// Writes the ask and the verdict into the record that is told.
  void tell(PeerRecord& record) const;

  /// Whether the partner is to be asked soon.
  bool isWaiting() const;
  bool isSealed() const { return m_ticket && m_ticket->sealer != nullptr; }
  /// Whether this controller's ask was granted, and whether it has granted: for the tests' sake and
  /// the console's.
  bool holdsTicket() const { return m_ask && m_ask->word == "yes"; }
  std::string granted(std::int64_t now) const { return isTrue(now) ? m_ticket->ask.id : ""; }
  /// In words, what stands now.
  std::string state(std::int64_t now) const;
  /// The rules of the refusals, of either side, since the last call.
  std::vector<std::string> takeRefusals() { return std::exchange(m_refusals, {}); }

 private:
  struct OwnAsk {
    Ask ask;
    Client client;
    std::string word;  // of the partner: empty while it has said nothing, "yes", or a rule
  };
  struct Left {
    Ask ask;
    std::int64_t at;
  };
  struct Ticket {
    Ask ask;
    std::string giver;  // its boot
    std::int64_t renewedAt;
    std::int64_t wantedAt = 0;  // when the seal was, 0 for not yet
    Client wanter = nullptr;
    Client sealer = nullptr;
  };

  Answer no(const std::string& rule);
  void close(const std::string& rule);
  bool isOpen() const { return m_ask && (m_ask->word.empty() || m_ask->word == "yes"); }
  bool isTrue(std::int64_t now) const;
  bool hearVerdict(const PeerRecord& partner);
  bool hasFailed(const PeerRecord& partner, std::int64_t askedAt, std::int64_t now);
  void hearAsk(const PartnerView& view, std::int64_t askedAt, std::int64_t now);
  void considerAgain(const PartnerView& view);
  Answer consider(const PartnerView& view, const Ask& ask);
  void refuse(const Ask& ask, const std::string& rule);
  void grant(const PartnerView& view, std::int64_t askedAt, std::int64_t now);

  std::string m_bootId;
  unsigned int m_count = 0;
  std::optional<OwnAsk> m_ask;
  std::string m_refusedId;                   // the last own ask that was refused
  bool m_waitsForEnd = false;                // one was refused here since a ticket was out
  std::optional<Left> m_left;                // what a client asked for that is gone
  std::optional<std::int64_t> m_triedAgain;  // when it was, for such a one
  std::optional<Ticket> m_ticket;            // granted
  std::optional<Ask> m_refused;              // the partner's ask that was refused last
  std::string m_verdictFor;
  std::string m_verdict;
  std::vector<std::string> m_refusals;
};

}  // namespace services::peer
