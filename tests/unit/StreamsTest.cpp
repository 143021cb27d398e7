// The streams: over arrays, their bounds and time texts; over files; forwarding.
#include "support/Test.h"
#include "util/ut_DateTime.h"
#include "util/ut_FileInputStream.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_System.h"
#include "util/ut_TimeStamp.h"
#include "util/ut_VirtualPutStream.h"

namespace utility {
namespace {

/// "source|operation" of the overflow that `action` throws; empty when it throws nothing.
std::string overflowOf(const std::function<void()>& action) {
  try {
    action();
  } catch (framework::Exception* thrown) {
    const std::unique_ptr<framework::Exception> exception(thrown);
    EXPECT_EQ(exception->getKind(), strings::tGSstreamOverflow);
    EXPECT_STREQ(exception->getMessage(), "");
    EXPECT_TRUE(exception->isError());
    return std::string(exception->getSource()) + "|" + exception->getOperation();
  }
  return "";
}

const char* const inPutC = "void utility::PutStream::PutC(char)";
const char* const inPutS = "void utility::PutStream::PutS(const char*)";
const char* const inPutF = "void utility::PutStream::PutF(const char*, ...)";
const char* const inPutB = "virtual void utility::PutStream::PutB(const char*, int)";
const char* const inSend =
    "virtual bool utility::PutStream::SendOutputStream(const char*, unsigned int)";
const std::string inPut = "mclinux/src/util/ut_PutStream|";
const std::string inBuffer = "mclinux/src/util/ut_Buffer|virtual void utility::Buffer::";

// What a stream over an array is to do, in a text with a bound and two positions.
struct StreamModel {
  std::string array;  // all of its bytes
  bool silent;
  std::int64_t head = 0;
  std::int64_t tail = 0;

  std::int64_t capacity() const { return std::ssize(array) - 1; }
  static std::int64_t pinned(std::int64_t value) {
    return std::clamp<std::int64_t>(value, INT_MIN, INT_MAX);
  }
  std::string unread() const {
    const bool readable = tail >= 0 && tail <= head && head <= capacity();
    return readable ? array.substr(size_t(tail), size_t(head - tail)) : "";
  }

  // Each answers what is thrown, empty for nothing.
  std::string put(const std::string& text, const char* operation) {
    const auto room = head < 0 ? 0 : std::max<std::int64_t>(0, capacity() - head);
    const auto run = std::min<std::int64_t>(room, std::ssize(text));
    if (run > 0) {
      array.replace(size_t(head), size_t(run), text, 0, size_t(run));
      array[size_t(head += run)] = '\0';
    }
    return run == std::ssize(text) || silent ? "" : inPut + operation;
  }
  std::string writeAdvance(int count) {
    head = pinned(head + count);
    if (count >= 0 && head <= capacity()) return "";
    if (!silent) return inBuffer + "WriteAdvance(int)";
    head = std::min(std::max(head, tail), capacity());
    return "";
  }
  std::string readAdvance(int count) {
    tail = pinned(tail + count);
    if (count >= 0 && tail <= head) return "";
    if (!silent) return inBuffer + "ReadAdvance(int)";
    tail = std::min(std::max<std::int64_t>(tail, 0), head);
    return "";
  }
};

// One random operation on both: what is thrown and what is read agree.
void step(BufferStream& stream, StreamModel& model, std::minstd_rand& random) {
  const std::string text = std::string("some text").substr(0, random() % 9);
  const char* const words = text.c_str();
  const int size = int(text.size());
  const int counts[] = {INT_MIN, -9, -5, -1, 0, 1, 2, 5, INT_MAX};
  const int count = counts[random() % std::size(counts)];
  const auto put = [&](const std::string& what, const char* operation, auto act) {
    const std::string expected = model.put(what, operation);
    EXPECT_EQ(overflowOf(act), expected) << operation;
  };
  const auto read = [&](std::size_t most, auto act) {
    char run[16] = "";
    const std::string expected = model.unread().substr(0, most);
    model.tail += std::ssize(expected);
    act(run);
    EXPECT_STREQ(run, expected.c_str());
  };
  char printed[32];
  std::snprintf(printed, sizeof printed, "%s%d", words, size - 4);
  const std::function<void()> operations[] = {
      [&] { put("c", inPutC, [&] { stream.PutC('c'); }); },
      [&] { put(text, inPutS, [&] { stream.PutS(words); }); },
      [&] { put(text, inPutB, [&] { stream.PutB(words, size); }); },
      [&] { put(text, inSend, [&] { stream.SendOutputStream(words, unsigned(size)); }); },
      [&] { put(printed, inPutF, [&] { stream.PutF("%s%d", words, size - 4); }); },
      [&] { put(std::string(text.size(), ' '), inPutC, [&] { stream.Indent(size); }); },
      [&] {
        EXPECT_EQ(overflowOf([&] { stream.WriteAdvance(count); }), model.writeAdvance(count));
      },
      [&] { EXPECT_EQ(overflowOf([&] { stream.ReadAdvance(count); }), model.readAdvance(count)); },
      [&] {
        read(text.size(), [&](char* run) { stream.ReceiveInputStream(run, unsigned(size)); });
      },
      [&] { read(1, [&](char* run) { stream.GetC(run); }); },
      [&] { stream.StartInputStream(), model.tail = 0; },
      [&] { stream.StartOutputStream(), model.head = model.tail = 0, model.array[0] = '\0'; },
  };
  operations[random() % std::size(operations)]();
}

TEST(BufferStream, DoesAsATextWithABoundOverRandomHistories) {
  std::minstd_rand random(1);
  for (int history = 0; history < 4000 && !HasFailure(); ++history) {
    const int size = 1 + int(random() % 12);
    char array[32];  // with a margin on both sides
    std::fill(std::begin(array), std::end(array), '#');
    StreamModel model{std::string(size_t(size), '#'), random() % 2 == 0};
    BufferStream stream(array + 8, size, model.silent);
    model.array.front() = model.array.back() = '\0';
    for (int i = 0; i < 30 && !HasFailure(); ++i) {
      SCOPED_TRACE("history " + std::to_string(history) + ", step " + std::to_string(i));
      step(stream, model, random);
      const auto room = StreamModel::pinned(model.capacity() - model.head);
      const auto unread = StreamModel::pinned(model.head - model.tail);
      EXPECT_EQ(std::string(array, 32),
                std::string(8, '#').append(model.array).append(size_t(24 - size), '#'));
      EXPECT_EQ(stream.WriteRemaining(), room);
      EXPECT_EQ(stream.ReadAvailable(), unread);
      EXPECT_EQ(stream.isOutputStreamGood(), room > 0);
      EXPECT_EQ(stream.isInputStreamGood(), unread > 0);
      EXPECT_EQ(stream[0], model.unread().empty() ? '\0' : model.unread()[0]);
      if (random() % 20 == 0) stream.setSilentTruncation(model.silent = !model.silent);
    }
  }
}

TEST(PutStream, PutsNothingWithoutATextOrAnArray) {
  char array[16] = "#";
  for (const auto& [place, size] : {std::pair{static_cast<char*>(nullptr), 32}, {array, 0}}) {
    BufferStream none(place, size, true);
    none.PutS("dropped");
    none.PutF("%d", 1);
    none.Rewind();
    EXPECT_EQ(none.WriteRemaining(), 0);
  }
  EXPECT_STREQ(array, "#");
  BufferStream stream(array, sizeof array, false);
  stream.PutF("x%lc", wint_t{0x110000});
  stream.PutS(nullptr);
  stream.PutB("a", -1);
  stream.Indent(-1);
  EXPECT_EQ(stream.ReadAvailable(), 0);
}

TEST(Time, TextsShowTheWallClockAndStayInTheirBuffers) {
  ::setenv("TZ", "UTC-1", 1);
  ::tzset();
  // The wall clock's offset is taken off first, so that the texts do not depend on it.
  const long long seconds = 1795316645;
  const long long offset = System::current().wallOffset();
  const long long moment = seconds * 1000000 + 500000 - offset;
  char text[24];
  EXPECT_STREQ(TimeMeasure::printTimestamp(moment, text, 20), "2026-11-22 04:04:05");
  EXPECT_STREQ(TimeMeasure::printTimestamp(moment, text, 5), "2026");
  PutStream stream(text, sizeof text);
  DateTime(seconds - TimeMeasure::getSeconds(offset)).ToISOBuffer(stream);
  EXPECT_STREQ(text, "2026-11-22T03:04:05Z");
  EXPECT_EQ(TimeMeasure::getSeconds((TimeStamp(3999999) - TimeStamp(1000000)).Value()), 2);
}

struct FileStreams : testing::Test {
  std::string file(const char* name, const std::string& content) const {
    files.write(name, content);
    return files.path(name);
  }
  const test::Temporary files;
};

TEST_F(FileStreams, AFailedOpenKeepsItsErrorAndAFailedWriteIsFlagged) {
  using Existing = FileOutputStream::Existing;
  ::mkfifo(files.path("fifo").c_str(), 0600);
  std::filesystem::create_symlink(file("file", ""), files.path("link"));
  const struct {
    std::string path;
    Existing existing;
    int error;
  } rows[] = {{files.path("none/out"), Existing::Used, ENOENT},
              {files.path(""), Existing::Used, EISDIR},
              {files.path("fifo"), Existing::Used, ENXIO},
              {"/dev/null", Existing::Used, EINVAL},
              {files.path("file"), Existing::Refused, EEXIST},
              {files.path("link"), Existing::Refused, EEXIST},
              {files.path("link"), Existing::Used, 0},
              {files.path("new"), Existing::Refused, 0}};
  for (const auto& row : rows) {
    FileOutputStream stream(row.path.c_str(), false, 0666, row.existing);
    EXPECT_EQ(stream.getErrno(), row.error) << row.path;
    for (const bool good : {stream.isOutputStreamOpen(), !stream.isOutputStreamInError(),
                            stream.StartOutputStream(), stream.SendOutputStream("a", 1)}) {
      EXPECT_EQ(good, row.error == 0) << row.path;
    }
  }

  EXPECT_TRUE(FileOutputStream(files.path("script").c_str(), false, 0777).isOutputStreamGood());
  EXPECT_EQ(::access(files.path("script").c_str(), X_OK), 0);

  FileOutputStream small(file("out", "old\n").c_str(), true, 0666);
  const test::Limit limit(RLIMIT_FSIZE, 6);
  EXPECT_FALSE(small.SendOutputStream("new line\n", 9));
  EXPECT_TRUE(small.isOutputStreamOpen());
  EXPECT_TRUE(small.isOutputStreamInError());
  EXPECT_EQ(small.getErrno(), 0);
  EXPECT_EQ(files.read("out"), "old\n") << "no half line is left";
}

TEST_F(FileStreams, ABufferStreamHoldsAWholeFile) {
  const std::string large(300003, 'x');
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

/// Keeps what it is sent; while it refuses, it answers false.
class Recorder : public framework::OutputStream {
 public:
  bool StartOutputStream() override { return !m_refuses; }
  void EndOutputStream() override { m_ended = true; }
  bool SendOutputStream(const char* data, unsigned int size) override {
    m_text.append(data, size);
    return !m_refuses;
  }
  bool isOutputStreamOpen() override { return true; }
  bool isOutputStreamInError() override { return false; }
  bool isOutputStreamAtEnd() override { return false; }

  bool m_refuses = false;
  bool m_ended = false;
  std::string m_text;
};

TEST(VirtualPutStream, ForwardsAllInOrderAndKeepsLessThanItsLevel) {
  std::minstd_rand random(1);
  for (int history = 0; history < 2000; ++history) {
    Recorder target;
    std::string text;
    const int size = int(random() % 12);
    const int level = int(random() % 14) - 1;
    const auto kept = size_t(std::clamp(level, 1, std::max(size, 2) - 1)) - 1;
    VirtualPutStream stream(target, size, level);
    const auto expectAll = [&] { EXPECT_EQ(target.m_text, text); };
    for (int i = 0; i < 20; ++i) {
      const std::string words = std::string("a few words to put").substr(0, random() % 19);
      const std::function<void()> operations[] = {
          [&] { stream.PutC('c'), text += 'c'; },
          [&] { stream.PutS(words.c_str()), text += words; },
          [&] { stream.PutF("<%s>", words.c_str()), text += "<" + words + ">"; },
          [&] { stream.FlushOutputStream(), expectAll(); },
          [&] { stream.EndOutputStream(), expectAll(); },
          [&] { stream.StartOutputStream(), expectAll(); },
      };
      operations[random() % std::size(operations)]();
      ASSERT_TRUE(text.starts_with(target.m_text)) << target.m_text;
      ASSERT_LE(text.size() - target.m_text.size(), kept) << size << ", " << level;
    }
  }
}

TEST(VirtualPutStream, EndsARunThatHasUnsentContentAndIsInErrorOnceRefusedUntilStartedAgain) {
  Recorder target;
  { VirtualPutStream(target, 8, 5).PutS("abcde"); }
  EXPECT_FALSE(target.m_ended);
  { VirtualPutStream(target, 8, 5).PutS("fg"); }
  EXPECT_TRUE(target.m_ended);
  EXPECT_EQ(target.m_text, "abcdefg");
  VirtualPutStream stream(target, 8, 5);
  EXPECT_TRUE(stream.SendOutputStream("abcde", 5));
  target.m_refuses = true;
  EXPECT_FALSE(stream.SendOutputStream("fghij", 5));
  EXPECT_TRUE(stream.isOutputStreamInError());
  EXPECT_FALSE(stream.StartOutputStream());
  EXPECT_TRUE(stream.isOutputStreamGood());
  char array[2];
  PutStream tooSmall(array, sizeof array);
  VirtualPutStream(tooSmall, 8, 5).PutS("ab");  // its destructor swallows what the target throws
  EXPECT_STREQ(array, "a");
}

TEST_F(FileStreams, TransferAnswersWhetherTheInputEndedWellAndAllWasTaken) {
  const std::string content(40000, 'y');
  FileInputStream input(file("from", content).c_str());
  FileOutputStream output(files.path("to").c_str(), false, 0666);
  VirtualPutStream stream(output, 16384, 13107);
  EXPECT_EQ(input.GetInputStreamSize(), 40000);
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(stream.TransferFromInputStream(input)) << "at its end";
  stream.EndOutputStream();
  EXPECT_EQ(files.read("to"), content);
  FileInputStream missing(files.path("none").c_str()), unreadable(files.path("").c_str());
  EXPECT_FALSE(stream.TransferFromInputStream(missing));
  EXPECT_EQ(missing.GetInputStreamSize(), -1);
  EXPECT_FALSE(stream.TransferFromInputStream(unreadable));
  const test::Limit limit(RLIMIT_FSIZE, 6);
  EXPECT_TRUE(input.StartInputStream());
  EXPECT_FALSE(
      FileOutputStream(files.path("full").c_str(), false, 0666).TransferFromInputStream(input));
}

}  // namespace
}  // namespace utility
