// The pure rules of pairing: serial numbers, roles, and both controllers' actions held together.
#include "app/pairing/app_SyncRules.h"
#include "support/Test.h"

namespace services::app {
namespace {

using enum BurnToActive::SyncRole;
using strings::StringRepository;

TEST(Serials, MacFormIsXAndSixteenDigits) {
  std::array<char, 32> buffer;
  BurnToActive::makeControllerSN(0x024D4300000AULL, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "X0000024D4300000A");
  BurnToActive::makeControllerSN(~0ULL, buffer.data(), 6);
  EXPECT_STREQ(buffer.data(), "XFFFF");
  BurnToActive::makeControllerSN(1, buffer.data() + 1, 0);
  BurnToActive::makeControllerSN(1, nullptr, 32);
  EXPECT_STREQ(buffer.data(), "XFFFF");
  EXPECT_TRUE(BurnToActive::isValidControllerSN("X0123456789abCDeF"));
  for (const char* wrong : {"x0123456789abCDeF", "X0123456789abCDe", "X0123456789abCDeF0",
                            "X0123456789abCDeg", "X0123456789ab DeF", "", (const char*)nullptr}) {
    EXPECT_FALSE(BurnToActive::isValidControllerSN(wrong)) << (wrong ? wrong : "null");
  }
}

TEST(Serials, Compare) {
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"X0000024D4312ab3c", "SN-12AB3C", true},
      {"X0000024D4312AB3C", "X0000024D4312ab3c", false},
      {"SN-12AB3C", "SN-12AB3C", true},
      {"SN-12AB3C", "SN-12ab3c", false},
      {"12AB3C", "X0000024D4312AB3C", true},
      {"2AB3C", "X0000024D4312AB3C", false},
      {nullptr, "SN-12AB3C", false},
      {"", "", true},
  };
  for (const auto& [one, other, same] : rows) {
    EXPECT_EQ(BurnToActive::comparePairedSN(one, other), same) << other;
    EXPECT_EQ(BurnToActive::comparePairedSN(other, one), same) << other;
  }
}

TEST(Serials, ConvertTheirLastSixCharacters) {
  const std::array<const char*, 2> rows[] = {
      {"SN0012ab3c", "X0000024D4312AB3C"}, {"12AB", "X0000024D430012AB"},
      {"zzzzzz", "X0000024D43000000"},     {"SN12 3456", "X0000024D43000002"},
      {"", "X0000024D43000000"},           {nullptr, ""},
  };
  for (const auto& [serial, converted] : rows) {
    std::array<char, 32> buffer{"old"};
    BurnToActive::convertToPairedSN(serial, buffer.data(), buffer.size());
    EXPECT_STREQ(buffer.data(), converted);
  }
}

TEST(Roles, EveryMidplaneCaseByEveryPartnerCase) {
  const char* const P = "X0000024D4312AB3C";
  const std::tuple<RoleFacts, BurnToActive::SyncRole, const char*> rows[] = {
      {RoleFacts{"M", "M", P, P}, MasterPaired, "Midplane matches, and paired with partner."},
      {RoleFacts{"M", "M", P, "S12ab3c"}, MasterPaired,
       "Midplane matches, and paired with partner."},
      {RoleFacts{"M", "M", P, "Q"}, MasterUnpaired, "Midplane matches, and unpaired with partner."},
      {RoleFacts{"M", "M", P, nullptr}, MasterUnpaired, "Midplane matches, No lastPartnerSN"},
      {RoleFacts{"M", "m", P, P}, SlavePaired, "Midplane unrecognized, and paired with partner."},
      {RoleFacts{"M", "", P, "Q"}, SlaveUnpaired,
       "Midplane unrecognized, and unpaired with partner."},
      {RoleFacts{"M", "N", P, nullptr}, SlaveUnpaired,
       "Midplane unrecognized, no partner configuration"},
      {RoleFacts{"M", nullptr, P, P}, SlavePaired, "No lastMidplaneSN, and paired with partner."},
      {RoleFacts{"M", nullptr, P, "Q"}, SlaveUnpaired,
       "No lastMidplaneSN, and unpaired with partner."},
      {RoleFacts{"M", nullptr, P, nullptr}, SlaveUnpaired, "No previous configuration"},
      {RoleFacts{nullptr, "M", P, P}, Undetermined,
       "Not enough information to determine local sync role"},
      {RoleFacts{"M", "M", nullptr, P}, Undetermined,
       "Not enough information to determine local sync role"},
  };
  for (const auto& [facts, role, rule] : rows) {
    EXPECT_EQ(decideRole(facts).role, role) << rule;
    EXPECT_STREQ(decideRole(facts).rule, rule);
  }
}

// The initials of what both controllers do about one thing, A's action first.
template <typename Decide>
std::string meeting(Decide decide, const ActionFacts& ofA) {
  const ActionFacts ofB = {ofA.partner, ofA.mine, 'B', ofA.partnerTime, ofA.myTime};
  return {*StringRepository::toString(decide(ofA).action),
          *StringRepository::toString(decide(ofB).action)};
}

// A push meets a receive and a merge a merge. Both receive only where both are master and their
// load times say nothing: equal, or not known of either.
TEST(Actions, OfBothControllersMeet) {
  constexpr BurnToActive::SyncRole roles[] = {MasterUnpaired, MasterPaired, SlaveUnpaired,
                                              SlavePaired};
  constexpr const char* config[4][4] = {
      {"PR", "PR", "PR", "PR"},
      {"PR", "MM", "PR", "MM"},
      {"RP", "RP", "PR", "PR"},
      {"RP", "MM", "PR", "MM"},
  };
  constexpr const char* firmware[4][4] = {
      {"times", "times", "PR", "PR"},
      {"times", "times", "PR", "PR"},
      {"RP", "RP", "PR", "PR"},
      {"RP", "RP", "PR", "PR"},
  };
  constexpr std::array<const char*, 3> times[] = {
      {nullptr, nullptr, "RR"}, {"1000", nullptr, "PR"}, {nullptr, "1000", "RP"},
      {"1000", "999", "PR"},    {"1000", "1001", "RP"},  {"1000", "1000", "RR"},
  };
  for (int a = 0; a < 4; ++a) {
    for (int b = 0; b < 4; ++b) {
      for (const auto& [timeA, timeB, byTimes] : times) {
        const ActionFacts facts = {roles[a], roles[b], 'A', timeA, timeB};
        const std::string expected = firmware[a][b];
        EXPECT_EQ(meeting(decideConfigAction, facts), config[a][b]) << a << b;
        EXPECT_EQ(meeting(decideFirmwareAction, facts), expected == "times" ? byTimes : expected)
            << a << b << byTimes;
      }
    }
  }
}

}  // namespace
}  // namespace services::app
