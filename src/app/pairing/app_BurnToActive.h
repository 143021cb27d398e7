// The pairing of the two controllers: their serial numbers, roles and what they give each other.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "host/base/fw_Memory.h"
#include "util/st_Tokens.h"

namespace services::sysinfo {
class MCInfo;
}

namespace services::app {

/// Decides what this controller gives its partner or takes from it, and keeps the decisions.
///
/// A controller is master in the midplane in which it was last loaded, else slave; it is paired
/// while its partner is the one it was last paired with. The roles of both give two actions: for
/// the configuration and for the firmware. The rules are in app_SyncRules.h. A decision is final
/// until clearDecisionParameters(); one that was begun before that call is not kept when it ends
/// after it.
///
/// There is one object in a process. Any thread may call. Its lock is a leaf that is not held while
/// something is decided or the system information is taken.
class BurnToActive {
 public:
  /// The values are the tokens of the words that logs show.
  enum SyncRole : strings::stringtoken {
    Undetermined = strings::digestOf("Undetermined"),
    MasterUnpaired = strings::digestOf("MasterUnpaired"),
    MasterPaired = strings::digestOf("MasterPaired"),
    SlaveUnpaired = strings::digestOf("SlaveUnpaired"),
    SlavePaired = strings::digestOf("SlavePaired"),
  };

  /// What this controller does: gives, takes, or merges with its partner.
  enum SyncAction : strings::stringtoken {
    None = strings::digestOf("None"),
    Push = strings::digestOf("Push"),
    Receive = strings::digestOf("Receive"),
    Merge = strings::digestOf("Merge"),
  };

  /// The object, made by the first call and never destroyed.
  static BurnToActive* getInstance();

  /// Keep a copy of what was learned of the partner; null forgets it.
  void setCurrentPartnerSN(const char* serial);
  void setPartnerCodeloadTimestamp(const char* timestamp);
  /// Whether partner serial numbers are recorded in MAC form.
  void setUseMacSerials(bool use);

  // Serial numbers. The MAC form is "X" and the 16 hexadecimal digits of a MAC address; any other
  // is plain and ends in the last six digits of the MAC address.

  /// Writes the MAC form of an address, 18 bytes with its end, into `buffer` of `size` bytes, cut
  /// at the size.
  static void makeControllerSN(std::uint64_t macAddress, char* buffer, unsigned int size);
  /// Whether a text, or null, is of the MAC form.
  static bool isValidControllerSN(const char* serial);
  /// Whether two serial numbers name the same controller; of different forms their last six
  /// characters count, in either letter case. Null names none.
  static bool comparePairedSN(const char* one, const char* other);
  /// Writes the MAC form that a serial number stands for; null gives the empty text.
  static void convertToPairedSN(const char* serial, char* buffer, unsigned int size);

  // The pairing records of this controller in the system information.

  /// The midplane in which the controller was last loaded, or null. Where the record lacks it, it
  /// and the load time are first taken from the files under /cfg/burn2active. Hold the system
  /// information, for reading at least.
  const char* getMyLoadMidplaneSN(sysinfo::MCInfo* local) const;
  /// Records the present midplane as the load midplane. Takes the system information for writing.
  void pairLocalControllerToMidplane();
  /// Records the partner that was handed over as the last paired one. Takes it likewise.
  void pairLocalControllerToPartner();

  // The decisions. None may be asked for while the system information is held.

  /// The role of a controller from serial numbers, each a text or null. Logs the rule.
  static SyncRole calculateSyncRole(const char* currentMidplane, const char* lastMidplane,
                                    const char* currentPartner, const char* lastPartner);
  /// This controller's role. It stands only once a partner's serial number was handed over.
  SyncRole getLocalSyncRole();
  /// The role that the partner seems to have, by its record here: paired or Undetermined. Not kept.
  /// Takes the partner's load time from the record.
  SyncRole calculatePartnerSyncRole();
  SyncRole getPartnerSyncRole() const;
  void setPartnerSyncRole(SyncRole role);

  /// What this controller does; None while it cannot be told.
  SyncAction getSystemConfigurationSyncAction();
  SyncAction getSystemPfuAction();

  /// Forgets the decisions and what was learned of the partner.
  void clearDecisionParameters();

  /// How often that was done. To set a role that was worked out here, ask before working it out: it
  /// is not kept when the decisions were cleared since.
  std::uint64_t generation() const;
  void setPartnerSyncRole(SyncRole role, std::uint64_t generation);

  /// The rule behind each decision in words, empty where there is none.
  struct Rules {
    std::string mySyncRole;
    std::string partnerSyncRole;
    std::string configSyncAction;
    std::string pfuSyncAction;
  };

  /// A copy of what is kept; decides nothing.
  struct Decisions {
    std::optional<std::string> currentPartnerSN;
    std::optional<std::string> partnerCodeloadTimestamp;
    SyncRole mySyncRole;
    SyncRole partnerSyncRole;
    SyncAction configSyncAction;
    SyncAction pfuSyncAction;
    bool useMacSerials;
    std::uint64_t generation;
    Rules rules;
  };
  Decisions decisions() const;

 private:
  BurnToActive();

  std::optional<std::string> partnerToRecord();
  bool findRoles(Decisions& known, const char* operation);
  void keepPartnerTimestamp(const char* timestamp, std::uint64_t generation);
  SyncRole keepMySyncRole(SyncRole role, const char* rule, std::uint64_t generation);
  bool keepConfigSyncAction(SyncAction action, const std::string& rule, std::uint64_t generation);
  bool keepPfuSyncAction(SyncAction action, const std::string& rule, std::uint64_t generation);

  static BurnToActive* m_singletonInstance;

  framework::StaticText m_currentPartnerSN;
  framework::StaticText m_partnerCodeloadTimestamp;
  SyncRole m_mySyncRole = Undetermined;
  SyncRole m_partnerSyncRole = Undetermined;
  SyncAction m_configSyncAction = None;
  SyncAction m_pfuSyncAction = None;
  bool m_useMacSerials = false;
  Rules m_rules;
  std::uint64_t m_generation = 0;
  mutable std::mutex m_lock;  // guards all of the above; a leaf
};

}  // namespace services::app
