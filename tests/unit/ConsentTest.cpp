// The asks and tickets of two controllers, answer by answer.
#include "peer/pl_Consent.h"
#include "support/Test.h"

namespace services::peer {
namespace {

using enum BurnToActive::SyncRole;
using test::second;

// Two masters, B loaded later: A gives its settings and B its firmware.
struct Side {
  Side(char letter, const std::string& serial, const std::string& other)
      : consent("boot" + serial) {
    view.isDecided = true;
    view.own.letter = letter;
    PeerRecord& own = view.own.record;
    own.controller.setControllerSerial(serial.c_str());
    own.controller.setLastLoadedTime(letter == 'A' ? "1" : "2");
    own.controller.setMcVersion(serial.c_str());
    own.bootId = "boot" + serial;
    own.digest = "d" + serial;
    own.role = own.partnerRole = view.decisions.partnerSyncRole = MasterUnpaired;
    own.roleForSerial = other;
    own.roleForBoot = "boot" + other;
    own.consents = true;
    view.decisions.configSyncAction = view.decisions.pfuSyncAction = BurnToActive::None;
    view.decisions.partnerCodeloadTimestamp = letter == 'A' ? "2" : "1";
  }

  bool hears(const Side& other, std::int64_t asked = 0) {
    view.partner = other.view.own.record;
    other.consent.tell(*view.partner);
    return consent.hear(view, asked, now);
  }
  std::string asks(int client, const char* kinds) {
    return words(consent.ask(&clients[client], kinds, view, now));
  }
  std::string seals(int client, const Side& giver, const char* kinds) {
    return words(consent.seal(&clients[client], idOf(giver), kinds, view, now));
  }
  std::string checks(const Side& giver, const char* kinds) {
    return words(consent.check(idOf(giver), kinds, view, now));
  }
  void ends(int client) { consent.end(&clients[client], now); }
  static std::string idOf(const Side& giver) {
    PeerRecord told;
    giver.consent.tell(told);
    return told.ask.id;
  }
  static std::string words(const Answer& answer) {
    const bool says = answer.kind == Answer::Kind::No;
    return says ? answer.words : std::to_string(static_cast<int>(answer.kind));
  }

  PartnerView view;
  Consent consent;
  std::int64_t now = 1000 * second;
  static inline char clients[3];
};

constexpr const char* wait = "0";
constexpr const char* yes = "1";
constexpr const char* unguarded = "2";

class Consents : public testing::Test {
 protected:
  Consents() { a.hears(b), b.hears(a); }
  Side a{'A', "SN0000A1", "SN0000B1"};
  Side b{'B', "SN0000B1", "SN0000A1"};
};

TEST_F(Consents, WhereBothAskAtOnceAsStandsAndBIsWokenAfterIt) {
  EXPECT_EQ(a.asks(0, "settings"), wait);
  EXPECT_EQ(b.asks(1, "firmware"), wait);
  b.hears(a);
  EXPECT_EQ(b.asks(1, "firmware"), "both_asked_and_A_goes_first");
  EXPECT_EQ(b.asks(2, "firmware"), "a_push_of_the_partner_was_granted_here");
  a.hears(b);
  EXPECT_EQ(a.asks(0, "settings"), yes);
  EXPECT_EQ(a.asks(2, "settings"), "another_push_is_under_way_here");
  EXPECT_FALSE(b.hears(a));
  a.ends(0);
  b.hears(a);
  EXPECT_TRUE(b.hears(a)) << "nothing is granted any more";
  EXPECT_EQ(b.asks(1, "firmware"), "both_asked_and_A_goes_first")
      << "the same ask, the same answer";
  EXPECT_EQ(b.asks(2, "firmware"), wait);
}

TEST_F(Consents, AGrantsNothingWhileItAsks) {
  a.asks(0, "settings");
  b.asks(1, "firmware");
  a.hears(b);
  EXPECT_EQ(a.consent.granted(a.now), "");
  EXPECT_EQ(a.asks(0, "settings"), wait);
  b.hears(a);
  EXPECT_EQ(b.asks(1, "firmware"), "a_push_is_under_way_here");
}

TEST_F(Consents, ATicketIsOfItsAskBootKindsAndTime) {
  a.asks(0, "settings");
  b.hears(a);
  EXPECT_EQ(b.checks(a, "settings"), yes);
  EXPECT_EQ(b.checks(a, "firmware-settings"), "the_ticket_is_for_other_kinds");
  EXPECT_EQ(b.checks(b, "settings"), "there_is_no_such_ticket");
  b.now += 60 * second;
  EXPECT_EQ(b.checks(a, "settings"), yes);
  b.now += 1;
  EXPECT_EQ(b.checks(a, "settings"), "there_is_no_such_ticket");
  b.hears(a);
  EXPECT_EQ(b.checks(a, "settings"), yes);
  b.view.own.record.bootId = "another";
  b.hears(a);
  EXPECT_EQ(b.checks(a, "settings"), "there_is_no_such_ticket") << "meant for the boot before";
  a.hears(b);
  EXPECT_EQ(a.asks(0, "settings"), "the_partner_is_another_one_now");
}

TEST_F(Consents, ASealHearsTheGiverAgainAndStandsUntilItsEnd) {
  a.asks(0, "settings");
  b.hears(a);
  b.now += second;
  EXPECT_EQ(b.seals(1, a, "settings"), wait);
  b.hears(a, b.now - 1);
  EXPECT_EQ(b.seals(1, a, "settings"), wait);
  b.hears(a, b.now);
  EXPECT_EQ(b.seals(1, a, "settings"), yes);
  EXPECT_EQ(b.seals(2, a, "settings"), "it_is_being_put_in_force");
  b.now += 100 * second;
  a.view.own.record.bootId = "another";
  b.hears(a);
  EXPECT_TRUE(b.consent.isSealed());
  EXPECT_EQ(b.asks(2, "firmware"), "a_push_of_the_partner_was_granted_here");
  b.ends(1);
  EXPECT_FALSE(b.consent.isSealed());
}

TEST_F(Consents, ARefusalWhoseReasonGoesAwayWakesTheGiverOnce) {
  b.view.decisions.configSyncAction = BurnToActive::Push;
  a.asks(0, "settings");
  b.hears(a);
  EXPECT_FALSE(a.hears(b));
  EXPECT_EQ(a.asks(0, "settings"), "settings_are_not_taken_here");
  b.hears(a);
  EXPECT_FALSE(a.hears(b));
  b.view.decisions.configSyncAction = BurnToActive::Receive;
  b.hears(a);
  EXPECT_TRUE(a.hears(b));
  b.hears(a);
  EXPECT_FALSE(a.hears(b));
}

TEST_F(Consents, APushThatEndsWithoutEffectIsTriedAgainOnceAMinute) {
  const struct {
    int seconds;     // since the try before
    int askedAfter;  // the end of the client
    const char* boot;
    bool again;
  } rows[] = {{0, -1, "bootSN0000B1", false},
              {0, 1, "bootSN0000B1", true},
              {59, 1, "bootSN0000B1", false},
              {1, 1, "another", false},
              {0, 1, "bootSN0000B1", true}};
  for (const auto& row : rows) {
    a.now += row.seconds * second;
    b.view.own.record.bootId = "bootSN0000B1";
    a.hears(b);
    a.asks(0, "settings");
    a.ends(0);
    b.view.own.record.bootId = row.boot;
    EXPECT_EQ(a.hears(b, a.now + row.askedAfter), row.again) << &row - rows;
  }
}

TEST_F(Consents, WithoutTicketsOnePushAtATime) {
  a.view.own.record.consents = false;
  b.hears(a);
  EXPECT_EQ(b.checks(a, "settings"), unguarded);
  EXPECT_EQ(b.seals(1, a, "settings"), unguarded);
  EXPECT_EQ(b.asks(2, "firmware"), "a_push_of_the_partner_was_granted_here");
}

}  // namespace
}  // namespace services::peer
