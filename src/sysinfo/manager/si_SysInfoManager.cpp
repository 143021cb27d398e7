// Access to the system information: shared for reading, exclusive for writing.
#include "sysinfo/manager/si_SysInfoManager.h"

#include <algorithm>

#include "host/base/ut_Environment.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_EventManager.h"
#include "sysinfo/manager/si_Change.h"
#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/manager/us_UserChange.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/dm_Component.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "sysinfo/record/si_RecordRows.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/store/si_Config.h"
#include "sysinfo/store/si_Xml.h"

namespace services::sysinfo {

using framework::Logger;
using framework::LogType;

namespace {

// A controller that was moved to the other slot keeps its own record as its own.
void followSlot(Rows& rows, char node) {
  const auto slot = rows.find(slotKey);
  if (slot != rows.end() && slot->second[0] != node) {
    Logger::StaticLog(
        LogType::Warning,
        "system information: this controller was in slot %s, is in %c: the records of "
        "A and B change places",
        slot->second.c_str(), node);
    Rows moved;
    for (const auto& [place, value] : rows) {
      const bool isA = place.scope == "A";
      moved[isA || place.scope == "B" ? RowKey{isA ? "B" : "A", place.key} : place] = value;
    }
    rows = std::move(moved);
  }
  rows[slotKey] = std::string(1, node);
}

Rows othersOf(const Rows& rows) {
  Rows others;
  for (const auto& [place, value] : rows) {
    if (place.scope == "release" || place.scope == "store" ||
        place.scope.starts_with(componentScope)) {
      others[place] = value;
    }
  }
  return others;
}

// Puts the values of the release and of the components in force.
void publish(const Rows& others) {
  const auto release = others.find(burnToActiveKey);
  relinfo::RelInfo::setBurnToActive(release != others.end() && release->second == "true");
  dom::Revisions revisions;
  for (const auto& [place, value] : others) {
    if (place.scope.starts_with(componentScope)) {
      revisions[place.scope.substr(componentScope.size())] = value;
    }
  }
  dom::Component::load(std::move(revisions));
}

std::vector<std::string> scopesOf(const Rows& before, const Rows& after) {
  std::vector<std::string> scopes;
  for (const Rows* rows : {&before, &after}) {
    for (const auto& [place, value] : *rows) {
      if (scopes.empty() || scopes.back() != place.scope) scopes.push_back(place.scope);
    }
  }
  return scopes;
}

// Whether there is more to tell than that changed flags were cleared.
bool isNews(const Rows& before, const Rows& after) {
  const auto saysMore = [](const Rows& rows, const Rows& others) {
    return std::ranges::any_of(rows, [&others](const auto& row) {
      if (isOwnFlag(row.first.key) && row.second == "false") return false;
      const auto other = others.find(row.first);
      return !isOwnFlag(row.first.key) ? other == others.end() || other->second != row.second
                                       : other != others.end() && other->second == "false";
    });
  };
  return saysMore(after, before) || before.size() != after.size();
}

}  // namespace

SysInfoManager* SysInfoManager::getManager() {
  static SysInfoManager only;
  return &only;
}

SysInfo* SysInfoManager::readSysInfo() {
  if (!m_loaded) return nullptr;
  m_mutex.lock_shared();
  return &m_sysInfo;
}

void SysInfoManager::unReadSysInfo() {
  if (m_seen != StoredText::changes()) commit();
  m_mutex.unlock_shared();
}

SysInfo* SysInfoManager::writeSysInfo() {
  if (!m_loaded) return nullptr;
  m_mutex.lock();
  StoredText::freeRetired();
  return &m_sysInfo;
}

bool SysInfoManager::unWriteSysInfo() {
  markChanges();
  const bool stored = commit();
  if (!stored) restore();
  m_mutex.unlock();
  return stored;
}

Rows SysInfoManager::currentRows() const {
  Rows rows = rowsOf(m_sysInfo);
  rows.insert(m_others.begin(), m_others.end());
  return rows;
}

// Sets the flags over the settings that the writer changed.
void SysInfoManager::markChanges() {
  const Rows rows = rowsOf(m_sysInfo);
  for (const ChangedFlag& flag : changedFlags) {
    if (rowsUnder(flag.name, rows) != rowsUnder(flag.name, m_committed)) {
      (m_sysInfo.*flag.set)(true);
    }
  }
}

// Stores what differs from the last commit, and tells the services in the same order.
bool SysInfoManager::commit() {
  const std::lock_guard lock(m_committing);
  m_seen = StoredText::changes();
  Rows rows = currentRows();
  if (rows == m_committed) return true;
  const bool news = m_loaded && isNews(m_committed, rows);
  const auto mark =
      news && m_sysInfo.getSnmpChanged() ? strings::tGSuserChanged : strings::tGSendOfList;
  const auto change = Untold::instance().store(scopesOf(m_committed, rows), rows, mark);
  ++(change == nullptr ? m_unstored : m_stored);
  if (change == nullptr) return false;
  if (news) {
    raiseChange(m_sysInfo, change, clearFlag);
    user::makeUpForLost();
  }
  if (othersOf(rows) != othersOf(m_committed)) publish(m_others);
  m_committed = std::move(rows);
  return true;
}

void SysInfoManager::restore() {
  SysInfo fresh(m_node);
  std::string refused;
  takeRows(m_committed, fresh, refused);
  m_sysInfo = fresh;
  m_others = othersOf(m_committed);
}

bool SysInfoManager::open(const framework::Config& config, char node,
                          const std::function<bool()>& pause) {
  framework::EventManager::instance().declareRecord(strings::tGSsysInfoChanged);
  framework::EventManager::instance().declareRecord(strings::tGSuserChanged);
  framework::EventManager::instance().declareRecord(strings::tGSuserAccessChanged);
  unload();
  m_store = std::make_unique<Store>(storePath(), firstRows(config, node), writeXml, pause);
  if (m_store->isElsewhere()) return false;
  const Rows rows = m_store->rows();
  Untold::instance().load(rows, m_store.get());
  user::UserManager::getManager()->load(rows);
  take(rows, node);
  return true;
}

void SysInfoManager::load(const framework::Config& config, char node) {
  unload();
  take(firstRows(config, node), node);
}

void SysInfoManager::unload() {
  const std::lock_guard lock(m_mutex);
  m_loaded = false;
  Untold::instance().load({}, nullptr);
  m_store.reset();
}

void SysInfoManager::clearFlag(const ChangedFlag& flag, const SysInfo& given) {
  const SysInfoWriteGuard guard;
  SysInfo* stored = guard.getObject();
  if (stored == nullptr) return;
  if (rowsUnder(flag.name, rowsOf(*stored)) == rowsUnder(flag.name, rowsOf(given))) {
    (stored->*flag.set)(false);
  }
}

void SysInfoManager::tellUntold() {
  {
    const SysInfoReadGuard guard;
    const SysInfo* record = guard.getObject();
    const auto isSet = [&](const ChangedFlag& flag) { return (record->*flag.get)(); };
    if (record != nullptr && std::ranges::any_of(changedFlags, isSet)) {
      raiseChange(*record, Untold::instance().begin(), clearFlag);
    }
  }
  user::makeUpForLost();
}

void SysInfoManager::take(Rows rows, char node) {
  std::erase_if(rows, [](const auto& row) {  // others'
    return row.first.scope.starts_with(userScope) || row.first == untoldKey;
  });
  const Rows stored = rows;
  followSlot(rows, node);
  SysInfo fresh(node);
  std::string refused;
  takeRows(rows, fresh, refused);
  if (!refused.empty()) {
    Logger::StaticLog(LogType::Error, "system information: values were left out: %s",
                      refused.c_str());
  }
  const std::lock_guard lock(m_mutex);
  m_loaded = false;  // so that nothing is told
  m_sysInfo = fresh;
  m_others = othersOf(rows);
  m_node = node;
  m_validPartner = false;
  m_committed = m_store == nullptr ? currentRows() : stored;
  publish(m_others);
  commit();
  m_loaded = true;
}

}  // namespace services::sysinfo
