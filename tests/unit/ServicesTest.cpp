// The lives of services: registration, building, events, threads, the order of the stop.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>

#include "host/framework/fw_EventManager.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_ServiceHost.h"
#include "host/framework/st_StringRepository.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"
#include "util/fw_Exception.h"

namespace {

using framework::EventManager;
using framework::ServiceFactory;
using framework::ServiceHost;
using strings::GS;
using strings::stringtoken;

using Notes = std::vector<std::string>;

// What happened, in order, as any thread noted it.
class Diary {
 public:
  void note(const std::string& what) {
    const std::lock_guard lock(m_mutex);
    m_notes.push_back(what);
  }
  Notes notes() const {
    const std::lock_guard lock(m_mutex);
    return m_notes;
  }
  void clear() {
    const std::lock_guard lock(m_mutex);
    m_notes.clear();
  }

 private:
  mutable std::mutex m_mutex;
  Notes m_notes;
};

Diary diary;

bool areNotes(std::size_t count) {
  return test::eventually([count] { return diary.notes().size() >= count; });
}

// Notes what the host does with it; its threads sleep until the shutdown.
class Noted : public framework::ActiveService {
 public:
  explicit Noted(const char* name) : ActiveService(name) {
    diary.note(std::string("build ") + name);
    setRequestedThreads(std::string(name) == "Second" ? 3 : 0);
  }
  ~Noted() override { diary.note(std::string("destroy ") + getNameString()); }

  const framework::ServiceInfo* serviceInfo() const override { return nullptr; }
  void Startup() override {
    diary.note(std::string("start ") + getNameString());
    if (std::string(getNameString()) == "Third") throw std::runtime_error("start trouble");
  }
  void Shutdown() override {
    diary.note(std::string("stop ") + getNameString());
    ActiveService::Shutdown();
  }
  void threadDo(int index) override {
    if (index == 1) throw std::runtime_error("thread trouble");
    const std::lock_guard lock(m_waiter);
    while (!requestToShutdown()) m_waiter.wait(3600);
    diary.note(std::string("thread of ") + getNameString());
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
  diary.clear();
  ServiceHost host;
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

  host.start();
  EXPECT_TRUE(test::eventually([&] { return host.find("Second")->failed->load(); }));
  EXPECT_TRUE(log.has("Second: thread ended by an exception"));
  EXPECT_TRUE(host.find("Third")->failed->load());
  EXPECT_FALSE(host.find("First")->failed->load());
  host.stop();
  host.destroy();
  EXPECT_EQ(diary.notes(), (Notes{"build First", "build Second", "build Third", "start First",
                                  "start Second", "start Third", "stop Third", "stop Second",
                                  "thread of Second", "thread of Second", "stop First",
                                  "destroy Third", "destroy Second", "destroy First"}));
}

const stringtoken common = GS.toToken("common event");
const stringtoken special = GS.toToken("special event");
const stringtoken recordEvent = GS.toToken("record event");

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
    diary.note(std::string(getNameString()) + " " + (text == nullptr ? "nothing" : text));
    held.wait(true);
    if (event == special) throw std::runtime_error("handler trouble");
    return true;
  }

  std::atomic<bool> held = false;

 private:
  std::vector<stringtoken> m_events;
};

class Events : public testing::Test {
 protected:
  Events() {
    diary.clear();
    events.declareRecord(recordEvent);
    events.start({&first, &second});
  }
  ~Events() override { events.stop(); }

  EventManager events;
  Listener first{"first", {common, special, recordEvent}};
  Listener second{"second", {common}};
};

TEST_F(Events, GoToTheirSubscribersInOrderWithTheDeclaredData) {
  const auto record = std::make_shared<const std::string>("text");
  const std::shared_ptr<const void> data(record, record->c_str());
  EXPECT_TRUE(events.raise(special));
  EXPECT_TRUE(events.raise(GS.toToken("nobody's event"), "lost"));
  EXPECT_FALSE(events.raise(recordEvent));
  EXPECT_FALSE(events.raise(recordEvent, std::string("no record")));
  EXPECT_FALSE(events.raise(common, data));
  EXPECT_TRUE(events.raise(common, std::string("one")));
  EXPECT_TRUE(events.raise(recordEvent, data));
  EXPECT_TRUE(events.raise(common, std::string("two")));
  EXPECT_TRUE(areNotes(6));
  EXPECT_EQ(diary.notes(), (Notes{"first nothing", "first one", "second one", "first text",
                                  "first two", "second two"}));
}

TEST_F(Events, StopLetsTheRunningHandlerEndWithItsDataAndDropsTheRest) {
  auto record = std::make_shared<const std::string>("owned");
  const std::weak_ptr<const std::string> watched = record;
  first.held = true;
  events.raise(recordEvent, std::shared_ptr<const void>(record, record->c_str()));
  record.reset();
  EXPECT_TRUE(areNotes(1));
  events.raise(common, std::string("queued"));
  std::jthread stopper([this] { events.stop(); });
  EXPECT_TRUE(test::eventually([this] { return !events.raise(common); }));
  EXPECT_FALSE(watched.expired());
  first.held = false;
  first.held.notify_all();
  stopper.join();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(diary.notes(), Notes{"first owned"});
}

}  // namespace
