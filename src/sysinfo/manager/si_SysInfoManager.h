// Access to the system information: shared for reading, exclusive for writing.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "sysinfo/manager/si_ReadersFirst.h"
#include "sysinfo/record/si_SysInfo.h"
#include "sysinfo/store/si_Store.h"

namespace framework {
class Config;
}

namespace services::sysinfo {

struct ChangedFlag;

/// The process's system information, the lock over it and the store beneath it. Readers go first: a
/// reader never waits for a writer that is itself only waiting.
///
/// What a writer changed is durable when its access ends; where it cannot be stored it is undone,
/// with an error line. Then the event sysInfoChanged is raised with a copy of the record that has
/// its changed flags set; what a handler clears of them in the copy is cleared in the store as soon
/// as it has returned, unless those settings were changed again meanwhile. Clearing flags alone
/// raises no event.
class SysInfoManager {
 public:
  static SysInfoManager* getManager();

  /// Takes the information for reading or for writing; null, and nothing is taken, before it is
  /// loaded. Each is given back by the call of the same thread that its name says.
  SysInfo* readSysInfo();
  void unReadSysInfo();
  SysInfo* writeSysInfo();
  /// True when what was changed is stored, or nothing was.
  bool unWriteSysInfo();

  /// Whether the partner's information is valid.
  bool isValidPartner() const { return m_validPartner; }
  void setValidPartner(bool valid) { m_validPartner = valid; }

  /// This controller's letter, 'A' or 'B'.
  char getMCNode() const { return m_node; }

  /// Opens the store "<configuration directory>/sysinfo/system.db" and takes what it holds. A new
  /// store begins with the table [sysinfo] of the configuration. False, with an error line, when
  /// another process has the store and `pause` ends the waiting for it (DirectoryLock). Call before
  /// services are built.
  bool open(const framework::Config& config, char node, const std::function<bool()>& pause = {});
  /// Takes the table [sysinfo] alone, in memory.
  void load(const framework::Config& config, char node);
  /// Forgets the information and closes the store.
  void unload();

  /// Raises what an earlier process did not live to tell: sysInfoChanged where a changed flag is
  /// set, and the event that makes up for changes of users. Call once events are delivered.
  void tellUntold();

  /// Clears a changed flag of the store, unless the settings beneath it differ by now from those
  /// given. The caller holds nothing.
  static void clearFlag(const ChangedFlag& flag, const SysInfo& given);

  /// The values of the other scopes, release and components. Touch them while the information is
  /// held for writing.
  Rows& others() { return m_others; }

  /// How many changes were stored, and how many could not be, since the host's start. Any thread
  /// may call.
  struct Commits {
    std::uint64_t stored, failed;
  };
  Commits commits() const { return {m_stored, m_unstored}; }

  /// The store, null while the information is in memory alone.
  Store* store() { return m_store.get(); }

 private:
  void take(Rows rows, char node);
  void restore();
  Rows currentRows() const;
  void markChanges();
  bool commit();

  ReadersFirst m_mutex;
  SysInfo m_sysInfo;
  Rows m_others;
  std::unique_ptr<Store> m_store;
  Rows m_committed;                       // what m_sysInfo said when it was last committed
  std::mutex m_committing;                // guards m_committed; taken with m_mutex held either way
  std::atomic<std::uint64_t> m_seen = 0;  // StoredText::changes() at that time
  std::atomic<std::uint64_t> m_stored = 0;
  std::atomic<std::uint64_t> m_unstored = 0;
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

  /// The information, or null. Nothing but texts may be set in it.
  SysInfo* getObject() const { return m_object; }
  void freeObject() {
    if (m_object != nullptr) SysInfoManager::getManager()->unReadSysInfo();
    m_object = nullptr;
  }

 private:
  SysInfo* m_object;
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
  /// Answers whether what was changed is stored.
  bool freeObject() {
    if (m_object == nullptr) return false;
    m_object = nullptr;
    return SysInfoManager::getManager()->unWriteSysInfo();
  }

 private:
  SysInfo* m_object;
};

}  // namespace services::sysinfo
