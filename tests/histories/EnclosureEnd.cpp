// How a story of an enclosure ends: settled, or in a stall whose remedy works.

#include "histories/Enclosure.h"

namespace test {

// How the two stand: "settled", or the stalls of those that are there; empty where neither.
std::string Enclosure::outcome() {
  std::string stalls;
  int settled = 0;
  for (Slot& one : m_slots) {
    Texts view = tell(one, "view");
    view.resize(4);
    settled += view[0] == "settled" ? 1 : 0;
    if (!view[1].empty()) stalls += view[1] + "; ";
  }
  return settled == 2 ? "settled" : stalls;
}

// Ten minutes in which nothing happens from outside.
std::string Enclosure::end() {
  m_asks = 0;
  for (Slot& one : m_slots) tell(one, "die-after -1");
  const Time deadline = m_now + quiet;
  int steady = 0;  // so many looks in a row at the same end
  std::string last;
  while (m_now < deadline && steady < 3 && m_failure.empty()) {
    runUntil(m_now + 30 * second);
    const std::string now = outcome();
    steady = !now.empty() && now == last ? steady + 1 : 0;
    last = now;
  }
  if (!m_failure.empty()) return m_failure;
  if (!m_slots[0].controller && !m_slots[1].controller) return "";
  if (m_asks > 200) return text("%d asks in ten quiet minutes\n", m_asks);
  if (!outcome().empty()) return last == "settled" ? "" : tryRemedies();
  return "neither settled nor in a named stall\n" + histories();
}

std::string Enclosure::histories() {
  std::string told;
  for (Slot& one : m_slots) {
    for (const std::string& value : tell(one, "view")) told += value + " | ";
    if (one.host) told += one.host->state().path;
    for (const std::string& line : tell(one, "history")) told += "\n" + line;
    told += "\n";
  }
  return told;
}

// A remedy that is a command ends its stall.
std::string Enclosure::tryRemedies() {
  for (Slot& one : m_slots) {
    Texts view = tell(one, "view");
    view.resize(4);
    std::istringstream words(view[2]);
    std::string command, verb, key, value;
    if (!(words >> command >> verb >> key >> value) || verb != "set") continue;
    if (key.ends_with("Serial") && value == "SERIAL") continue;
    if (key[1] == '.') key.erase(0, 2);
    if (command != "sysinfo" || !tell(one, "set " + key + "=" + value).size()) continue;
    runUntil(m_now + quiet / 2);
    Texts now = tell(one, "view");
    now.resize(4);
    if (now[1] == view[1])
      return "the remedy \"" + view[2] + "\" leaves: " + view[1] + "\n" + histories();
    return m_failure;
  }
  return "";
}

}  // namespace test
