// What the host holds for its services: tokens, containers, figures of processes.

#include "host/base/fw_ProcessMem.h"
#include "host/base/ut_DirIterator.h"
#include "host/base/ut_TokenSet.h"
#include "support/Test.h"
#include "util/st_TokenTable.h"

namespace {

using strings::GS;
using strings::StringRepository;
using strings::stringtoken;

using Texts = std::vector<std::string>;

// The pid of a process that has been and is reaped.
int deadPid() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

TEST(TokenTest, ATakenDigestGivesALaterTextAnotherTokenAndTwoKnownTextsCollide) {
  const stringtoken digest = strings::digestOf("later");
  const strings::Word taken(digest, "earlier");
  EXPECT_EQ(GS.toToken("later"), digest + 1);
  EXPECT_STREQ(StringRepository::toString(digest + 1), "later");
  EXPECT_TRUE(strings::TokenTable::collisions().empty());
  const strings::Word again(digest, "earlier");
  const strings::Word other(digest, "later");
  EXPECT_EQ(strings::TokenTable::collisions(),
            Texts{"the texts \"earlier\" and \"later\" have the same token"});
}

TEST(TokenTest, ThreadsThatMeetTheSameTextsAgree) {
  const auto meet = [] {
    std::vector<stringtoken> tokens;
    for (int i = 0; i < 2000; ++i) {
      const std::string text = "shared " + std::to_string(i);
      tokens.push_back(GS.toToken(text.c_str()));
      EXPECT_EQ(StringRepository::toString(tokens.back()), text);
    }
    return tokens;
  };
  std::array<std::future<std::vector<stringtoken>>, 4> threads;
  for (auto& thread : threads) thread = std::async(std::launch::async, meet);
  for (auto& thread : threads) EXPECT_EQ(thread.get(), meet());
}

TEST(TokenSetTest, KeepsItsOrderAndItsBound) {
  utility::TokenSet set(3);
  set.SetFromStringList(" ,one,, two\tone \r\n");
  EXPECT_TRUE(set.set(GS.toToken("three")) && set.set(GS.toToken("one")));
  EXPECT_FALSE(set.set(GS.toToken("four"))) << "full";
  set.unset(GS.toToken("one"));
  EXPECT_EQ(set.ElementAt(0), GS.toToken("two"));
  EXPECT_EQ(set.ElementAt(1), GS.toToken("three"));
  EXPECT_EQ(set.ElementAt(2), stringtoken(strings::tGSendOfList));
}

TEST(ProcessMemTest, MeasuresAProcessAndThrowsForNone) {
  const auto kilobytes = [] {
    return framework::ProcessMem(::getpid()).getSummaryData().getAllDataTouchedTotal();
  };
  const unsigned int before = kilobytes();
  const std::vector<char> touched(32 << 20, 'x');
  EXPECT_GE(kilobytes(), before + (30 << 10)) << touched.back();
  try {
    const framework::ProcessMem none(deadPid());
    ADD_FAILURE() << "a dead process was measured";
  } catch (framework::Exception* thrown) {
    const std::unique_ptr<framework::Exception> owned(thrown);
    EXPECT_EQ(owned->getKind(), stringtoken(strings::tGSprocessGone));
  }
}

Texts entries(const std::string& directory, const char* pattern) {
  Texts all;
  utility::DirIterator iterator(directory.c_str(), pattern);
  while (const char* path = iterator.next()) all.emplace_back(path);
  EXPECT_EQ(iterator.next(), nullptr);  // the end stays the end
  std::sort(all.begin(), all.end());
  return all;
}

TEST(DirIteratorTest, ListsWhatThePatternMatches) {
  const test::Temporary files;
  Texts many;
  for (int i = 1000; i < 3000; ++i) {  // more than one read of the directory
    many.push_back(files.path("entry" + std::to_string(i)));
    files.write("entry" + std::to_string(i), "");
  }
  for (const char* name : {"a.log", ".hidden.log", "a.lo"}) files.write(name, "");
  EXPECT_EQ(entries(files.path(""), "*.log"), Texts{files.path("a.log")});
  EXPECT_EQ(entries(files.path(""), "entry*"), many);
  EXPECT_TRUE(entries(files.path("none/"), "*").empty());
}

}  // namespace
