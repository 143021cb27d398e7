// The streams over files and the forwarding stream: opening, failing, forwarding, copying.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <string>

#include "support/Temporary.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileInputStream.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_VirtualPutStream.h"

namespace utility {
namespace {

class FileStreams : public testing::Test {
 protected:
  std::string file(const char* name, const std::string& content) const {
    files.write(name, content);
    return files.path(name);
  }

  const test::Temporary files;
};

TEST_F(FileStreams, AppendKeepsTheContentAndReplaceDropsIt) {
  const std::string place = file("out", "old ");
  FileOutputStream first(place.c_str(), true, 0666);
  FileOutputStream second(place.c_str(), true, 0666);
  EXPECT_TRUE(first.SendOutputStream("a", 1));
  EXPECT_TRUE(second.SendOutputStream("b", 1));
  first.EndOutputStream();
  EXPECT_TRUE(first.StartOutputStream());
  EXPECT_TRUE(first.SendOutputStream("c", 1));
  EXPECT_EQ(files.read("out"), "old abc");
  EXPECT_TRUE(FileOutputStream(place.c_str(), false, 0666).SendOutputStream("new", 3));
  EXPECT_EQ(files.read("out"), "new");
}

TEST_F(FileStreams, ANewFileHasItsModeLessTheUmask) {
  const mode_t previous = ::umask(022);
  EXPECT_TRUE(FileOutputStream(files.path("script").c_str(), false, 0777).isOutputStreamGood());
  ::umask(previous);
  struct stat status {};
  ASSERT_EQ(::stat(files.path("script").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, mode_t{0755});
}

TEST_F(FileStreams, AFailedOpenKeepsItsErrorAndAFailedWriteIsFlagged) {
  FileOutputStream missing(files.path("none/out").c_str(), false, 0666);
  EXPECT_FALSE(missing.isOutputStreamOpen());
  EXPECT_TRUE(missing.isOutputStreamInError());
  EXPECT_EQ(missing.getErrno(), ENOENT);
  EXPECT_FALSE(missing.StartOutputStream());
  EXPECT_FALSE(missing.SendOutputStream("a", 1));

  FileOutputStream full("/dev/full", false, 0666);
  EXPECT_TRUE(full.isOutputStreamGood());
  EXPECT_FALSE(full.SendOutputStream("a", 1));
  EXPECT_TRUE(full.isOutputStreamOpen());
  EXPECT_TRUE(full.isOutputStreamInError());
  EXPECT_EQ(full.getErrno(), 0);

  FileOutputStream small(file("out", "old\n").c_str(), true, 0666);
  const test::Limit limit(RLIMIT_FSIZE, 6);
  EXPECT_FALSE(small.SendOutputStream("new line\n", 9));
  EXPECT_EQ(files.read("out"), "old\n") << "no half line is left";
}

TEST_F(FileStreams, ABufferStreamHoldsAWholeFile) {
  const std::string large = std::string(300000, 'x') + "end";
  for (const std::string& content : {std::string(), std::string(4096, 'c'), large}) {
    BufferStream stream(file("whole", content).c_str());
    EXPECT_EQ(stream.ReadAvailable(), static_cast<int>(content.size()));
    EXPECT_EQ(stream.WriteRemaining(), 0);
    EXPECT_STREQ(stream.pTail(), content.c_str());
  }
  EXPECT_EQ(BufferStream(files.path("none").c_str()).ReadAvailable(), 0);
  EXPECT_STREQ(BufferStream(files.path("").c_str()).pTail(), "") << "a directory";
  EXPECT_GT(BufferStream("/proc/self/status").ReadAvailable(), 0);
}

/// Records what it is told; while it refuses, it answers false.
class Recorder : public framework::OutputStream {
 public:
  bool StartOutputStream() override {
    m_calls += "start;";
    return !m_refuses;
  }
  void EndOutputStream() override { m_calls += "end;"; }
  bool SendOutputStream(const char* data, unsigned int size) override {
    m_calls.append(data, size).append(";");
    return !m_refuses;
  }
  bool isOutputStreamOpen() override { return true; }
  bool isOutputStreamInError() override { return false; }
  bool isOutputStreamAtEnd() override { return false; }

  bool m_refuses = false;
  std::string m_calls;
};

struct ForwardCase {
  const char* name;
  std::function<void(VirtualPutStream&)> act;
  const char* calls;
};

// A buffer for 7 characters, forwarded at 5. Its destructor ends a run with unsent content.
const ForwardCase forwardCases[] = {
    {"nothing put", [](auto&) {}, ""},
    {"below the level", [](auto& s) { s.PutS("abcd"); }, "abcd;end;"},
    {"at the level", [](auto& s) { s.PutS("abcd"), s.PutC('e'); }, "abcde;"},
    {"a run past the level", [](auto& s) { s.PutS("abcdefgh"); }, "abcdefg;h;end;"},
    {"formatted into the room", [](auto& s) { s.PutS("a"), s.PutF("%d", 1234); }, "a1234;"},
    {"formatted past the room", [](auto& s) { s.PutS("a"), s.PutF("%d", 1234567); }, "a;1234567;"},
    {"flush", [](auto& s) { s.PutS("a"), s.FlushOutputStream(), s.FlushOutputStream(); }, "a;"},
    {"end", [](auto& s) { s.PutS("a"), s.EndOutputStream(); }, "a;end;"},
    {"start again", [](auto& s) { s.PutS("a"), s.StartOutputStream(); }, "a;end;start;"},
};

TEST(VirtualPutStream, ForwardsAtItsLevelOnAFlushAndAtTheEnd) {
  for (const ForwardCase& row : forwardCases) {
    Recorder target;
    {
      VirtualPutStream stream(target, 8, 5);
      row.act(stream);
      EXPECT_TRUE(stream.isOutputStreamGood()) << row.name;
    }
    EXPECT_EQ(target.m_calls, row.calls) << row.name;
  }
}

TEST(VirtualPutStream, LosesNothingWhateverItsSizes) {
  const std::string text = "the quick brown fox jumps over the lazy dog";
  for (int size = 0; size < 50; ++size) {
    for (int level = 0; level <= size + 1; ++level) {
      char sent[100];
      PutStream target(sent, sizeof sent);
      VirtualPutStream stream(target, size, level);
      for (const char c : text) stream.PutC(c);
      stream.PutF("%s", text.c_str());
      stream.FlushOutputStream();
      ASSERT_EQ(sent, std::string(text).append(text)) << size << ", " << level;
    }
  }
}

TEST(VirtualPutStream, IsInErrorOnceRefusedUntilStartedAgain) {
  Recorder target;
  VirtualPutStream stream(target, 8, 5);
  EXPECT_TRUE(stream.SendOutputStream("abcde", 5));
  target.m_refuses = true;
  EXPECT_FALSE(stream.SendOutputStream("fghij", 5));
  EXPECT_TRUE(stream.isOutputStreamInError());
  EXPECT_FALSE(stream.StartOutputStream());
  EXPECT_TRUE(stream.isOutputStreamGood());
}

TEST(VirtualPutStream, ItsDestructorSwallowsWhatTheTargetThrows) {
  char array[2];
  PutStream tooSmall(array, sizeof array);
  VirtualPutStream(tooSmall, 8, 5).PutS("ab");
  EXPECT_STREQ(array, "a");
}

TEST_F(FileStreams, TransferAnswersWhetherTheInputEndedWellAndAllWasTaken) {
  const std::string content(40000, 'y');
  FileInputStream input(file("from", content).c_str());
  FileOutputStream output(files.path("to").c_str(), false, 0666);
  VirtualPutStream stream(output, 16384, 13107);
  EXPECT_EQ(input.GetInputStreamSize(), 40000);
  EXPECT_TRUE(stream.StartOutputStream());
  EXPECT_TRUE(stream.TransferFromInputStream(input));
  EXPECT_TRUE(input.isInputStreamAtEnd());
  EXPECT_FALSE(input.isInputStreamInError());
  EXPECT_TRUE(stream.TransferFromInputStream(input)) << "at its end from the start";
  stream.EndOutputStream();
  EXPECT_EQ(files.read("to"), content);

  FileInputStream missing(files.path("none").c_str());
  EXPECT_FALSE(missing.StartInputStream());
  EXPECT_EQ(missing.GetInputStreamSize(), -1);
  EXPECT_FALSE(stream.TransferFromInputStream(missing));
  FileInputStream unreadable(files.path("").c_str());
  EXPECT_FALSE(stream.TransferFromInputStream(unreadable));
  EXPECT_TRUE(unreadable.isInputStreamInError());
  FileOutputStream full("/dev/full", false, 0666);
  EXPECT_TRUE(input.StartInputStream());
  EXPECT_FALSE(full.TransferFromInputStream(input));
}

}  // namespace
}  // namespace utility
