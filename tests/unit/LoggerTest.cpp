// The log: destinations, levels, the form of a line, and a queue that never holds a writer up.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <latch>
#include <thread>

#include "host/base/fw_Entity.h"
#include "host/log/fw_Logger.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"

namespace {

using framework::Logger;
using framework::LogType;

class Writer : public framework::Entity {
 public:
  strings::stringtoken getName() const override { return 0; }
  const char* getNameString() const override { return "Writer"; }
  void information(utility::PutStream&, int, bool) const override {}
};

class Logging : public testing::Test {
 protected:
  ~Logging() override { Logger::stop(); }
  void start() { ASSERT_TRUE(Logger::start({.destination = files.path("log")})); }

  test::Temporary files;
};

TEST_F(Logging, LinesCarryTimeLevelNameAndOperation) {
  start();
  const Writer writer;
  writer.LogError("%d %s", 7, "apples");
  writer.LogInfoS("100% {}\n\x1B");
  writer.LogInfo("a\n\xC2\x9B\xFF\n");
  writer.LogMethodWarning("void f(int)", 12, "%s", "{brace");
  Logger::StaticLogMethod(LogType::Debug, "g()", 3, "quiet");
  Logger::StaticLog(LogType::Trace, "%s", std::string(20000, 'x').c_str());
  Logger::stop();
  const std::string lines = files.read("log");
  const std::string time = "[0-9-]{10} [0-9:]{8}\\.[0-9]{3} ";
  for (const char* line :
       {"error   Writer: 7 apples\n", "info    Writer: 100% \\{\\}\n\\?\n",
        "info    Writer: a\\?\\?\\?\n\n", "warning Writer \\[void f\\(int\\):12\\]: \\{brace\n",
        "debug   host \\[g\\(\\):3\\]: quiet\n", "trace   host: x{9215}\n"}) {
    EXPECT_THAT(lines, testing::ContainsRegex(time + line));
  }
}

TEST_F(Logging, AFileIsItsOwnersAndIsAppendedTo) {
  for (const char* line : {"first", "second"}) {
    start();
    Logger::StaticLog(LogType::Info, "%s", line);
    Logger::stop();
  }
  struct stat status {};
  ::stat(files.path("log").c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_THAT(files.read("log"), testing::ContainsRegex("first\n.*second\n"));
  EXPECT_FALSE(Logger::start({.destination = files.path("none/log")}));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Logging, TheLevelHoldsHeavierNumbersBack) {
  const test::LogCapture capture;
  const char* const names[] = {"error", "warning", "info", "debug", "trace"};
  start();
  for (int level = LogType::Error; level <= LogType::Trace; ++level) {
    EXPECT_EQ(Logger::levelOf(names[level]), level);
    Logger::setLevel(level);
    EXPECT_EQ(Logger::getLevel(), level);
    const std::string text = std::string("at ") + names[level];
    for (int type = LogType::Error; type <= LogType::Trace; ++type) {
      Logger::StaticLog(type, "%s", text.c_str());
    }
  }
  EXPECT_EQ(Logger::levelOf("loud"), -1);
  Logger::stop();
  for (int level = 0; level <= LogType::Trace; ++level) {
    EXPECT_EQ(capture.count(std::string("at ") + names[level]), level + 1) << names[level];
  }
}

TEST_F(Logging, TheFirstTakerIsGivenTheLinesSinceTheStartOnce) {
  for (const bool stopped : {false, true}) {
    start();
    Logger::StaticLog(LogType::Error, "early");
    ASSERT_TRUE(test::eventually([&] { return files.read("log").ends_with("early\n"); }));
    if (stopped) Logger::stop();
    const test::LogCapture first;
    const test::LogCapture second;
    Logger::StaticLog(LogType::Info, "late");
    Logger::stop();
    EXPECT_EQ(first.count("error   host: early\n"), stopped ? 0 : 1);
    EXPECT_EQ(first.count("host: late\n"), 1);
    EXPECT_EQ(second.count("host: "), 1);
    files.write("log", "");
  }
}

// A taker that lets the first line wait until it is told to go on.
class SlowTaker : public test::LogCapture {
 public:
  void takeLine(int type, const char* line, std::size_t size) override {
    if (!reached.exchange(true)) goOn.wait();
    LogCapture::takeLine(type, line, size);
  }
  std::atomic<bool> reached = false;
  std::latch goOn{1};
};

TEST_F(Logging, AFullQueueDropsTheOldestCountsThemAndHoldsNobodyUp) {
  constexpr int lines = 3000;
  constexpr int queue = 1024;
  start();
  SlowTaker taker;
  Logger::StaticLog(LogType::Info, "held up");
  ASSERT_TRUE(test::eventually([&] { return taker.reached.load(); }));
  Logger::StaticLog(LogType::Info, "the oldest that waits");
  {
    std::array<std::jthread, 3> writers;
    for (auto& writer : writers) {
      writer = std::jthread([] {
        for (int i = 0; i < lines / 3; ++i) Logger::StaticLog(LogType::Info, "flood %d", i);
      });
    }
  }  // the writers are done, the taker has not moved
  taker.goOn.count_down();
  Logger::stop();
  EXPECT_TRUE(taker.has("held up"));
  EXPECT_TRUE(taker.has("flood " + std::to_string(lines / 3 - 1)));
  EXPECT_FALSE(taker.has("the oldest"));
  // The stop itself takes a place of the queue.
  const long kept = taker.count("flood ");
  EXPECT_NEAR(double(kept), queue, 1);
  EXPECT_EQ(taker.count("host: " + std::to_string(lines + 1 - kept) + " log lines were dropped"),
            1);
}

TEST_F(Logging, ADestinationThatNobodyReadsCostsItsLinesOnly) {
  ASSERT_EQ(::mkfifo(files.path("log").c_str(), 0600), 0);
  const int pipe = ::open(files.path("log").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  while (::write(pipe, "x", 1) == 1) continue;
  const test::LogCapture taker;
  start();
  for (int i = 0; i < 10; ++i) Logger::StaticLog(LogType::Info, "stalled");
  EXPECT_TRUE(test::eventually([&] { return taker.count("stalled") == 10; }));
  Logger::stop();
  ::close(pipe);
}

// Counts lines, and wakes who waits for the next one.
class Counter : public Logger {
 public:
  Counter() { registerLogger(this); }
  ~Counter() override { unregisterLogger(this); }
  void takeLine(int, const char*, std::size_t) override {
    ++lines;
    lines.notify_one();
  }
  std::atomic<int> lines = 0;
};

TEST_F(Logging, NoLineIsLostWhileThreadsWriteOverStartsAndStops) {
  constexpr int rounds = 50;
  constexpr int onTheirWay = 500;  // fewer than the queue holds
  Counter counter;
  std::atomic<int> written = 0;
  std::atomic<bool> enough = false;
  testing::internal::CaptureStderr();
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      while (!enough) {
        if (written - counter.lines > onTheirWay) {
          std::this_thread::yield();
          continue;
        }
        ++written;
        Logger::StaticLog(LogType::Info, "line");
      }
    });
  }
  for (int round = 0; round < rounds; ++round) {
    start();
    counter.lines.wait(counter.lines);
    Logger::stop();
  }
  enough = true;
  for (std::thread& writer : writers) writer.join();
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(counter.lines, written);
}

}  // namespace
