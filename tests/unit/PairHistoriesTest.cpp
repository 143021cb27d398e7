// Two controllers in random histories: swaps, crashes, cables, versions, operators, in simulated
// time.
#include <gtest/gtest.h>

#include "histories/Enclosure.h"

namespace test {
namespace {

Happening happeningOf(Random& random, std::int64_t time) {
  static const Texts whats = {"swap",
                              "other",
                              "back",
                              "back",
                              "pull",
                              "insert",
                              "crash",
                              "crash",
                              "crash",
                              "cut",
                              "heal",
                              "force",
                              "set LastLoadedTime=2027010",
                              "set McVersion=V",
                              "set EmailSender=s",
                              "set PfuDisabled=true",
                              "set PfuDisabled=false",
                              "set CpldVersion=C",
                              "set LastPairedPartnerSerial=none"};
  const std::string what = random.of(whats);
  const bool isCable = what == "cut" || what == "heal";
  const long number = what.starts_with("set") ? random.below(3) : random.below(100000);
  const bool isWhole = what.ends_with("e");
  return {time, what,
          isCable ? random.of<std::string>({"inner", "outer"}) : random.of<std::string>({"A", "B"}),
          what.starts_with("set") && isWhole ? -1 : number};
}

Story makeStory(Random& random) {
  Story story;
  for (const char* slot : {"A", "B"}) {
    if (!random.once(20)) story.given[slot] = {std::to_string(random.below(100000))};
  }
  story.given["seed"] = {std::to_string(random.below(1000000))};
  story.given["poll"] = {random.once(2) ? "5" : "2"};
  std::int64_t time = 0;
  for (long count = random.below(9); count > 0; --count) {
    time += random.once(3) ? random.below(90000) : random.below(15000);
    story.happenings.push_back(happeningOf(random, time));
  }
  return story;
}

TEST(PairHistories, EndSettledOrInANamedStallAndPushOnlyWhatWasConsentedTo) {
  campaign(
      makeStory, [](const Story& story) { return Enclosure(story).play(); }, 36, 15000);
}

}  // namespace
}  // namespace test
