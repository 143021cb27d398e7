// The partner link: the signed exchange, its rules as tables, a link beside a partner of paper, and
// the asks and tickets of two controllers, answer by answer.
#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/network/nw_ListeningSocket.h"
#include "peer/pl_Consent.h"
#include "peer/pl_PartnerLink.h"
#include "support/SysInfoSetting.h"

namespace services::peer {
namespace {

using network::askSigned;
using network::ExchangeSettings;
using network::SignedListener;

const std::string key(40, 'k');
const std::string host = test::ownAddress();
constexpr int patience = 60000;  // milliseconds
constexpr network::ExchangeLimits limits = {.question = std::chrono::hours(1),
                                            .retry = std::chrono::milliseconds(10)};

TEST(SignedExchange, BelievesTheKeyAndTheQuestionAloneAndTakesAPlaceOnceItIsFree) {
  const ExchangeSettings settings = {42110, key};
  auto before = std::make_unique<SignedListener>(std::vector{host}, settings, [] { return "1"; });
  const SignedListener after(
      {host}, settings, [] { return "2"; }, limits);
  EXPECT_EQ(before->failure(), "");
  EXPECT_EQ(after.failure(), host + ":42110: Address already in use");
  std::string failure;
  EXPECT_EQ(askSigned(host.c_str(), settings, patience, failure), "1") << failure;
  EXPECT_EQ(askSigned(host.c_str(), {42110, key + "x"}, patience, failure), std::nullopt);
  EXPECT_EQ(failure, "the answer's signature is wrong");
  EXPECT_EQ(askSigned("127.0.0.4", settings, patience, failure), std::nullopt) << "not bound there";
  before.reset();
  EXPECT_TRUE(test::eventually([&] {
    return askSigned(host.c_str(), settings, patience, failure) == "2";
  })) << failure;
}

// An answer that was right once, to another question.
TEST(SignedExchange, RefusesAReplay) {
  const platform::Descriptor listener = network::listenAt(host, 42112);
  std::jthread replayer([&listener] {
    pollfd event{.fd = listener.get(), .events = POLLIN, .revents = 0};
    ::poll(&event, 1, patience);
    const platform::Descriptor client(::accept(listener.get(), nullptr, nullptr));
    char question[64];
    EXPECT_GT(::recv(client.get(), question, sizeof question, 0), 0);
    // The HMAC of 32 zeros and the body "1" under the key.
    const std::string answer =
        "bd21772411a26cd8749f80f5c9fbd1a3479be4cfbe2be1cfe18ce6c69ef9c137 1\n1";
    ::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
  });
  std::string failure;
  EXPECT_EQ(askSigned(host.c_str(), {42112, key}, patience, failure), std::nullopt);
  EXPECT_EQ(failure, "the answer's signature is wrong");
}

TEST(SignedExchange, TakesAKeyThatItsOwnerAloneMayRead) {
  const test::Temporary directory;
  const std::string path = directory.path("key");
  std::string failure;
  EXPECT_FALSE(network::readExchangeKey(path.c_str(), failure));
  const std::tuple<std::string, mode_t, bool> rows[] = {
      {key, 0640, false}, {key, 0604, false}, {key, 0600, true}, {"short", 0600, false}};
  for (const auto& [text, mode, isTaken] : rows) {
    directory.write("key", text);
    ::chmod(path.c_str(), mode);
    EXPECT_EQ(network::readExchangeKey(path.c_str(), failure),
              isTaken ? std::optional(text) : std::nullopt);
  }
}

PeerRecord recordWith(const char* serial, const char* pairedWith = nullptr) {
  PeerRecord record;
  record.controller.setControllerSerial(serial);
  record.controller.setMacAddress(0x024D43000001);
  record.controller.setMcVersion("M1");
  record.controller.setBundleVersion("V1");
  record.controller.setCpldVersion("C1");
  record.controller.setLastPairedPartnerSerial(pairedWith);
  record.bootId = std::string("boot") + serial;
  record.digest = "d1";
  return record;
}

// Beside this controller "SN0000A1", a partner "SN0000B1" whose role was worked out for it.
PeerRecord partnerWith(const char* pairedWith, BurnToActive::SyncRole role) {
  PeerRecord record = recordWith("SN0000B1", pairedWith);
  record.role = role;
  record.roleForSerial = "SN0000A1";
  record.roleForBoot = "bootSN0000A1";
  return record;
}

TEST(PeerRecord, ComesBackFromItsTextAndRefusesWhatBreaksIt) {
  const std::string text = textOf(partnerWith("", BurnToActive::MasterPaired));
  std::string failure;
  const auto back = recordOf(text + "Newer=thing\n", failure);
  ASSERT_TRUE(back) << failure;
  EXPECT_EQ(textOf(*back), text);
  EXPECT_EQ(back->controller.getLoadMidplaneSerial(), nullptr);
  using namespace std::string_literals;
  for (const std::string& line :
       {"McVersion=a b\n"s, "BootId=$(x)\n"s, "SyncRole=King\n"s, "nonsense\n"s,
        "MacAddress=00:00:00:00:00:00\n"s, "ControllerSerial=\n"s, "BootId=\n"s,
        "McVersion=M1\0$\n"s, "BootId\0=x\n"s, "\033[2J=x\n"s, "\xc2\x9b=x\n"s, "Summary=some\n"s,
        "Interface=Http\n"s, "Interface=Ht_tp up\n"s, "Daemon=web Up 1 0 0\n"s,
        "Daemon=$(x) Up 1 0 0 no\n"s, "Daemon=web Up 1 -1 0 no\n"s,
        "Daemon=web Up 1 4294967296 0 no\n"s, "Daemon=web Up 1 0 0 no more\n"s}) {
    EXPECT_FALSE(recordOf(text + line, failure)) << line;
    EXPECT_TRUE(std::ranges::all_of(failure, [](char c) { return c >= ' ' && c <= '~'; }));
  }
}

TEST(PeerRecord, LeavesOutTheDaemonsInTheBestStateWhereNotAllFit) {
  PeerRecord record = partnerWith("", BurnToActive::MasterPaired);
  auto& told = record.summary.emplace();
  for (const char* name : {"Http", "Https"}) told.interfaces.push_back({name, *name == 'H'});
  for (int i = 0; i < 500; ++i) told.daemons.push_back({"daemon" + std::to_string(i), "Up", i});
  told.daemons[450].state = "GoingDown";
  told.daemons[470].failures = 7;
  for (const bool isWhole : {false, true}) {
    if (isWhole) told.daemons.resize(100);
    const std::string text = textOf(record);
    EXPECT_LE(text.size(), network::longestBody);
    std::string failure;
    const auto back = recordOf(text, failure);
    ASSERT_TRUE(back && back->summary) << failure;
    EXPECT_EQ(back->summary->isWhole, isWhole);
    EXPECT_EQ(back->summary->interfaces.size(), 2U);
    EXPECT_GE(back->summary->daemons.size(), 100U);
    EXPECT_EQ(back->summary->daemons[0].name, isWhole ? "daemon0" : "daemon470");
    EXPECT_EQ(back->summary->daemons[1].name, isWhole ? "daemon1" : "daemon450");
    EXPECT_EQ(textOf(*back), text) << "what was told can be told again";
  }
}

// The two records settled, but for the lines of their texts that a row names.
struct Pair {
  static PeerRecord changed(const PeerRecord& record, const std::string& lines) {
    std::string failure;
    return recordOf(textOf(record) + lines, failure).value();
  }
  const std::string mine, its;
  ThisController own{changed(recordWith("SN0000A1", "SN0000B1"), "SyncRole=MasterPaired\n" + mine)};
  PeerRecord partner = changed(partnerWith("SN0000A1", BurnToActive::SlavePaired), its);
};

// e: equal, h: held, p: to be paired, c: the partner's role counts, s: stalls, r: is a reason for a
// reset after the settled pair, b: and the settled pair is one after it
std::string rulesOf(const Pair& pair) {
  const Pair settled = {"", ""};
  const auto before = factsOf(settled.own, settled.partner);
  const auto now = factsOf(pair.own, pair.partner);
  EXPECT_EQ(resetReason(now, now), nullptr);
  EXPECT_TRUE(areEqual(pair.own, pair.partner) ||
              stallOf({.isStored = false, .own = pair.own, .partner = pair.partner}));
  const std::pair<char, bool> rules[] = {
      {'e', areEqual(pair.own, pair.partner)},
      {'h', isHeld(pair.own, pair.partner)},
      {'p', shouldPair(pair.own, pair.partner)},
      {'c', usableRole(pair.own, pair.partner) != BurnToActive::Undetermined},
      {'s', stallOf({.isDecided = true, .own = pair.own, .partner = pair.partner}).has_value()},
      {'r', resetReason(before, now) != nullptr},
      {'b', resetReason(now, before) != nullptr},
  };
  std::string holding;
  for (const auto& [letter, holds] : rules) holding += holds ? std::string(1, letter) : "";
  return holding;
}

struct RuleRow {
  std::string mine, its, holds;
};

std::vector<RuleRow> ruleRows() {
  const std::string mc = "McVersion=", cpld = "CpldVersion=", bundle = "BundleVersion=",
                    loaded = "LastLoadedTime=", paired = "LastPairedPartnerSerial=",
                    role = "SyncRole=", ofUs = "PartnerRole=", digest = "Digest=",
                    off = "PfuDisabled=true\n", undecided = "HasBurnToActive=false\n";
  return {
      {"", "", "ec"},
      {paired + "\n", "", "ehprb"},
      {"", paired + "OLD\n", "ehrb"},
      {paired + "OLD\n", "", "ehprb"},
      {"", cpld + "\n", "ecs"},
      {cpld + "\n", "", "cs"},
      {"", mc + "M2\n", "c"},
      {"", mc + "\n", "csb"},
      {"", bundle + "9\n" + role + "Undetermined\n", "sb"},
      {off, mc + "M2\n", "ec"},
      {"", digest + "d2\n", "cs"},
      {digest + "\n", digest + "\n", "cs"},
      {"", role + "MasterPaired\n", "ecrb"},
      {"", role + "MasterPaired\n" + bundle + "B2\n", "csrb"},
      {loaded + "7\n", role + "MasterPaired\n" + bundle + "B2\n", "crb"},
      {"", role + "MasterPaired\n" + mc + "M2\n" + loaded + "7\n" + off, "csrb"},
      {role + "MasterUnpaired\n" + paired + "OLD\n" + off,
       ofUs + "MasterUnpaired\n" + role + "MasterPaired\n" + mc + "M2\n" + loaded + "7\n" + digest +
           "d2\n",
       "crb"},
      {undecided, undecided + digest + "d2\n", "cs"},
      {"", undecided + mc + "M2\n", "rb"},
      {"", undecided + mc + "M0\n", "srb"},
      {"", ofUs + "SlaveUnpaired\n" + digest + "d2\n", "b"},
      {"", ofUs + "SlavePaired\n" + role + "MasterPaired\n" + digest + "d2\n", "rb"},
      {"", "RoleForBoot=bootA0\n", "eb"},
      {"", "RoleForSerial=A2\n", "eb"},
      {"", role + "Undetermined\n", "eb"},
      {"", "ControllerSerial=B2\n", "ehprb"},
      {"", "MacAddress=02:4d:43:00:00:02\n", "ecrb"},
      {"", "BootId=x\n", "ecrb"},
      {"", "LoadMidplaneSerial=x\n", "ecrb"},
      {"", loaded + "7\n", "ecrb"},
  };
}

TEST(LinkRules, HoldForEveryWayInWhichTwoMayDiffer) {
  for (const auto& row : ruleRows())
    EXPECT_EQ(rulesOf({row.mine, row.its}), row.holds) << row.mine << "and " << row.its;
  const Pair settled = {"", ""};
  const ResetFacts before = factsOf(settled.own, settled.partner);
  ResetFacts held = before;
  held.held = true;
  EXPECT_EQ(resetReason(held, before), nullptr) << "a hold's end alone";
  EXPECT_NE(resetReason(std::nullopt, before), nullptr);
}

// A link over a partner that answers from a record of the test.
class Link : public testing::Test {
 protected:
  Link() {
    const std::string root = machine.root();
    for (const char* directory : {"/cfg", "/etc"}) {
      std::filesystem::create_directories(root + directory);
    }
    std::ofstream(root + "/etc/hosts") << host + " othermcinner\n127.0.0.66 othermc\n";
    std::ofstream(root + "/cfg/key") << key;
    ::chmod((root + "/cfg/key").c_str(), 0600);
    const auto config = test::configOf({{"sysinfo.A.ControllerSerial", "SN0000A1"},
                                        {"sysinfo.A.MacAddress", "02:4d:43:00:00:a1"},
                                        {"sysinfo.A.LoadMidplaneSerial", "MP"},
                                        {"sysinfo.MidplaneSN", "MP"},
                                        {"PartnerLink.key", "/cfg/key"},
                                        {"PartnerLink.port", 42111},
                                        {"PartnerLink.silenceSeconds", 20}});
    framework::Config::setConfig(config);
    manager.open(config, 'A');
  }
  ~Link() override {
    update.reset();
    manager.unload();
  }

  // Lets the link's thread live until so many seconds of the simulated clock have passed.
  void live(PartnerLink& link, int seconds) {
    machine.at(machine.elapsed() + seconds * 1000000LL, [&link] { link.Shutdown(); });
    link.threadDo(0);
  }

  platform::SimulatedPlatform machine;
  test::LogCapture log;
  sysinfo::SysInfoManager& manager = *sysinfo::SysInfoManager::getManager();
  BurnToActive& decisions = *BurnToActive::getInstance();
  std::unique_ptr<app::PartnerFirmwareUpdate> update =
      std::make_unique<app::PartnerFirmwareUpdate>("PartnerFirmwareUpdate");
};

TEST_F(Link, CountsOnNothingThatCouldNotBeStored) {
  PeerRecord partner = recordWith("SN0000B1");
  partner.controller.setMacAddress(0x024D430000B1);
  PartnerLink link("PartnerLink");
  const SignedListener listener(
      {host}, {42111, key}, [&partner] { return textOf(partner); }, limits);
  std::optional<test::Limit> full(std::in_place, RLIMIT_FSIZE, 100);
  machine.at(1000000, [&] {
    EXPECT_EQ(decisions.decisions().currentPartnerSN, std::nullopt);
    EXPECT_FALSE(link.view().isStored);
    full.reset();
  });
  live(link, 7);
  EXPECT_EQ(decisions.decisions().currentPartnerSN, "SN0000B1");
  EXPECT_TRUE(link.view().isStored);
}

TEST_F(Link, IsDownWithoutAKeyAndRefusesItself) {
  {
    PartnerLink self("PartnerLink");
    const SignedListener listener(
        {host}, {42111, key}, [&self] { return textOf(self.view().own.record); }, limits);
    live(self, 2);
    EXPECT_TRUE(log.has("othermc is this controller itself"));
  }
  std::filesystem::remove(machine.root() + "/cfg/key");
  PartnerLink link("PartnerLink");
  live(link, 2);
  EXPECT_TRUE(log.has("the link to the partner is down: /cfg/key"));
  EXPECT_FALSE(link.view().partner);
}

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
  for (int client = 0; client < 2; ++client) {  // at one place, the second after the first's end
    b.now += second;
    EXPECT_EQ(b.seals(1, a, "settings"), wait);
    if (client == 0) b.ends(1), b.hears(a, b.now);
  }
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
