// The service that makes two controllers know each other.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/network/nw_SignedExchange.h"
#include "host/service/fw_Service.h"
#include "peer/pl_LinkRules.h"

namespace services::app {
class PartnerFirmwareUpdate;
}

namespace services::peer {

/// Asks the partner for its record every few seconds, and at once when something changes here, and
/// answers the partner's questions. What it learns it hands to the pairing decisions, the update
/// service and the system information, in the order that keeps a decision from being made on
/// stale facts. The rules are in pl_LinkRules.h.
///
/// The partner is asked at the address of the host name "othermc", so the link follows the path
/// tracker. The lock guards what is known of the partner and is held while that changes; no access
/// to the system information is held across a call.
class PartnerLink : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance. Without a key the link stays down, with an error
  /// line.
  explicit PartnerLink(const char* name);
  ~PartnerLink() override;

  /// The service, or null while there is none.
  static PartnerLink* getSingleton() { return m_pSingleton; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Shutdown() override;
  bool serviceEvent(strings::stringtoken event, const void* data) override;
  const framework::ServiceInfo* serviceInfo() const override;
  const strings::stringtoken* eventSubscription() const override;
  void threadDo(int index) override;

  /// What is known of the partner, for the console.
  struct Standing {
    bool isThere = false;
    std::int64_t secondsSince = 0;  ///< since its last answer
    std::string failure;            ///< why the last question got no answer; empty when it did
    PeerRecord own;
    PeerRecord partner;
    bool equal = false;
    bool held = false;
    const char* stall = nullptr;
  };
  Standing standing() const;

 private:
  Own own() const;
  void cycle();
  std::optional<PeerRecord> ask();
  void act(const PeerRecord& partner);
  void reset(Own own, const PeerRecord& partner);
  static void handOverVersions(app::PartnerFirmwareUpdate& update, const PeerRecord& partner,
                               const ResetFacts& facts);
  static bool keepRecord(const PeerRecord& partner);
  void forget();
  void noteFailure(const std::string& failure);
  void noteStall(const char* stall);

  static PartnerLink* m_pSingleton;

  const std::string m_bootId;
  int m_pollSeconds = 5;
  int m_silenceSeconds = 150;
  std::optional<network::ExchangeSettings> m_settings;
  mutable std::recursive_mutex m_mutex;  // guards what follows
  std::optional<ResetFacts> m_facts;     // of the last reset; none while the partner is silent
  std::optional<PeerRecord> m_partner;   // its last answer
  std::int64_t m_lastAnswer = 0;         // the host's time
  std::string m_failure;
  const char* m_stall = nullptr;
  std::unique_ptr<network::SignedListener> m_listener;
};

}  // namespace services::peer
