// An enclosure in simulated time: two slots with hosts, push programs, cables, and an operator.
#pragma once

#include "histories/HostProcess.h"

namespace test {

constexpr std::int64_t quiet = 600 * second;  // in which nothing happens from outside

/// Plays a story on two real hosts and holds them to what must never be. Times are microseconds.
///
/// The push programs are those of a platform: they ask, load for some seconds, bring what they gave
/// to whoever is in the other slot, and go by what its host answers. They outlive their host, and
/// the stubborn ones go on after their ticket has ended.
class Enclosure {
 public:
  explicit Enclosure(const Story& story);
  ~Enclosure();

  /// What went wrong, empty for nothing.
  std::string play();

 private:
  using Time = std::int64_t;

  // What is true of a controller, host or no host.
  struct Controller {
    std::string serial;
    std::string root;  // of its files
    std::map<std::string, std::string> configuration;
    int boots = 0;
    bool isPushing = false;     // its push program runs
    std::map<int, Time> ended;  // of its boots
    std::string guestOf;        // the master that it met and has taken nothing from yet
  };
  struct Slot {
    char letter = 'A';
    std::shared_ptr<Controller> controller;  // null while the slot is empty
    std::unique_ptr<HostProcess> host;       // null while it is down
    int holders = 0;                         // programs that keep the host down
    Texts toLoad;                            // when it starts
    Time linkAt = 0;
  };
  struct Push {
    std::shared_ptr<Controller> giver;
    int giverBoot;
    char from;
    std::string kinds;
    std::string client;
    bool isStubborn = false;
    std::string ticket = {};
    std::string toSerial = {};  // in truth, when the ticket was given
    int toBoot = 0;
    Time end = 0;
    Time wantedAt = 0;  // the seal
  };
  using PushPointer = std::shared_ptr<Push>;

  Slot& slot(char letter) { return m_slots[letter == 'A' ? 0 : 1]; }
  Slot& other(const Slot& one) { return m_slots[one.letter == 'A' ? 1 : 0]; }
  void at(Time time, std::function<void()> what) {
    m_due.emplace(std::pair(time, m_sequence++), std::move(what));
  }
  void after(Time pause, std::function<void()> what) { at(m_now + pause, std::move(what)); }
  void fail(const std::string& what) {
    if (m_failure.empty()) m_failure = text("%.3f s: ", double(m_now) / 1e6) + what + "\n";
  }
  bool isRunning(const Push& push) { return slot(push.from).controller == push.giver; }
  bool hasGiversHost(const Push& push);

  bool isCut(const std::string& path) const { return m_cut.contains(path) && m_cut.at(path); }

  void happen(const Happening& happening);
  void insert(Slot& slot, const std::string& what, long number);
  void noteGuest(Slot& slot);
  void pull(Slot& slot);
  void boot(Slot& slot);
  void end(Slot& slot);
  void hostDied(Slot& slot);
  Texts tell(Slot& slot, const std::string& what);
  void track(Slot& slot);
  void afterTelling(Slot& slot);
  void exchange(Slot& slot);
  void step(Time end);
  void runUntil(Time end);

  void beginPush(Slot& slot, const std::string& command);
  void askForPush(const PushPointer& push, int tries);
  void load(const PushPointer& push);
  void deliver(const PushPointer& push);
  void seal(const PushPointer& push, const std::shared_ptr<Controller>& receiver, int boot,
            int tries);
  void putInForce(const PushPointer& push, Slot& receiver);
  void checkPutting(const Push& push, const Slot& receiver);
  void endPush(const PushPointer& push);
  void release(Slot& slot);

  void checkTickets();
  static std::string stored(const Controller& controller, const std::string& key);
  std::string end();
  std::string histories();
  std::string tryRemedies();
  std::string outcome();

  const Story& m_story;
  Random m_random;
  const std::string m_root;
  std::array<Slot, 2> m_slots;
  std::vector<std::shared_ptr<Controller>> m_all;
  std::map<std::string, bool> m_cut;
  std::map<std::pair<Time, long>, std::function<void()>> m_due;
  long m_sequence = 0;
  Time m_now = 1700000000LL * 1000000;
  const Time m_start = m_now;
  Time m_changed = 0;  // when an operator changed a fact last
  int m_clients = 0;
  bool m_isUntouched = true;  // no operator has changed anything
  int m_asks = 0;             // since m_changed
  std::string m_failure;
};

}  // namespace test
