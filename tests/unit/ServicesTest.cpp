// The lives of services: registration, building, events, threads, the order of the stop.

#include "host/console/fw_CommandTable.h"
#include "host/console/fw_HostCommands.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/service/fw_ServiceHost.h"
#include "support/Test.h"

namespace {

using framework::EventManager;
using framework::ServiceFactory;
using framework::ServiceHost;
using strings::GS;
using strings::stringtoken;

using Notes = std::vector<std::string>;

// What happened, of one test.
std::unique_ptr<test::Kept<std::string>> diary;

// Notes what the host does with it; its threads sleep until the shutdown.
class Noted : public framework::ActiveService {
 public:
  explicit Noted(const char* name) : ActiveService(name) {
    diary->add(std::string("build ") + name);
    setRequestedThreads(std::string(name) == "Second" ? 3 : 0);
  }
  ~Noted() override { diary->add(std::string("destroy ") + getNameString()); }

  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  void initializeCommands(framework::Shell& shell) override {
    shell.registerCommand(new framework::FunctionCommand(
        framework::commandOf<"noted">("Noted", "noted\n", "noted\n"), [](auto& console, auto&) {
          console.reply(framework::Ok, "noted\n");
          return 1;
        }));
    if (std::string(getNameString()) == "Third") throw std::runtime_error("command trouble");
  }
  void Startup() override {
    diary->add(std::string("start ") + getNameString());
    if (std::string(getNameString()) == "Third") throw std::runtime_error("start trouble");
  }
  void Shutdown() override {
    diary->add(std::string("stop ") + getNameString());
    ActiveService::Shutdown();
  }
  const stringtoken* eventSubscription() const override {
    static constexpr stringtoken list[] = {strings::token<"goingDown">, strings::tGSendOfList};
    return std::string(getNameString()) == "First" ? list : nullptr;
  }
  bool serviceEvent(stringtoken, const void* data) override {
    diary->add(std::string("told ") + (data == nullptr ? "-" : static_cast<const char*>(data)));
    return true;
  }
  void threadDo(int index) override {
    if (index == 1) throw std::runtime_error("thread trouble");
    const std::lock_guard lock(m_waiter);
    while (!requestToShutdown()) m_waiter.wait(3600);
    diary->add(std::string("thread of ") + getNameString());
  }
};

framework::Service* buildNoted(const char* name) { return new Noted(name); }
framework::Service* buildWithException(const char*) {
  throw new framework::Exception(strings::tGSstreamOverflow, "", "build", "trouble", true);
}
framework::Service* buildWithError(const char*) { throw std::runtime_error("standard trouble"); }
framework::Service* buildNothing(const char*) { return nullptr; }

const ServiceFactory factories[] = {{buildNoted, "First"},       {buildWithException, "Throwing"},
                                    {buildWithError, "Failing"}, {buildNothing, "Nothing"},
                                    {buildNoted, "Second"},      {buildNothing, "First"},
                                    {buildNoted, "Third"}};

TEST(ServiceFactoryTest, ANameIsRegisteredOnce) {
  EXPECT_EQ(ServiceFactory::find("First"), &factories[0]);
  EXPECT_EQ(ServiceFactory::duplicates(), Notes{"First"});
  EXPECT_EQ(ServiceFactory::find("Unknown"), nullptr);
}

TEST(ServiceHostTest, RunsWhatCanBeBuiltAndStopsItInReverse) {
  const test::LogCapture log;
  diary = std::make_unique<test::Kept<std::string>>();
  ServiceHost& host = ServiceHost::instance();
  framework::Shell shell;
  framework::registerHostCommands(shell, [] {});
  host.build({"First", "Throwing", "Failing", "Nothing", "Unknown", "Second", "Third"});
  for (const char* line :
       {"Throwing: construction ended by an exception: stream overflow in build trouble",
        "Failing: construction ended by an exception: standard trouble",
        "Nothing: construction ended by an exception", "Unknown: no such service is registered"}) {
    EXPECT_EQ(log.count(line), 1) << line;
  }
  ASSERT_EQ(host.services().size(), 3U);
  EXPECT_EQ(host.find("Second"), &host.services()[1]);
  EXPECT_EQ(host.find("Throwing"), nullptr);

  framework::CommandBundle::registerAll(shell);
  EXPECT_EQ(test::ask(shell, "noted"), "0 noted\n");
  EXPECT_EQ(log.count("Third: registration of commands ended by an exception: command trouble"), 1);
  EXPECT_TRUE(host.find("Third")->failed->load());
  host.services()[0].service->initializeCommands(framework::Shell::instance());
  EXPECT_EQ(log.count("command noted is not taken: register it in initializeCommands()"), 1);

  host.start();
  EXPECT_TRUE(test::eventually([&] { return host.find("Second")->failed->load(); }));
  EXPECT_TRUE(log.has("Second: thread ended by an exception"));
  EXPECT_EQ(log.count("Third: Startup ended by an exception: start trouble"), 1);
  EXPECT_THAT(test::ask(shell, "services"),
              testing::ContainsRegex("\nFirst +running +0\n(.*\n)*Third +failed +0\n"));
  for (const char* text : {"", " web", " web \"now  or\" never"}) {
    EXPECT_EQ(test::ask(shell, std::string("event send goingDown") + text),
              "0 event goingDown sent\n");
  }
  EXPECT_TRUE(test::eventually([] { return diary->all().back() == "told web now  or never"; }));
  host.stop();
  host.destroy();
  EXPECT_EQ(diary->all(),
            (Notes{"build First", "build Second", "build Third", "start First", "start Second",
                   "start Third", "told -", "told web", "told web now  or never", "stop Third",
                   "stop Second", "thread of Second", "thread of Second", "stop First",
                   "destroy Third", "destroy Second", "destroy First"}));
}

const stringtoken common = GS.toToken("common event");
const stringtoken special = GS.toToken("special event");
const stringtoken recordEvent = GS.toToken("record event");

// An event as it is seen: a record of a thing, or a text (-1), by the number of its raising.
struct Seen {
  int thing = 0, raised = 0;
  bool second = false;
  int told = 0;
  bool operator==(const Seen&) const = default;
};

// A record that counts those it supersedes and takes over their kind.
struct Thing : framework::EventRecord {
  explicit Thing(const Seen& given) : seen(given) {}
  stringtoken event() const override { return recordEvent; }
  const void* data() const override { return &seen; }
  bool supersede(EventRecord& other) override {
    const Seen& older = dynamic_cast<const Thing&>(other).seen;
    if (older.thing != seen.thing) return false;
    seen.told += older.told;
    seen.second |= older.second;
    return true;
  }
  void handled() override { diary->add("handled " + std::to_string(seen.raised)); }

  Seen seen;
};

// Notes the events that it is given, and can be held up while it handles one.
class Listener : public framework::Service {
 public:
  Listener(const char* name, std::vector<stringtoken> events)
      : Service(name), m_events(std::move(events)) {
    m_events.push_back(strings::tGSendOfList);
  }
  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  const stringtoken* eventSubscription() const override { return m_events.data(); }
  bool serviceEvent(stringtoken event, const void* data) override {
    const auto* text = static_cast<const char*>(data);
    m_seen.add(event == recordEvent ? *static_cast<const Seen*>(data)
                                    : Seen{-1, text ? std::stoi(text) : -1, false, 1});
    held.wait(true);
    if (event == special && data != nullptr) throw std::runtime_error("handler trouble");
    return true;
  }
  std::vector<Seen> seen() const { return m_seen.all(); }
  bool waitFor(int raised) const {
    return test::eventually([&] { return !seen().empty() && seen().back().raised == raised; });
  }
  void release() {
    held = false;
    held.notify_all();
  }

  std::atomic<bool> held = false;

 private:
  std::vector<stringtoken> m_events;
  test::Kept<Seen> m_seen;
};

class Events : public testing::Test {
 protected:
  Events() {
    diary = std::make_unique<test::Kept<std::string>>();
    events.declareRecord(recordEvent);
    events.start({&first, &second});
  }
  ~Events() override { events.stop(); }
  bool raiseThing(const Seen& seen) {
    return events.raise(recordEvent, [&] { return std::make_unique<Thing>(seen); });
  }

  EventManager events;
  Listener first{"first", {common, special, recordEvent}};
  Listener second{"second", {common, recordEvent}};
};

// Every subscriber sees, in the order of raising, each text, and of each thing the last record: the
// one before it stands for those raised since the one that was seen before it.
void expectAllTold(const std::vector<Seen>& raised, const std::vector<Seen>& seen) {
  std::map<int, Seen> due;
  auto next = seen.begin();
  for (const Seen& one : raised) {
    const Seen before = std::exchange(due[one.thing], one);
    due[one.thing].told += before.told;
    due[one.thing].second |= before.second;
    if (next == seen.end() || next->raised != one.raised) continue;
    EXPECT_EQ(*next++, std::exchange(due[one.thing], {}));
  }
  EXPECT_EQ(next, seen.end()) << "out of order";
  for (const auto& [thing, left] : due) EXPECT_EQ(left.told, 0) << "lost: " << thing;
}

TEST_F(Events, ArriveInOrderAtEverySubscriberHoweverSlowAnotherIs) {
  std::mt19937 random(20261211);
  const auto chance = [&](unsigned int in) { return random() % in == 0; };
  std::vector<Seen> raised;
  for (int number = 0; number < 4000; ++number) {
    if (chance(20)) first.held = true;
    if (chance(20)) first.release();
    if (chance(7)) {
      raised.push_back({-1, number, false, 1});
      EXPECT_TRUE(events.raise(common, std::to_string(number)));
    } else {
      raised.push_back({static_cast<int>(random() % 5), number, chance(3), 1});
      EXPECT_TRUE(raiseThing(raised.back()));
    }
  }
  first.held = true;
  EXPECT_TRUE(second.waitFor(3999)) << "while the first is held";
  first.release();
  EXPECT_TRUE(first.waitFor(3999));
  expectAllTold(raised, first.seen());
  expectAllTold(raised, second.seen());
  EXPECT_LT(first.seen().size(), raised.size());
}

TEST_F(Events, AreRefusedWithAnUndeclaredFormAndALineWhenThereIsNoRoom) {
  const test::LogCapture log;
  EXPECT_FALSE(events.raise(recordEvent));
  EXPECT_FALSE(events.raise(recordEvent, std::string("no record")));
  EXPECT_FALSE(events.raise(common, [] { return nullptr; }));
  first.held = true;
  EXPECT_TRUE(events.raise(special, std::string("1")));
  EXPECT_TRUE(first.waitFor(1));
  for (int i = 0; i < 1024; ++i) EXPECT_TRUE(events.raise(special));
  EXPECT_FALSE(events.raise(common, std::string("2"))) << "not by the first";
  EXPECT_EQ(log.count("event common event is lost to first"), 1);
  EXPECT_TRUE(second.waitFor(2));
  EXPECT_TRUE(raiseThing({0, 3})) << "a record finds room";
  first.release();
  EXPECT_TRUE(first.waitFor(3)) << "whatever a handler throws";
}

TEST_F(Events, StopLetsTheRunningHandlerEndWithItsDataAndDropsTheRest) {
  first.held = true;
  EXPECT_TRUE(raiseThing({0, 1}));
  EXPECT_TRUE(first.waitFor(1));
  EXPECT_TRUE(second.waitFor(1));
  EXPECT_TRUE(events.raise(special, std::string("2")));
  EXPECT_TRUE(raiseThing({0, 3}));
  EXPECT_TRUE(second.waitFor(3));
  std::jthread stopper([this] { events.stop(); });
  EXPECT_TRUE(test::eventually([this] { return !events.raise(common); }));
  first.release();
  stopper.join();
  EXPECT_EQ(first.seen().size(), 1U);
  const auto notes = diary->all();
  EXPECT_EQ(std::ranges::count(notes, "handled 1"), 2) << "by both";
  EXPECT_EQ(std::ranges::count(notes, "handled 3"), 1);
}

}  // namespace
