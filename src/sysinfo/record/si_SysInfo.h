// The system information: what the controllers and their operator have settled.
#pragma once

#include <array>
#include <cstdint>

#include "sysinfo/record/si_StoredText.h"

namespace services::sysinfo {

// The fields of the two records, one a line: the name, the initial value, and the grammar of what
// may come in from outside. Each has the accessors getNAME and setNAME. A text is owned by the
// record, null when there is none, and valid while the store is held.

#define MC_CONTROLLER_FIELDS(ADDRESS, MAC, TEXT) \
  ADDRESS(IpV4Address)                           \
  MAC(MacAddress)                                \
  TEXT(ControllerSerial, nullptr, serial)        \
  TEXT(McVersion, nullptr, version)              \
  TEXT(BundleVersion, nullptr, version)          \
  TEXT(CpldVersion, nullptr, version)            \
  /* the pairing records */                      \
  TEXT(LoadMidplaneSerial, nullptr, serial)      \
  TEXT(LastLoadedTime, nullptr, timestamp)       \
  TEXT(LastPairedPartnerSerial, nullptr, serial)

#define MC_SETTING_FIELDS(FLAG, ADDRESS, TEXT)       \
  /* the management interfaces */                    \
  FLAG(HttpDisable, false)                           \
  FLAG(HttpsDisable, false)                          \
  FLAG(TelnetDisable, true)                          \
  FLAG(SshDisable, false)                            \
  FLAG(SmisDisable, false)                           \
  FLAG(UsmisEnable, false)                           \
  FLAG(FtpDisable, true)                             \
  FLAG(SnmpDisable, false)                           \
  FLAG(DebugDisable, false)                          \
  FLAG(ActivityProgressDisable, false)               \
  /* SNMP */                                         \
  TEXT(SnmpReadCommunity, "public", community)       \
  TEXT(SnmpWriteCommunity, "private", community)     \
  ADDRESS(SnmpTrap1V4Address)                        \
  ADDRESS(SnmpTrap2V4Address)                        \
  ADDRESS(SnmpTrap3V4Address)                        \
  /* mail */                                         \
  FLAG(ManagedLogsEnable, false)                     \
  FLAG(EmailIncludeLogsEnable, false)                \
  TEXT(EmailAddr4, "", mail)                         \
  TEXT(EmailSender, "", sender)                      \
  TEXT(EmailDomain, "", host)                        \
  TEXT(EmailServer, "", relay)                       \
  /* the enclosure */                                \
  FLAG(PfuDisabled, false)                           \
  TEXT(MidplaneSN, nullptr, serial)                  \
  /* what waits to be acted upon; the store's own */ \
  FLAG(SnmpChanged, false)                           \
  FLAG(SmisChanged, false)

#define MC_FLAG(name, initial)                \
  bool get##name() const { return m_##name; } \
  void set##name(bool value) { m_##name = value; }
#define MC_NUMBER(name, type)                 \
  type get##name() const { return m_##name; } \
  void set##name(type value) { m_##name = value; }
#define MC_ADDRESS(name) MC_NUMBER(name, std::uint32_t)
#define MC_MAC(name) MC_NUMBER(name, std::uint64_t)
#define MC_TEXT(name, initial, grammar)                    \
  const char* get##name() const { return m_##name.get(); } \
  void set##name(const char* value) { m_##name.set(value); }
#define MC_FLAG_MEMBER(name, initial) bool m_##name = initial;
#define MC_ADDRESS_MEMBER(name) std::uint32_t m_##name = 0;
#define MC_MAC_MEMBER(name) std::uint64_t m_##name = 0;
#define MC_TEXT_MEMBER(name, initial, grammar) StoredText m_##name{initial};

/// What is known of one controller. An IPv4 address has its first byte in the highest bits; a MAC
/// address stands in the lower 48 bits.
class MCInfo {
 public:
  MC_CONTROLLER_FIELDS(MC_ADDRESS, MC_MAC, MC_TEXT)

 private:
  MC_CONTROLLER_FIELDS(MC_ADDRESS_MEMBER, MC_MAC_MEMBER, MC_TEXT_MEMBER)
};

/// The settings of the enclosure and the records of both controllers. It is reached through the
/// guards of si_SysInfoManager.h.
class SysInfo {
 public:
  /// Of controller 'A' or 'B'.
  explicit SysInfo(char myLetter = 'A') : m_myLetter(myLetter) {}

  MC_SETTING_FIELDS(MC_FLAG, MC_ADDRESS, MC_TEXT)

  /// The record of controller A or B, null while nothing is known of it. Its texts may be set under
  /// a read guard too (see StoredText); all else is written under the write guard alone.
  MCInfo* getMCAInfo() { return getMCInfo('A'); }
  const MCInfo* getMCAInfo() const { return getMCInfo('A'); }
  MCInfo* getMCBInfo() { return getMCInfo('B'); }
  const MCInfo* getMCBInfo() const { return getMCInfo('B'); }
  /// This controller's record and its partner's.
  MCInfo* getMyMCInfo();
  const MCInfo* getMyMCInfo() const;
  MCInfo* getOtherMCInfo();
  const MCInfo* getOtherMCInfo() const;

  /// The record of controller 'A' or 'B', null while nothing is known of it.
  MCInfo* getMCInfo(char letter);
  const MCInfo* getMCInfo(char letter) const;
  /// The same to be filled; from now on it is known.
  MCInfo& makeMCInfo(char letter);

 private:
  MC_SETTING_FIELDS(MC_FLAG_MEMBER, MC_ADDRESS_MEMBER, MC_TEXT_MEMBER)
  char m_myLetter;
  std::array<MCInfo, 2> m_controllers;
  std::array<bool, 2> m_known{};
};

#undef MC_FLAG
#undef MC_NUMBER
#undef MC_ADDRESS
#undef MC_MAC
#undef MC_TEXT
#undef MC_FLAG_MEMBER
#undef MC_ADDRESS_MEMBER
#undef MC_MAC_MEMBER
#undef MC_TEXT_MEMBER

}  // namespace services::sysinfo
