// Access to the system information: shared for reading, exclusive for writing.
#pragma once

#include <atomic>
#include <shared_mutex>

#include "host/sysinfo/si_SysInfo.h"

namespace framework {
class Config;
}

namespace services::sysinfo {

/// The process's system information and the lock over it. Readers go first: a reader never waits
/// for a writer that is itself only waiting.
class SysInfoManager {
 public:
  static SysInfoManager* getManager();

  /// Takes the information for reading or for writing; null, and nothing is taken, before load().
  /// Each is given back by the call of the same thread that its name says.
  const SysInfo* readSysInfo();
  void unReadSysInfo();
  SysInfo* writeSysInfo();
  void unWriteSysInfo();

  /// Whether the partner's information is valid.
  bool isValidPartner() const { return m_validPartner; }
  void setValidPartner(bool valid) { m_validPartner = valid; }

  /// This controller's letter, 'A' or 'B'.
  char getMCNode() const { return m_node; }

  /// Takes the table [sysinfo] of the configuration for the information, and the letter. Call
  /// before services are built.
  void load(const framework::Config& config, char node);
  /// Forgets the information again.
  void unload() { m_loaded = false; }

 private:
  std::shared_mutex m_mutex;
  SysInfo m_sysInfo;
  std::atomic<bool> m_loaded = false;
  std::atomic<bool> m_validPartner = false;
  std::atomic<char> m_node = 'A';
};

/// Holds the information for reading until freeObject() or its own end.
class SysInfoReadGuard {
 public:
  SysInfoReadGuard() : m_object(SysInfoManager::getManager()->readSysInfo()) {}
  ~SysInfoReadGuard() { freeObject(); }
  SysInfoReadGuard(const SysInfoReadGuard&) = delete;
  SysInfoReadGuard& operator=(const SysInfoReadGuard&) = delete;

  /// The information, or null.
  const SysInfo* getObject() const { return m_object; }
  void freeObject() {
    if (m_object != nullptr) SysInfoManager::getManager()->unReadSysInfo();
    m_object = nullptr;
  }

 private:
  const SysInfo* m_object;
};

/// Holds the information for writing until freeObject() or its own end.
class SysInfoWriteGuard {
 public:
  SysInfoWriteGuard() : m_object(SysInfoManager::getManager()->writeSysInfo()) {}
  ~SysInfoWriteGuard() { freeObject(); }
  SysInfoWriteGuard(const SysInfoWriteGuard&) = delete;
  SysInfoWriteGuard& operator=(const SysInfoWriteGuard&) = delete;

  /// The information, or null.
  SysInfo* getObject() const { return m_object; }
  void freeObject() {
    if (m_object != nullptr) SysInfoManager::getManager()->unWriteSysInfo();
    m_object = nullptr;
  }

 private:
  SysInfo* m_object;
};

}  // namespace services::sysinfo
