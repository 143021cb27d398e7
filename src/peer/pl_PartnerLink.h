// The service that makes two controllers know each other.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/pairing/app_PairingStory.h"
#include "host/network/nw_SignedExchange.h"
#include "host/service/fw_Service.h"
#include "peer/pl_Consent.h"
#include "peer/pl_History.h"
#include "peer/pl_LinkRules.h"
#include "peer/pl_PartnerView.h"
#include "peer/pl_Stalls.h"

namespace services::app {
class PartnerFirmwareUpdate;
}

namespace services::peer {

/// Asks the partner for its record every few seconds, and at once when something changes here, and
/// answers the partner's questions. What it learns it hands to the pairing decisions, the update
/// service and the system information, in the order that keeps a decision from being made on
/// stale facts, and to the consent. The rules are in pl_LinkRules.h, pl_Stalls.h and pl_Consent.h.
///
/// The partner is asked where it answered last, else at the address of the host name "othermc",
/// which the path tracker moves, else at those of both paths. The lock guards what is known of the
/// partner and the consent; it is a leaf, held across no decision, write or question. What this
/// controller's daemons and interfaces do is looked up on a second thread, since that waits for the
/// supervision's scan.
class PartnerLink : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance. Without a key the link stays down, with an error
  /// line.
  explicit PartnerLink(const char* name);
  ~PartnerLink() override;

  /// The service, or null while there is none. Any thread may call.
  static PartnerLink* getSingleton() { return m_pSingleton; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Shutdown() override;
  bool serviceEvent(strings::stringtoken event, const void* data) override;
  const framework::ServiceInfo* serviceInfo() const override;
  const strings::stringtoken* eventSubscription() const override;
  void threadDo(int index) override;

  /// What is known now. Takes the system information for reading. Any thread may call this and what
  /// follows.
  PartnerView view() const;

  /// What push programs ask, each on behalf of a client that holds a connection (Consent).
  Answer ask(Consent::Client client, const std::string& kinds);
  Answer check(const std::string& id, const std::string& kinds);
  Answer seal(Consent::Client client, const std::string& id, const std::string& kinds);
  void end(Consent::Client client);

  /// What `view` means in words.
  app::PairingStory story(const PartnerView& view) const;
  std::vector<std::string> history() const { return m_history.lines(); }

 protected:
  /// Asks the partner. Its answer's text, or nothing and `failure` says why in one line.
  virtual std::optional<std::string> exchange(std::string& failure);

  /// What the thread does first, and in each of its cycles; it then waits for so many seconds.
  void forget();
  void cycle();
  int pause() const;
  Consent consent() const;

 private:
  void keepAsking();
  void keepLooking();
  void look();
  static void keepSummary(const PeerRecord& partner);
  ThisController readOwn() const;
  std::optional<PeerRecord> askPartner();
  void act(const PeerRecord& partner, std::int64_t askedAt);
  void pairOrReset(const ThisController& mine, const PeerRecord& partner, bool isNew);
  void pair(const PeerRecord& partner);
  void reset(const PeerRecord& partner, const char* reason);
  void handOver(const PeerRecord& partner, const ResetFacts& facts, std::uint64_t generation);
  bool keepRecord(const PeerRecord& partner);
  void hearConsent(std::int64_t askedAt);
  void noteFailure(const std::string& failure);
  void noteChanges();
  void noteRefusals(const std::vector<std::string>& rules);
  bool note(const char* what, const std::string& state);
  std::string pushText() const;
  std::vector<std::string> explanation(const PartnerView& view, const std::string& push) const;
  template <typename Question>
  Answer answerOf(Question question);

  static std::atomic<PartnerLink*> m_pSingleton;

  const std::string m_bootId;
  int m_pollSeconds = 5;
  int m_silenceSeconds = 150;
  bool m_consents = false;
  std::optional<network::ExchangeSettings> m_settings;
  History m_history;
  std::atomic<bool> m_isStored = true;  // what the partner told last
  // The thread's own.
  std::map<std::string, std::string> m_noted;  // the last state of each thing in the history
  std::string m_lastAddress;                   // where the partner answered last
  utility::Waiter m_lookWaiter;                // what the thread that looks around sleeps on
  // What the lock guards.
  mutable std::mutex m_mutex;
  std::optional<ResetFacts> m_facts;    // of the last reset; none while one is under way
  std::uint64_t m_generation = 0;       // of the decisions, after it
  std::optional<PeerRecord> m_partner;  // its last answer; none while it is silent
  std::int64_t m_lastAnswer;            // the host's time; of the start while there was none
  std::string m_failure;
  Consent m_consent;
  std::string m_lastRefusal;
  std::optional<app::PartnerSummary> m_summary;  // of this controller; none before the first look
  std::unique_ptr<network::SignedListener> m_listener;  // no lock: built first, ended last
};

}  // namespace services::peer
