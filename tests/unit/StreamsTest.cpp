// The bounded streams over arrays: bounds, truncation, reading back, time texts, no allocation.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
#include "util/ut_DateTime.h"
#include "util/ut_System.h"
#include "util/ut_TimeStamp.h"
#include "util/ut_VirtualPutStream.h"

static thread_local int allocations = 0;

// Not inlined: the compiler would take malloc and free for mismatched with new and delete.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

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

const char* const source = "mclinux/src/util/ut_PutStream|";
const char* const inPutC = "void utility::PutStream::PutC(char)";
const char* const inPutS = "void utility::PutStream::PutS(const char*)";
const char* const inPutF = "void utility::PutStream::PutF(const char*, ...)";
const char* const inPutB = "virtual void utility::PutStream::PutB(const char*, int)";
const char* const inSend =
    "virtual bool utility::PutStream::SendOutputStream(const char*, unsigned int)";

struct PutCase {
  const char* name;
  int size;
  std::function<void(BufferStream&)> put;
  std::string text;
  std::string thrown;  // the operation; empty: it fits
};

const PutCase putCases[] = {
    {"PutC fills", 3, [](auto& s) { s.PutC('a'), s.PutC('b'); }, "ab", ""},
    {"PutC over", 2, [](auto& s) { s.PutC('a'), s.PutC('b'); }, "a", inPutC},
    {"PutC without room", 1, [](auto& s) { s.PutC('a'); }, "", inPutC},
    {"Indent none", 5, [](auto& s) { s.Indent(0), s.Indent(-3); }, "", ""},
    {"Indent over", 4, [](auto& s) { s.PutC('a'), s.Indent(4); }, "a  ", inPutC},
    {"PutS fills", 4, [](auto& s) { s.PutS("abc"), s.PutS(""), s.PutS(nullptr); }, "abc", ""},
    {"PutS over", 4, [](auto& s) { s.PutS("abcd"); }, "abc", inPutS},
    {"PutB part", 4, [](auto& s) { s.PutB("abcd", 2), s.PutB("abcd", -1); }, "ab", ""},
    {"PutB over", 3, [](auto& s) { s.PutB("abcd", 4); }, "ab", inPutB},
    {"Send over", 3, [](auto& s) { s.SendOutputStream("abcd", 4); }, "ab", inSend},
    {"PutF fills", 6, [](auto& s) { s.PutF("%d-%s", 123, "b"), s.PutF("%s", ""); }, "123-b", ""},
    {"PutF over", 5, [](auto& s) { s.PutS("a"), s.PutF("%d-%s", 12, "b"); }, "a12-", inPutF},
    {"PutF on full", 2, [](auto& s) { s.PutS("a"), s.PutF("%d", 1); }, "a", inPutF},
    {"PutF not convertible", 9, [](auto& s) { s.PutF("x%lc", wint_t{0x110000}); }, "", ""},
};

TEST(PutStream, KeepsWhatFitsTerminatedAndThrowsOrDropsTheRest) {
  for (const PutCase& row : putCases) {
    for (const bool silent : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (silent ? ", silent" : ", throwing"));
      char array[16];
      std::fill(std::begin(array), std::end(array), '#');
      BufferStream stream(array, row.size, silent);
      EXPECT_EQ(overflowOf([&] { row.put(stream); }),
                silent || row.thrown.empty() ? "" : source + row.thrown);
      EXPECT_EQ(array, row.text);
      EXPECT_EQ(stream.ReadAvailable(), static_cast<int>(row.text.size()));
      EXPECT_EQ(array[row.size], '#');
    }
  }
}

TEST(PutStream, AFullStreamIsClosedInErrorAndAtItsEndUntilStarted) {
  char array[3] = {'#', '#', '#'};
  PutStream stream(array, sizeof array);
  EXPECT_EQ(std::string(array, sizeof array), std::string("\0#\0", 3));
  EXPECT_TRUE(stream.isOutputStreamGood());
  stream.PutS("ab");
  EXPECT_FALSE(stream.isOutputStreamOpen());
  EXPECT_TRUE(stream.isOutputStreamInError());
  EXPECT_TRUE(stream.isOutputStreamAtEnd());
  EXPECT_TRUE(stream.StartOutputStream());
  EXPECT_EQ(stream.ReadAvailable(), 0);
  EXPECT_STREQ(array, "");
}

TEST(PutStream, HasNoRoomWithoutAnArray) {
  char array[] = "#";
  for (const auto& [place, size] : {std::pair{static_cast<char*>(nullptr), 32}, {array, 0}}) {
    BufferStream stream(place, size, true);
    stream.PutS("dropped");
    stream.PutF("%d", 1);
    stream.Rewind();
    EXPECT_EQ(stream.WriteRemaining(), 0);
  }
  EXPECT_STREQ(array, "#");
}

struct AdvanceCase {
  const char* name;
  bool write;  // WriteAdvance, else ReadAdvance
  int count;
  bool over;
  int position;  // from the array's start, clipped
};

// The array has room for 7; 4 are written and 2 of them read.
const AdvanceCase advanceCases[] = {
    {"write to the bound", true, 3, false, 7},
    {"write past it", true, 4, true, 7},
    {"write far past it", true, INT_MAX, true, 7},
    {"write back", true, -1, true, 3},
    {"write back below the tail", true, -3, true, 2},
    {"read to the head", false, 2, false, 4},
    {"read past it", false, 3, true, 4},
    {"read back", false, -1, true, 1},
    {"read back below 0", false, -3, true, 0},
};

TEST(Buffer, AdvancesThrowOrClipPastTheBounds) {
  for (const AdvanceCase& row : advanceCases) {
    for (const bool silent : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (silent ? ", silent" : ", throwing"));
      char array[8];
      BufferStream stream(array, sizeof array, silent);
      stream.PutS("abcd");
      stream.ReadAdvance(2);
      const std::string thrown = overflowOf(
          [&] { row.write ? stream.WriteAdvance(row.count) : stream.ReadAdvance(row.count); });
      const std::string place =
          std::string("mclinux/src/util/ut_Buffer|virtual void utility::") +
          (row.write ? "Buffer::WriteAdvance(int)" : "Buffer::ReadAdvance(int)");
      EXPECT_EQ(thrown, row.over && !silent ? place : "");
      if (!thrown.empty()) {  // the position has moved all the same
        if (row.write && row.count > 0) {
          EXPECT_NE(overflowOf([&] { stream.PutF("1"); }), "");
        }
        continue;
      }
      EXPECT_EQ((row.write ? stream.pHead() : stream.pTail()) - array, row.position);
    }
  }
}

TEST(GetStream, ReadsBackWhatWasPut) {
  char array[16];
  BufferStream stream(array, sizeof array, false);
  stream.PutS("abcd");
  char c = '#';
  EXPECT_TRUE(stream.GetC(&c));
  EXPECT_EQ(c, 'a');
  EXPECT_EQ(stream[0], 'b');
  EXPECT_EQ(stream[3], '\0');
  char run[8] = "";
  EXPECT_EQ(stream.ReceiveInputStream(run, 2), 2);
  EXPECT_EQ(stream.ReceiveInputStream(run + 2, 6), 1);
  EXPECT_STREQ(run, "bcd");
  EXPECT_EQ(stream.ReceiveInputStream(run, 6), 0);
  EXPECT_FALSE(stream.GetC(&c));
  EXPECT_EQ(c, 'a');
  EXPECT_TRUE(stream.isInputStreamAtEnd());
  EXPECT_FALSE(stream.isInputStreamOpen());
  EXPECT_TRUE(stream.StartInputStream());
  EXPECT_TRUE(stream.isInputStreamGood());
  EXPECT_STREQ(stream.pTail(), "abcd");
}

TEST(Streams, PuttingTextAllocatesNothing) {
  char array[32];
  char sink[256];
  PutStream target(sink, sizeof sink);
  VirtualPutStream forwarding(target, 32, 16);
  System::current();  // may be built on its first use
  const int before = allocations;
  BufferStream stream(array, sizeof array, true);
  stream.PutF("%s %ld %08x", "text", 123456789L, 255U);
  stream.PutS(" and more than the array of thirty-two bytes can hold");
  DateTime(1).ToISOBuffer(forwarding);
  for (int i = 0; i < 20; ++i) forwarding.PutF("%d %s,", i, "text");
  EXPECT_TRUE(forwarding.TransferFromInputStream(stream));
  EXPECT_EQ(allocations, before);
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

}  // namespace
}  // namespace utility
