// An enclosure in simulated time: two slots with hosts, push programs, cables, and an operator.
#include "histories/Enclosure.h"

#include "sysinfo/store/si_Database.h"
#include "sysinfo/store/si_Transfer.h"

namespace test {

namespace {

constexpr std::int64_t longestFlight = 3 * second;  // of a question and its answer
constexpr const char* midplane = "MPHERE";

std::map<std::string, std::string> valuesOf(const std::string& record) {
  std::map<std::string, std::string> values;
  std::istringstream lines(record);
  for (std::string line; std::getline(lines, line);) {
    values[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
  }
  return values;
}
using Values = std::map<std::string, std::string>;

// The tables of docs/pairing.md in other words, on what is stored: whether the one takes what the
// other gives.
bool isMaster(Values& one) { return one["LoadMidplaneSerial"] == midplane; }
bool isPaired(Values& one, Values& other) {
  return one["LastPairedPartnerSerial"] == other["ControllerSerial"];
}
bool takesFirmware(Values& taker, Values& giver, char giversLetter) {
  const auto time = [](Values& v) {
    return std::pair(v["LastLoadedTime"].size(), v["LastLoadedTime"]);
  };
  if (isMaster(taker) != isMaster(giver)) return isMaster(giver);
  return isMaster(giver) ? time(giver) >= time(taker) : giversLetter == 'A';
}
services::sysinfo::Rows rowsOf(const std::string& root) {
  return services::sysinfo::Database(root + "/cfg/sysinfo/system.db.good").rows();
}

bool takesSettings(Values& taker, Values& giver, char giversLetter) {
  if (isPaired(taker, giver) && isPaired(giver, taker)) return true;  // a merge
  return isMaster(taker) != isMaster(giver) ? isMaster(giver) : giversLetter == 'A';
}

}  // namespace

Enclosure::Enclosure(const Story& story)
    : m_story(story), m_random(static_cast<unsigned long>(story.number("seed"))), m_root([] {
        std::string name = "/dev/shm/mcpairXXXXXX";
        return std::string(::mkdtemp(name.data()));
      }()) {
  m_slots[1].letter = 'B';
}

Enclosure::~Enclosure() {
  for (Slot& one : m_slots) one.host.reset();
  std::filesystem::remove_all(m_root);
}

std::string Enclosure::play() {
  for (Slot& one : m_slots) {
    const std::string name(1, one.letter);
    if (m_story.given.contains(name)) insert(one, "new", m_story.number(name));
  }
  Time last = m_start;
  for (const Happening& happening : m_story.happenings) {
    at(m_start + happening.at * 1000, [this, &happening] { happen(happening); });
    last = m_start + happening.at * 1000;
  }
  runUntil(last + 5 * second);
  if (isCut("inner")) m_cut["outer"] = false;  // one cable is enough
  return end();
}

void Enclosure::happen(const Happening& happening) {
  const auto& [time, what, who, number] = happening;
  if (what.starts_with("set ")) m_isUntouched = false;
  if (what == "cut") m_cut[who] = true;
  if (what == "heal") m_cut[who] = false;
  if (who.size() != 1) return;
  Slot& one = slot(who[0]);
  if (what == "swap" || what == "other" || what == "back") {
    pull(one);
    after(number % 7 * second / 2 + 1, [this, &one, what, number] { insert(one, what, number); });
  }
  if (what == "pull") pull(one);
  if (what == "insert") insert(one, "back", number);
  if (!one.host) return;
  if (what == "crash") {
    number % 2 == 0 ? hostDied(one) : void(tell(one, "die-after " + std::to_string(number % 40)));
  }
  if (what == "clock") tell(one, "clock " + std::to_string((number - 50000) * 3600));
  if (what == "force") beginPush(one, number % 2 == 0 ? "pushmc" : "pushcfg");
  if (what == "force" || !what.starts_with("set ")) return;
  tell(one, what + (number < 0 ? "" : std::to_string(number)));
  m_changed = m_now;
}

// A controller of the factory, of another enclosure, or the one that was here before.
void Enclosure::insert(Slot& one, const std::string& what, long number) {
  if (one.controller) return;
  std::shared_ptr<Controller> found;
  for (const auto& known : m_all) {
    const bool isIn = known == m_slots[0].controller || known == m_slots[1].controller;
    if (what == "back" && !isIn && known->root.ends_with(one.letter)) found = known;
  }
  if (!found) {
    found = m_all.emplace_back(std::make_shared<Controller>());
    found->serial = text("%06X", 0xA000 + int(m_all.size()));
    found->root = m_root + "/" + std::to_string(m_all.size()) + one.letter;
    for (const char* directory : {"/cfg", "/etc"}) {
      std::filesystem::create_directories(found->root + directory);
    }
    std::ofstream(found->root + "/etc/hosts")
        << "10.9.9.1 othermcouter\n10.9.9.2 othermcinner\n10.9.9.1 othermc\n";
    const std::string own = std::string("sysinfo.") + one.letter + ".";
    auto& given = found->configuration;
    given[own + "ControllerSerial"] = "SN" + found->serial;
    given[own + "MacAddress"] =
        "02:4d:43:00:" + found->serial.substr(2, 2) + ":" + found->serial.substr(4, 2);
    const std::string version = number % 3 == 0 ? "V1" : "V2";
    given[own + "McVersion"] = version;
    given[own + "BundleVersion"] = number % 19 == 0 ? "9" : version;
    if (number % 17 != 0) given[own + "CpldVersion"] = number / 3 % 5 == 0 ? "C2" : "C1";
    if (number / 7 % 4 != 0)
      given[own + "LastLoadedTime"] = std::to_string(20260101 + number / 7 % 4);
    if (number / 11 % 3 == 0) given[own + "LoadMidplaneSerial"] = midplane;
    if (number / 11 % 3 == 1) given[own + "LoadMidplaneSerial"] = "MPTHERE";
    given["sysinfo.EmailSender"] = "s" + std::to_string(number / 13 % 3);
    if (number % 23 != 0) given["sysinfo.MidplaneSN"] = midplane;
    given["sysinfo.PfuDisabled"] = number % 29 == 0 ? "true" : "false";
    given["PartnerLink.consent"] = number % 31 == 0 ? "false" : "true";
    given["undecided"] = number % 37 == 0 ? "true" : "false";
    given["PartnerLink.silenceSeconds"] = "25";
    given["PartnerLink.pollSeconds"] = m_story.has("poll", "5") ? "5" : "2";
    given["PartnerFirmwareUpdate.pollSeconds"] = "30";
  }
  one.controller = found;
  noteGuest(one);
  if (what == "back" && number % 3 == 0)
    one.toLoad = {"McVersion=V" + std::to_string(number % 5), "LastLoadedTime=20270101"};
  after(second, [this, &one] { boot(one); });
}

// One from elsewhere that meets a master takes its settings before it gives any, where nobody but
// the services changes what the two go by.
void Enclosure::noteGuest(Slot& one) {
  const auto value = [](Slot& of, const char* key) {
    const std::string own = std::string("sysinfo.") + of.letter + "." + key;
    const std::string now = of.controller ? stored(*of.controller, key) : "";
    return now.empty() && of.controller ? of.controller->configuration[own] : now;
  };
  const bool isGuest = value(one, "LoadMidplaneSerial") == "MPTHERE";
  const bool isMet = value(other(one), "LoadMidplaneSerial") == midplane;
  one.controller->guestOf = isGuest && isMet ? other(one).controller->serial : "";
}

void Enclosure::pull(Slot& one) {
  if (one.controller) end(one);
  one.controller.reset();
  one.holders = 0;
  one.toLoad.clear();
}

void Enclosure::boot(Slot& one) {
  if (!one.controller || one.host || one.holders > 0) return;
  ++one.controller->boots;
  Texts configuration;
  for (const auto& [key, value] : one.controller->configuration)
    configuration.push_back(key + "=" + value);
  one.host = std::make_unique<HostProcess>(one.controller->root, one.letter, configuration,
                                           std::exchange(one.toLoad, {}), m_now,
                                           one.controller->boots * 7919 % 1000 * 1000 * second);
  one.linkAt = m_now;
}

void Enclosure::end(Slot& one) {
  one.host.reset();
  one.controller->ended.try_emplace(one.controller->boots, m_now);
}

void Enclosure::hostDied(Slot& one) {
  end(one);
  after(2 * second, [this, &one] { boot(one); });
}

Texts Enclosure::tell(Slot& one, const std::string& what) {
  if (!one.host) return {};
  if (!one.host->tell(m_now, what)) {
    hostDied(one);
    return {};
  }
  const Texts answer = one.host->state().answer;
  afterTelling(one);
  return answer;
}

// The paths that its pings find whole.
void Enclosure::track(Slot& one) {
  std::string whole;
  for (const std::string path : {"outer", "inner"}) {
    if (!isCut(path) && other(one).controller) whole += " othermc" + path;
  }
  tell(one, "paths" + whole);
}

void Enclosure::afterTelling(Slot& one) {
  const auto& state = one.host->state();
  for (const std::string& command : state.commands) beginPush(one, command);
  if (!state.isAsking) one.linkAt = std::min(one.linkAt, m_now + state.linkPause);
  checkTickets();
}

// Never two tickets at once: that an ask is granted counts where both say so.
void Enclosure::checkTickets() {
  if (!m_slots[0].host || !m_slots[1].host) return;
  const auto& a = m_slots[0].host->state();
  const auto& b = m_slots[1].host->state();
  const bool ofA = a.holds && a.asks == b.granted;
  const bool ofB = b.holds && b.asks == a.granted;
  if (ofA && ofB) fail("tickets are true at both ends at once");
  if (!a.asks.empty() && !a.granted.empty()) fail("A asks and has granted");
  if (!b.asks.empty() && !b.granted.empty()) fail("B asks and has granted");
}

// The question goes over a cable, and the answer back; either may be late or lost.
void Enclosure::exchange(Slot& one) {
  const auto controller = one.controller;
  const int boot = controller->boots;
  const auto flight = [this] {
    return m_random.once(20) ? m_random.below(4 * second) : m_random.below(second / 4);
  };
  const auto isThere = [this, &one, controller, boot] {
    return one.controller == controller && controller->boots == boot && one.host &&
           one.host->state().isAsking;
  };
  const Time there = flight();
  const Time back = flight();
  const bool isLost = m_random.once(40) || there + back >= longestFlight;
  if (!isLost) {
    after(there, [this, &one, isThere, back] {
      if (!isThere() || (isCut("inner") && isCut("outer"))) return;
      const Texts answer = tell(other(one), "answer");
      if (answer.empty()) return;
      after(back, [this, &one, isThere, answer] {
        if (isThere() && !(isCut("inner") && isCut("outer"))) {
          one.linkAt = m_now + quiet;
          tell(one, "reply " + answer[0]);
        }
      });
    });
  }
  after(longestFlight, [this, &one, isThere, asked = m_now] {
    if (isThere() && one.linkAt == asked + quiet) tell(one, "reply ");
  });
}

// One thing, the next that is due.
void Enclosure::step(Time end) {
  Time next = m_due.empty() ? end : std::min(end, m_due.begin()->first.first);
  Slot* woken = nullptr;
  enum { Update, Link, Tracker } whose = Update;
  for (Slot& one : m_slots) {
    if (!one.host || one.host->state().isAsking) continue;
    const auto& state = one.host->state();
    for (const auto& [time, of] : {std::pair(state.updateAt, Update), std::pair(one.linkAt, Link),
                                   std::pair(state.trackerAt, Tracker)}) {
      if (time < next) next = std::max(m_now, time), woken = &one, whose = of;
    }
  }
  m_now = std::max(m_now, next);
  if (woken == nullptr) {
    if (m_due.empty() || m_due.begin()->first.first > m_now) return;
    const auto due = m_due.extract(m_due.begin());
    due.mapped()();
  } else if (whose == Tracker) {
    track(*woken);
  } else if (whose == Link) {
    woken->linkAt = m_now + quiet;  // until it says when
    tell(*woken, "link");
    if (woken->host && woken->host->state().isAsking) exchange(*woken);
  } else {
    tell(*woken, "time");
  }
}

void Enclosure::runUntil(Time end) {
  while (m_now < end && m_failure.empty()) step(end);
}

bool Enclosure::hasGiversHost(const Push& push) {
  return isRunning(push) && slot(push.from).host && push.giver->boots == push.giverBoot;
}

void Enclosure::beginPush(Slot& one, const std::string& command) {
  if (!one.controller || one.controller->isPushing) return;
  const bool firmware =
      command.find("pushmc") != std::string::npos || command.find("dopfu ") != std::string::npos;
  const bool settings = command.find("pushcfg") != std::string::npos;
  auto push = std::make_shared<Push>(Push{.giver = one.controller,
                                          .giverBoot = one.controller->boots,
                                          .from = one.letter,
                                          .kinds = !settings  ? "firmware"
                                                   : firmware ? "firmware-settings"
                                                              : "settings",
                                          .client = std::to_string(++m_clients)});
  push->isStubborn = m_random.once(2);
  one.controller->isPushing = true;
  after(second / 10, [this, push] { askForPush(push, 20); });
}

void Enclosure::askForPush(const PushPointer& push, int tries) {
  if (!hasGiversHost(*push) || tries == 0) return endPush(push);
  Slot& giver = slot(push->from);
  ++m_asks;
  const Texts answer = tell(giver, "ask " + push->client + " " + push->kinds);
  if (answer.size() < 2 || answer[0] == "no") return endPush(push);
  if (answer[0] == "wait") return after(second, [=, this] { askForPush(push, tries - 1); });
  push->ticket = answer[0] == "yes" ? answer[1] : "-";
  const Texts told = tell(giver, "answer");
  Values values = valuesOf(told.empty() ? "" : told[0]);
  push->toSerial = values["AskSerial"];
  push->end = m_now + second * (1 + m_random.below(15));
  load(push);
}

// It looks after its ticket, or does not.
void Enclosure::load(const PushPointer& push) {
  if (!isRunning(*push)) return endPush(push);
  if (!push->isStubborn) {
    if (!hasGiversHost(*push)) return endPush(push);
    const Texts answer = tell(slot(push->from), "ask " + push->client + " " + push->kinds);
    if (answer.empty() || answer[0] == "no") return endPush(push);
  }
  if (m_now < push->end) return after(second, [=, this] { load(push); });
  deliver(push);
}

void Enclosure::deliver(const PushPointer& push) {
  Slot& receiver = other(slot(push->from));
  const Slot& giver = slot(push->from);  // its host may have ended: then the path stays
  if (!isRunning(*push) || !receiver.host || (giver.host && isCut(giver.host->state().path)))
    return endPush(push);
  const Texts answer = tell(receiver, "check " + push->ticket + " " + push->kinds);
  if (answer.empty() || answer[0] == "no" || !receiver.host) return endPush(push);
  ++receiver.holders;
  push->wantedAt = m_now;
  seal(push, receiver.controller, receiver.controller->boots, 10);
}

void Enclosure::release(Slot& one) {
  --one.holders;
  boot(one);
}

// The receiver's program keeps hosts from being started meanwhile, and then goes by the one that
// runs.
void Enclosure::seal(const PushPointer& push, const std::shared_ptr<Controller>& receiver, int boot,
                     int tries) {
  Slot& one = other(slot(push->from));
  if (one.controller != receiver) return endPush(push);
  Texts answer;
  if (tries > 0 && receiver->boots == boot) {
    answer = tell(one, "seal " + push->client + " " + push->ticket + " " + push->kinds);
  }
  if (!answer.empty() && answer[0] == "wait")
    return after(second / 2, [=, this] { seal(push, receiver, boot, tries - 1); });
  if (answer.empty() || answer[0] == "no") {
    tell(one, "end " + push->client);
    release(one);
    return endPush(push);
  }
  checkPutting(*push, one);
  if (one.controller == receiver)
    after(m_random.below(3 * second), [=, this] {
      Slot& still = other(slot(push->from));
      if (still.controller != receiver) return endPush(push);
      putInForce(push, still);
    });
}

// The independent look, at the moment of the seal: the giver's controller and boot, the receiver,
// and, where nothing but the services has changed anything lately, that the receiver takes it.
void Enclosure::checkPutting(const Push& push, const Slot& receiver) {
  const bool isGuarded =
      receiver.controller && receiver.controller->configuration["PartnerLink.consent"] == "true";
  if (push.ticket == "-" || !isGuarded) return;
  if (receiver.controller == nullptr || "SN" + receiver.controller->serial != push.toSerial)
    fail("what was meant for " + push.toSerial + " is put in force in slot " + receiver.letter);
  const auto ended = push.giver->ended.find(push.giverBoot);
  if (ended != push.giver->ended.end() && ended->second < push.wantedAt)
    fail("the giver's host had ended before the seal was wanted");
  if (m_now - m_changed < longestFlight + second || !receiver.controller) return;
  Values its;
  Values mine;
  for (const char* key : {"LoadMidplaneSerial", "LastLoadedTime", "LastPairedPartnerSerial",
                          "ControllerSerial", "CpldVersion"}) {
    its[key] = stored(*push.giver, key);
    mine[key] = stored(*receiver.controller, key);
  }
  const bool firmware = push.kinds.find("firmware") != std::string::npos;
  const bool settings = push.kinds.find("settings") != std::string::npos;
  const auto& guestOf = push.giver->guestOf;
  if (settings && m_isUntouched && guestOf == receiver.controller->serial)
    fail("a controller from elsewhere gives its settings to the master that it met");
  const bool isByVersions = push.giver->configuration["undecided"] == "true";
  if (isByVersions) return;
  if (firmware && !takesFirmware(mine, its, push.from)) fail("firmware for one that gives its own");
  if (settings && !takesSettings(mine, its, push.from)) fail("settings for one that gives its own");
}

void Enclosure::putInForce(const PushPointer& push, Slot& receiver) {
  const char* const firmware[] = {"McVersion", "BundleVersion", "CpldVersion", "LastLoadedTime"};
  end(receiver);
  receiver.controller->guestOf.clear();
  if (push->kinds.find("firmware") != std::string::npos) {
    for (const char* key : firmware)
      receiver.toLoad.push_back(std::string(key) + "=" + stored(*push->giver, key));
  }
  if (push->kinds.find("settings") != std::string::npos) {
    for (const auto& [place, value] : services::sysinfo::transferable(rowsOf(push->giver->root)))
      receiver.toLoad.push_back(place.key + "=" + value);
  }
  after(second, [this, &receiver] { release(receiver); });
  endPush(push);
}

void Enclosure::endPush(const PushPointer& push) {
  push->giver->isPushing = false;
  if (hasGiversHost(*push)) tell(slot(push->from), "end " + push->client);
}

std::string Enclosure::stored(const Controller& controller, const std::string& key) {
  const auto rows = rowsOf(controller.root);
  const auto row = rows.find({controller.root.substr(controller.root.size() - 1), key});
  return row == rows.end() ? "" : row->second;
}

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
