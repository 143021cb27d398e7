// A claim on a record of the process table, held for a scope.
#pragma once

#include "app/supervision/app_AppManager.h"

namespace services::app {

/// Gives the record back at the end of the scope. It is empty where there is no service or no such
/// record.
class Claim {
 public:
  /// Claims the record of that name; the manager may be null.
  Claim(const AppManager* manager, strings::stringtoken name)
      : Claim(manager, manager == nullptr ? nullptr : manager->openProcess(name)) {}

  /// Claims the n-th record in the order of names.
  static Claim nth(const AppManager& manager, unsigned int n) {
    return {&manager, manager.nthProcess(n)};
  }

  ~Claim() {
    if (m_process != nullptr) m_manager->closeProcess(m_process);
  }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

  explicit operator bool() const { return m_process != nullptr; }
  Process* operator->() const { return m_process; }
  Process& operator*() const { return *m_process; }

 private:
  Claim(const AppManager* manager, Process* process) : m_manager(manager), m_process(process) {}

  const AppManager* m_manager;
  Process* m_process;
};

}  // namespace services::app
