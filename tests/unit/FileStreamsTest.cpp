// The streams over files and the forwarding stream: opening, failing, forwarding, copying.

#include "support/Test.h"
#include "util/ut_FileInputStream.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_VirtualPutStream.h"

namespace utility {
namespace {

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
