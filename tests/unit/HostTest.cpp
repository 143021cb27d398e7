// What the host holds for its services: tokens, containers, locks, portals, figures of processes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <future>

#include "host/base/fw_ProcessMem.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_DirIterator.h"
#include "host/base/ut_ItemDirectory.h"
#include "host/base/ut_TokenSet.h"
#include "host/service/ap_ApplicationService.h"
#include "support/Temporary.h"
#include "util/fw_Exception.h"
#include "util/st_TokenTable.h"

namespace {

using strings::GS;
using strings::StringRepository;
using strings::stringtoken;

using Texts = std::vector<std::string>;
using Holders = std::vector<std::pair<std::string, int>>;

class Named : public framework::Item {
 public:
  explicit Named(const char* name) : m_name(GS.toToken(name)) {}
  stringtoken getName() const override { return m_name; }
  const char* getNameString() const override { return StringRepository::toString(m_name); }
  void information(utility::PutStream&, int, bool) const override {}

 private:
  stringtoken m_name;
};

// The pid of a process that has been and is reaped.
int deadPid() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

TEST(TokenTest, TextsKeepTheirTokensAndUnknownTokensAreEmpty) {
  EXPECT_EQ(GS.toToken("GoingDown"), strings::digestOf("GoingDown"));
  EXPECT_EQ(GS.toToken(""), strings::tGSendOfList);
  EXPECT_STREQ(StringRepository::toString(strings::token<"a word of the test">),
               "a word of the test");
  for (const stringtoken token : {0U, 65536U, 2147483647U, 4294967295U}) {
    EXPECT_STREQ(StringRepository::toString(token), "") << token;
  }
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

TEST(ItemDirectoryTest, KeepsTheOrderOfAddingAndSortsByteForByte) {
  const Texts added = {"web", "Web", "web-2", "web2", "w", "\xc3\xa4", "web"};
  const Texts sorted = {"Web", "w", "web", "web", "web-2", "web2", "\xc3\xa4"};
  utility::ItemDirectory directory(2);
  for (const std::string& name : added) directory.add(std::make_unique<Named>(name.c_str()));
  ASSERT_EQ(directory.Length(), added.size());
  for (unsigned int i = 0; i < added.size(); ++i) {
    EXPECT_EQ(directory.ElementAt(i)->getNameString(), added[i]) << i;
    EXPECT_EQ(directory.getSorted(i)->getNameString(), sorted[i]) << i;
  }
  EXPECT_EQ(directory.ElementAt(7), nullptr);
  EXPECT_EQ(directory.getSorted(7), nullptr);
  EXPECT_EQ(directory.find(GS.toToken("web")), directory.ElementAt(0));  // the first of two
  EXPECT_EQ(directory.find(GS.toToken("nobody")), nullptr);
}

TEST(TokenSetTest, KeepsItsOrderAndItsBound) {
  utility::TokenSet set(3);
  set.SetFromStringList(" ,one,, two\tone \r\n");
  EXPECT_EQ(set.Length(), 2U);
  EXPECT_TRUE(set.set(GS.toToken("three")));
  EXPECT_TRUE(set.set(GS.toToken("one")));    // there already
  EXPECT_FALSE(set.set(GS.toToken("four")));  // full
  set.unset(GS.toToken("one"));
  EXPECT_FALSE(set.inSet(GS.toToken("one")));
  EXPECT_EQ(set.ElementAt(0), GS.toToken("two"));
  EXPECT_EQ(set.ElementAt(1), GS.toToken("three"));
  EXPECT_EQ(set.ElementAt(2), stringtoken(strings::tGSendOfList));
}

TEST(PortalTest, TheLatestRegistrationStandsAndAHolderKeepsItsPortal) {
  using services::app::ApplicationService;
  const stringtoken web = GS.toToken("web");
  EXPECT_EQ(ApplicationService::LookupPortalPrefix(web), nullptr);
  const auto first = ApplicationService::registerPortal("web", 10);
  const auto other = ApplicationService::registerPortal("snmpd", 10);
  const auto held = ApplicationService::LookupPortalPrefix(web);
  const auto latest = ApplicationService::registerPortal("web", 11);
  ApplicationService::unregisterPortal("web", first);
  ApplicationService::unregisterPortal("snmpd", other);
  EXPECT_EQ(held->getPID(), 10);
  EXPECT_EQ(ApplicationService::listPortals(), (Holders{{"web", 11}}));
  ApplicationService::unregisterPortal("web", latest);
  EXPECT_EQ(ApplicationService::LookupPortalPrefix(web), nullptr);
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
  const std::string directory = files.path("");
  Texts many;
  for (int i = 0; i < 2000; ++i) files.write(many.emplace_back("entry" + std::to_string(i)), "");
  for (std::string& name : many) name = files.path(name);
  std::sort(many.begin(), many.end());
  for (const char* name : {"a.log", "b.log", ".hidden.log", "a.lo"}) files.write(name, "");
  EXPECT_EQ(entries(directory, "*.log"), (Texts{files.path("a.log"), files.path("b.log")}));
  EXPECT_EQ(entries(directory, "entry*"), many);  // more than one read of the directory
  EXPECT_EQ(entries(directory, "*").size(), many.size() + 3);
  EXPECT_TRUE(entries(directory, "x*").empty());
  EXPECT_TRUE(entries(directory + "none/", "*").empty());
}

}  // namespace
