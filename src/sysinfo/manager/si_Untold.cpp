// What was changed and has not arrived yet where it must.
#include "sysinfo/manager/si_Untold.h"

#include "host/base/st_StringRepository.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::sysinfo {

using strings::stringtoken;

namespace {

// The event that makes up for both.
stringtoken stronger(stringtoken one, stringtoken other) {
  for (const stringtoken event : {strings::tGSuserAccessChanged, strings::tGSuserChanged}) {
    if (one == event || other == event) return event;
  }
  return strings::tGSendOfList;
}

}  // namespace

Change::~Change() { Untold::instance().end(m_lost); }

Untold& Untold::instance() {
  static Untold only;
  return only;
}

void Untold::load(const Rows& rows, Store* store) {
  const auto mark = rows.find(untoldKey);
  const std::lock_guard lock(m_mutex);
  m_store = store;
  m_underWay = 0;
  m_agentFileWritten = true;
  m_lost = mark != rows.end();
  m_mark = strings::tGSendOfList;
  if (!m_lost) return;
  const char* const weaker = strings::StringRepository::toString(strings::tGSuserChanged);
  m_mark = mark->second == weaker ? strings::tGSuserChanged : strings::tGSuserAccessChanged;
}

std::shared_ptr<Change> Untold::begin() {
  const std::lock_guard lock(m_mutex);
  ++m_underWay;
  return std::make_shared<Change>();
}

std::shared_ptr<Change> Untold::store(const std::vector<std::string>& scopes, const Rows& rows,
                                      stringtoken mark) {
  auto change = begin();  // before it is stored, so that an earlier one's end leaves its mark
  const std::lock_guard lock(m_mutex);
  return replace(scopes, rows, stronger(m_mark, mark)) ? change : nullptr;
}

// Stores the rows and the mark, which is m_mark from then on.
bool Untold::replace(std::vector<std::string> scopes, Rows rows, stringtoken mark) {
  if (mark != m_mark) {
    scopes.push_back(untoldKey.scope);
    if (mark != strings::tGSendOfList) {
      rows[untoldKey] = strings::StringRepository::toString(mark);
    }
  }
  if (m_store != nullptr && !scopes.empty() && !m_store->replace(scopes, rows)) return false;
  m_mark = mark;
  return true;
}

void Untold::end(bool lost) {
  const std::lock_guard lock(m_mutex);
  --m_underWay;
  m_lost = (m_lost || lost) && m_mark != strings::tGSendOfList;
  if (m_underWay == 0 && !m_lost && m_agentFileWritten) replace({}, {}, strings::tGSendOfList);
}

std::optional<Untold::Lost> Untold::takeLost() {
  const std::lock_guard lock(m_mutex);
  stringtoken event = m_lost ? m_mark : strings::tGSendOfList;
  if (!m_agentFileWritten) event = stronger(event, strings::tGSuserChanged);
  if (event == strings::tGSendOfList) return std::nullopt;
  m_lost = false;
  ++m_underWay;
  return Lost{event, std::make_shared<Change>()};
}

void Untold::setAgentFileWritten(bool written) {
  const std::lock_guard lock(m_mutex);
  m_agentFileWritten = written;
  if (!written) replace({}, {}, stronger(m_mark, strings::tGSuserChanged));
}

std::string Untold::finding() const {
  const std::lock_guard lock(m_mutex);
  if (m_agentFileWritten) return {};
  return "the SNMP agent's file lacks the last changes: it could not be written, the log says why; "
         "tried again with the next change and at the next start\n";
}

}  // namespace services::sysinfo
