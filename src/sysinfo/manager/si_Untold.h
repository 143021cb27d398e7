// What was changed and has not arrived yet where it must.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sysinfo/store/si_Store.h"
#include "util/st_Tokens.h"

namespace services::sysinfo {

/// A change on its way to the services. It is told once nobody holds it, unless somebody lost it.
class Change {
 public:
  Change() = default;
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  void lose() { m_lost = true; }

 private:
  std::atomic<bool> m_lost = false;
};

/// One subscriber's part in a change: lost unless it was done.
class Telling {
 public:
  explicit Telling(std::shared_ptr<Change> change) : m_change(std::move(change)) {}
  ~Telling() {
    if (m_change != nullptr) m_change->lose();
  }
  Telling(const Telling&) = delete;
  Telling& operator=(const Telling&) = delete;

  void done() { m_change.reset(); }

 private:
  std::shared_ptr<Change> m_change;
};

/// Remembers, durably, that there are changes which have not arrived: their events were not handled
/// to the end by every subscriber, or the SNMP agent's file could not be written since. The mark is
/// stored with the change itself, so that it needs no room where the disk is full, and says which
/// event makes up for it: userChanged writes the agent's file anew, userAccessChanged has the SMI-S
/// daemons read the users anew too. It goes when all has arrived. Any thread may call, also one
/// that holds the system information.
class Untold {
 public:
  static Untold& instance();

  /// Takes the mark that an earlier process left in these rows, if any, in place of its own, and
  /// keeps its marks in that store from now on, in memory alone where it is null.
  void load(const Rows& rows, Store* store);

  /// Begins a change without a mark.
  std::shared_ptr<Change> begin();
  /// Begins a change and stores it as Store::replace() does, marked with the event that would make
  /// up for it, strings::tGSendOfList for none. Null when it could not be stored.
  std::shared_ptr<Change> store(const std::vector<std::string>& scopes, const Rows& rows,
                                strings::stringtoken mark);

  /// What was lost or not written, as a new change on its way, and the event that makes up for it.
  struct Lost {
    strings::stringtoken event;
    std::shared_ptr<Change> change;
  };
  std::optional<Lost> takeLost();

  /// Says how the last attempt to write the SNMP agent's file ended.
  void setAgentFileWritten(bool written);
  /// One line for the operator when it failed, else empty.
  std::string finding() const;

 private:
  friend class Change;

  void end(bool lost);
  bool replace(std::vector<std::string> scopes, Rows rows, strings::stringtoken mark);

  mutable std::mutex m_mutex;  // taken before the store's, and after all others
  Store* m_store = nullptr;
  int m_underWay = 0;  // changes begun and not ended
  bool m_lost = false;
  bool m_agentFileWritten = true;
  strings::stringtoken m_mark = strings::tGSendOfList;
};

}  // namespace services::sysinfo
