// The table of the supervised daemons' records, its lock, and claims on single records.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "app/supervision/app_Process.h"
#include "host/base/ut_ItemDirectory.h"
#include "host/base/ut_Waiter.h"

namespace services::app {

/// Owns the records, which are added before other threads know the table and stay for its life. Its
/// lock, taken with std::lock_guard, guards the records' claim flags and what its owner says. A
/// claim keeps two claimers of a record apart, not a claimer and the holder of the lock.
class ProcessTable {
 public:
  /// `givingUp` answers whether a wait for a claim is to end; the table's lock is held then.
  ProcessTable(unsigned int capacity, std::function<bool()> givingUp)
      : m_items(capacity), m_givingUp(std::move(givingUp)) {}

  void add(std::unique_ptr<Process> process);

  /// The records in the order of the configuration.
  const std::vector<Process*>& records() const { return m_records; }
  /// The n-th record in the order of names; null past the end.
  Process* sorted(unsigned int n) const;
  /// The record of that name; null when there is none.
  Process* find(strings::stringtoken name) const;
  const utility::ItemDirectory& items() const { return m_items; }
  unsigned int Length() const { return m_items.Length(); }

  /// Claims a record, for which it waits; null for none, and where the wait was given up.
  Process* open(strings::stringtoken name) const;
  Process* openSorted(unsigned int n) const;
  /// Gives a claim back; null does nothing.
  void close(Process* process) const;

  void lock() const { m_lock.lock(); }
  void unlock() const { m_lock.unlock(); }

 private:
  Process* obtainLock(Process* process) const;

  utility::ItemDirectory m_items;
  std::vector<Process*> m_records;
  std::function<bool()> m_givingUp;
  mutable utility::Waiter m_lock;
};

/// A claim on a record, given back at the end of the scope; empty where there is none.
class Claim {
 public:
  Claim() = default;
  Claim(const ProcessTable& table, strings::stringtoken name)
      : m_table(&table), m_process(table.open(name)) {}
  /// On the n-th record in the order of names.
  static Claim sorted(const ProcessTable& table, unsigned int n) {
    return {table, table.openSorted(n)};
  }
  ~Claim() {
    if (m_table != nullptr) m_table->close(m_process);
  }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

  explicit operator bool() const { return m_process != nullptr; }
  Process* operator->() const { return m_process; }
  Process& operator*() const { return *m_process; }

 private:
  Claim(const ProcessTable& table, Process* process) : m_table(&table), m_process(process) {}

  const ProcessTable* m_table = nullptr;
  Process* m_process = nullptr;
};

}  // namespace services::app
