// The log: destinations, levels, the form of a line, and a queue that never holds a writer up.

#include "host/base/fw_Entity.h"
#include "support/Test.h"

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
  writer.LogMethodWarning(
      "virtual const Text& {anonymous}::Writer::name[abi:cxx11](bool (*)(int)) const", 12, "%s",
      "{brace");
  Logger::StaticLogMethod(LogType::Debug, "g()", 3, "quiet");
  Logger::StaticLog(LogType::Trace, "%s", std::string(20000, 'x').c_str());
  Logger::stop();
  const std::string lines = files.read("log");
  const std::string time = "[0-9-]{10} [0-9:]{8}\\.[0-9]{3} ";
  for (const char* line :
       {"error   Writer: 7 apples\n", "info    Writer: 100% \\{\\}\n\\?\n",
        "info    Writer: a\\?\\?\\?\n\n", "warning Writer \\[name:12\\]: \\{brace\n",
        "debug   host \\[g:3\\]: quiet\n", "trace   host: x{9215}\n"}) {
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

// Keeps the lines' texts, and waits at a line "held N" until that step is released. A flag that
// goes down and up again would not do: who sleeps on it may never see it down.
class HeldTaker : public test::LogCapture {
 public:
  ~HeldTaker() override { release(INT_MAX); }
  void takeLine(int /*type*/, const char* line, std::size_t size) override {
    const std::string all(line, size - 1);
    const std::string text = all.substr(all.find("host: ") + 6);
    texts.add(text);
    if (text.starts_with("held ")) waitFor(std::stoi(text.substr(5)));
  }
  void release(int step) {
    released = step;
    released.notify_all();
  }
  test::Kept<std::string> texts;

 private:
  void waitFor(int step) const {
    for (int now = released; now < step; now = released) released.wait(now);
  }

  std::atomic<int> released = -1;
};

// Beside a list of the lines: the level holds heavier numbers back, and a full queue drops the
// oldest, counts them and holds nobody up. What else the queue would hold is waited for.
TEST_F(Logging, DoesAsAListWithABoundOverRandomHistories) {
  constexpr std::size_t queue = 1024;
  constexpr const char* names[] = {"error", "warning", "info", "debug", "trace"};
  EXPECT_EQ(Logger::levelOf("loud"), -1);
  std::minstd_rand random(1);
  start();
  HeldTaker taker;
  std::vector<std::string> expected;
  int level = LogType::Trace;
  const auto isTaken = [&] { return taker.texts.all() == expected; };
  const auto write = [&](const std::string& text, std::vector<std::string>& list) {
    const int type = int(random() % 5);
    Logger::StaticLog(type, "%s", text.c_str());
    if (type <= level) list.push_back(text);
  };
  for (int step = 0; step < 60; ++step) {
    if (random() % 4 == 0) {
      Logger::stop();  // no line is lost to it
      start();
    }
    Logger::setLevel(level = Logger::levelOf(names[random() % 5]));
    for (const std::size_t before = expected.size(); expected.size() == before;) {
      write("held " + std::to_string(step), expected);
    }
    ASSERT_TRUE(test::eventually(isTaken)) << step;
    std::vector<std::string> waiting;
    const std::size_t count = random() % 3 == 0 ? random() % 4000 : random() % 40;
    for (std::size_t i = 0; i < count; ++i) write(std::to_string(i), waiting);
    if (waiting.size() > queue) {
      const auto dropped = std::ssize(waiting) - std::ptrdiff_t(queue);
      expected.push_back(std::to_string(dropped) + " log lines were dropped");
      waiting.erase(waiting.begin(), waiting.begin() + dropped);
    }
    expected.insert(expected.end(), waiting.begin(), waiting.end());
    taker.release(step);
    ASSERT_TRUE(test::eventually(isTaken)) << step;
  }
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
class Counter : public test::LogCapture {
 public:
  void takeLine(int, const char*, std::size_t) override {
    ++lines;
    lines.notify_one();
  }
  std::atomic<int> lines = 0;
};

TEST_F(Logging, NoLineIsLostWhileThreadsWriteOverStartsAndStops) {
  constexpr int onTheirWay = 500;  // fewer than the queue holds
  Counter counter;
  std::atomic<int> written = 0;
  std::atomic<bool> enough = false;
  testing::internal::CaptureStderr();
  {
    std::array<std::jthread, 4> writers;
    for (auto& writer : writers) {
      writer = std::jthread([&] {
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
    for (int round = 0; round < 50; ++round) {
      start();
      counter.lines.wait(counter.lines);
      Logger::stop();
    }
    enough = true;
  }
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(counter.lines, written);
}

}  // namespace
