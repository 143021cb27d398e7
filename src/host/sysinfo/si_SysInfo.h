// The system information: what the controllers and their operator have settled.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace services::sysinfo {

/// What is known of one controller.
class MCInfo {
 public:
  std::uint32_t getIpV4Address() const { return m_ipV4Address; }
  void setIpV4Address(std::uint32_t address) { m_ipV4Address = address; }
  std::uint64_t getMacAddress() const { return m_macAddress; }
  void setMacAddress(std::uint64_t address) { m_macAddress = address; }

// The texts of a controller, each with the accessors getNAME and setNAME. A text answered is valid
// while the guard is held.
#define MC_CONTROLLER_TEXTS(TEXT) \
  TEXT(ControllerSerial)          \
  TEXT(McVersion)                 \
  TEXT(BundleVersion)             \
  TEXT(CpldVersion)               \
  TEXT(LoadMidplaneSerial)        \
  TEXT(LastLoadedTime)            \
  TEXT(LastPairedPartnerSerial)
#define MC_TEXT(name)                                             \
  const char* get##name() const { return m_texts[name].c_str(); } \
  void set##name(std::string value) { m_texts[name] = std::move(value); }
  MC_CONTROLLER_TEXTS(MC_TEXT)
#undef MC_TEXT

 private:
  enum Text : std::size_t {
#define MC_TEXT(name) name,
    MC_CONTROLLER_TEXTS(MC_TEXT)
#undef MC_TEXT
        textCount
  };

  std::uint32_t m_ipV4Address = 0;
  std::uint64_t m_macAddress = 0;
  std::array<std::string, textCount> m_texts;
};

/// The settings of the enclosure and the records of both controllers. It is reached through the
/// guards of si_SysInfoManager.h.
class SysInfo {
 public:
// The settings, each with the accessors getNAME and setNAME.
#define MC_SETTINGS(FLAG, TEXT)       \
  FLAG(ManagedLogsEnable, false)      \
  FLAG(EmailIncludeLogsEnable, false) \
  FLAG(PfuDisabled, false)            \
  TEXT(EmailAddr4)                    \
  TEXT(EmailSender)                   \
  TEXT(EmailDomain)                   \
  TEXT(EmailServer)                   \
  TEXT(MidplaneSN)
#define MC_FLAG(name, initial)                    \
  bool get##name() const { return m_flag##name; } \
  void set##name(bool value) { m_flag##name = value; }
#define MC_TEXT(name)                                            \
  const char* get##name() const { return m_text##name.c_str(); } \
  void set##name(std::string value) { m_text##name = std::move(value); }
  MC_SETTINGS(MC_FLAG, MC_TEXT)
#undef MC_FLAG
#undef MC_TEXT

  /// The record of controller A or B, null while nothing is known of it.
  const MCInfo* getMCAInfo() const { return m_known[0] ? &m_controllers[0] : nullptr; }
  const MCInfo* getMCBInfo() const { return m_known[1] ? &m_controllers[1] : nullptr; }
  /// This controller's record and its partner's.
  const MCInfo* getMyMCInfo() const;
  const MCInfo* getOtherMCInfo() const;

  /// The record of controller 'A' or 'B' to be filled; from now on it is known.
  MCInfo& makeMCInfo(char letter);

 private:
#define MC_FLAG(name, initial) bool m_flag##name = initial;
#define MC_TEXT(name) std::string m_text##name;
  MC_SETTINGS(MC_FLAG, MC_TEXT)
#undef MC_FLAG
#undef MC_TEXT

  std::array<MCInfo, 2> m_controllers;
  std::array<bool, 2> m_known{};
};

}  // namespace services::sysinfo
