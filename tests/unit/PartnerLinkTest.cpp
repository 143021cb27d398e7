// The partner link: the signed exchange, its rules as tables, and a link beside a partner of paper.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "host/machine/SimulatedPlatform.h"
#include "host/service/fw_Config.h"
#include "peer/pl_PartnerLink.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/si_Values.h"

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

TEST(SignedExchange, BelievesTheKeyAndTheQuestionAlone) {
  const ExchangeSettings settings = {42110, key};
  int answers = 0;
  const SignedListener listener(
      {host}, settings, [&] { return std::to_string(++answers); }, limits);
  ASSERT_EQ(listener.failure(), "");
  std::string failure;
  EXPECT_EQ(askSigned(host.c_str(), settings, patience, failure), "1") << failure;
  EXPECT_EQ(askSigned(host.c_str(), {42110, key + "x"}, patience, failure), std::nullopt);
  EXPECT_EQ(failure, "the answer's signature is wrong");
  EXPECT_EQ(askSigned("127.0.0.4", settings, patience, failure), std::nullopt) << "not bound there";
}

TEST(SignedExchange, TakesAPlaceOnceItIsFree) {
  const ExchangeSettings settings = {42113, key};
  auto before = std::make_unique<SignedListener>(std::vector{host}, settings, [] { return "1"; });
  const SignedListener listener(
      {host}, settings, [] { return "2"; }, limits);
  EXPECT_EQ(listener.failure(), host + ":42113: Address already in use");
  before.reset();
  std::string failure;
  EXPECT_TRUE(test::eventually([&] {
    return askSigned(host.c_str(), settings, patience, failure) == "2";
  })) << failure;
}

// An answer that was right once, to another question.
TEST(SignedExchange, RefusesAReplay) {
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in place{
      .sin_family = AF_INET, .sin_port = htons(42112), .sin_addr = {}, .sin_zero = {}};
  ::inet_pton(AF_INET, host.c_str(), &place.sin_addr);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&place), sizeof place), 0);
  ::listen(listener, 1);
  std::thread replayer([listener] {
    const int client = ::accept(listener, nullptr, nullptr);
    char question[64];
    EXPECT_GT(::recv(client, question, sizeof question, 0), 0);
    // The HMAC of 32 zeros and the body "1" under the key.
    const std::string answer =
        "bd21772411a26cd8749f80f5c9fbd1a3479be4cfbe2be1cfe18ce6c69ef9c137 1\n1";
    ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    ::close(client);
  });
  std::string failure;
  EXPECT_EQ(askSigned(host.c_str(), {42112, key}, patience, failure), std::nullopt);
  EXPECT_EQ(failure, "the answer's signature is wrong");
  replayer.join();
  ::close(listener);
}

TEST(SignedExchange, TakesAKeyThatItsOwnerAloneMayRead) {
  const test::Temporary directory;
  const std::string path = directory.path("key");
  std::string failure;
  EXPECT_FALSE(network::readExchangeKey(path.c_str(), failure));
  directory.write("key", key);
  ::chmod(path.c_str(), 0640);
  EXPECT_FALSE(network::readExchangeKey(path.c_str(), failure));
  ::chmod(path.c_str(), 0600);
  EXPECT_EQ(network::readExchangeKey(path.c_str(), failure), key);
  directory.write("key", "short");
  EXPECT_FALSE(network::readExchangeKey(path.c_str(), failure));
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
  const std::string zero(1, '\0');
  for (const std::string& line :
       {std::string("McVersion=a b\n"), std::string("BootId=$(x)\n"),
        std::string("SyncRole=King\n"), std::string("nonsense\n"),
        std::string("MacAddress=00:00:00:00:00:00\n"), std::string("ControllerSerial=\n"),
        std::string("BootId=\n"), "McVersion=M1" + zero + "$\n", "BootId" + zero + "=x\n",
        std::string("\033[2J=x\n"), std::string("\xc2\x9b=x\n")}) {
    EXPECT_FALSE(recordOf(text + line, failure)) << line;
    EXPECT_TRUE(std::ranges::all_of(failure, [](char c) { return c >= ' ' && c <= '~'; }));
  }
}

struct RuleRow {
  const char* name;
  void (*change)(Own& own, PeerRecord& partner);
  bool equal;
  bool held;
  bool pairs;
  bool roleCounts;
  bool stalls;
};

class LinkRules : public testing::TestWithParam<RuleRow> {};

TEST_P(LinkRules, Hold) {
  const RuleRow& row = GetParam();
  Own own{recordWith("SN0000A1", "SN0000B1")};
  own.record.role = BurnToActive::MasterPaired;
  PeerRecord partner = partnerWith("SN0000A1", BurnToActive::SlavePaired);
  row.change(own, partner);
  EXPECT_EQ(areEqual(own, partner), row.equal);
  EXPECT_EQ(isHeld(own, partner), row.held);
  EXPECT_EQ(shouldPair(own, partner), row.pairs);
  EXPECT_EQ(usableRole(own, partner) != BurnToActive::Undetermined, row.roleCounts);
  EXPECT_EQ(stallOf(own, partner) != nullptr, row.stalls);
}

constexpr RuleRow ruleRows[] = {
    //                                                          equal  held   pairs  counts stalls
    {"Settled", [](Own&, PeerRecord&) {}, true, false, false, true, false},
    {"NotYetRecordedHere",
     [](Own& o, PeerRecord&) { o.record.controller.setLastPairedPartnerSerial(nullptr); }, true,
     true, true, false, false},
    {"AnotherRecordedThere",
     [](Own&, PeerRecord& p) { p.controller.setLastPairedPartnerSerial("OLD"); }, true, true, false,
     false, false},
    {"NoCpldThere", [](Own&, PeerRecord& p) { p.controller.setCpldVersion(""); }, true, false,
     false, true, false},
    {"OtherVersions", [](Own&, PeerRecord& p) { p.controller.setMcVersion("M2"); }, false, false,
     false, true, false},
    {"NoVersion", [](Own&, PeerRecord& p) { p.controller.setMcVersion(nullptr); }, false, false,
     false, true, false},
    {"OtherVersionsButUpdateDisabled",
     [](Own& o, PeerRecord& p) {
       o.record.isUpdateDisabled = true;
       p.controller.setMcVersion("M2");
     },
     true, false, false, true, false},
    {"PairedWithOtherSettings", [](Own&, PeerRecord& p) { p.digest = "d2"; }, false, false, false,
     true, true},
    {"NoDigest", [](Own& o, PeerRecord& p) { o.record.digest = p.digest = ""; }, false, false,
     false, true, true},
    {"MastersOfOneLoadTime",
     [](Own&, PeerRecord& p) {
       p.role = BurnToActive::MasterPaired;
       p.controller.setBundleVersion("B2");
     },
     false, false, false, true, true},
    {"MastersLoadedInTurn",
     [](Own& o, PeerRecord& p) {
       p.role = BurnToActive::MasterPaired;
       p.controller.setBundleVersion("B2");
       o.record.controller.setLastLoadedTime("7");
     },
     false, false, false, true, false},
    {"DisabledThereWhereItsFirmwareWasLoadedLater",
     [](Own&, PeerRecord& p) {
       p.role = BurnToActive::MasterPaired;
       p.controller.setMcVersion("M2");
       p.controller.setLastLoadedTime("7");
       p.isUpdateDisabled = true;
     },
     false, false, false, true, true},
    {"EachGives",
     [](Own& o, PeerRecord& p) {
       o.record.role = p.partnerRole = BurnToActive::MasterUnpaired;
       p.role = BurnToActive::MasterPaired;
       o.record.controller.setLastPairedPartnerSerial("OLD");
       p.controller.setMcVersion("M2");
       p.controller.setLastLoadedTime("7");
       o.record.isUpdateDisabled = true;
       p.digest = "d2";
     },
     false, false, false, true, true},
    {"NoDecisionsInTheRelease",
     [](Own& o, PeerRecord& p) {
       o.record.decides = p.decides = false;
       p.digest = "d2";
     },
     false, false, false, true, true},
    {"DecisionsInOneReleaseAndTheOtherIsNewer",
     [](Own&, PeerRecord& p) {
       p.decides = false;
       p.controller.setMcVersion("M2");
     },
     false, false, false, false, false},
    {"DecisionsInOneReleaseAndTheOtherIsOlder",
     [](Own&, PeerRecord& p) {
       p.decides = false;
       p.controller.setMcVersion("M0");
     },
     false, false, false, false, true},
    {"DecidedByAnotherRoleOfOurs",
     [](Own&, PeerRecord& p) {
       p.partnerRole = BurnToActive::SlaveUnpaired;
       p.digest = "d2";
     },
     false, false, false, false, false},
    {"RoleOfAnEarlierBoot", [](Own&, PeerRecord& p) { p.roleForBoot = "bootA0"; }, true, false,
     false, false, false},
    {"RoleForAnother", [](Own&, PeerRecord& p) { p.roleForSerial = "A2"; }, true, false, false,
     false, false},
};
INSTANTIATE_TEST_SUITE_P(All, LinkRules, testing::ValuesIn(ruleRows),
                         [](const auto& row) { return row.param.name; });

TEST(LinkReset, IsMadeForEachFactOnce) {
  const Own own{recordWith("SN0000A1", "SN0000B1")};
  ResetFacts before = factsOf(own, partnerWith("SN0000A1", BurnToActive::SlavePaired));
  before.complete = false;
  const struct {
    const char* name;
    void (*change)(ResetFacts& facts);
    bool resets;
  } rows[] = {
      {"nothing", [](ResetFacts&) {}, false},
      {"serial", [](ResetFacts& f) { f.serial = "B2"; }, true},
      {"MAC", [](ResetFacts& f) { f.mac = 2; }, true},
      {"boot", [](ResetFacts& f) { f.bootId = "x"; }, true},
      {"midplane", [](ResetFacts& f) { f.loadMidplane = "x"; }, true},
      {"load time", [](ResetFacts& f) { f.loadedTime = "x"; }, true},
      {"role", [](ResetFacts& f) { f.role = BurnToActive::MasterPaired; }, true},
      {"no role yet", [](ResetFacts& f) { f.role = BurnToActive::Undetermined; }, false},
      {"held", [](ResetFacts& f) { f.held = true; }, true},
      {"release", [](ResetFacts& f) { f.alike = !f.alike; }, true},
      {"version", [](ResetFacts& f) { f.complete = true; }, true},
  };
  EXPECT_NE(resetReason(std::nullopt, before), nullptr);
  for (const auto& row : rows) {
    ResetFacts now = before;
    row.change(now);
    EXPECT_EQ(resetReason(before, now) != nullptr, row.resets) << row.name;
    ResetFacts released = before;
    released.held = true;
    EXPECT_EQ(resetReason(released, before), nullptr) << "a hold's end alone";
  }
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
    const auto text = [this](const char* name, const char* value) {
      config.set(name, {.value = std::string(value)});
    };
    text("sysinfo.A.ControllerSerial", "SN0000A1");
    text("sysinfo.A.MacAddress", "02:4d:43:00:00:a1");
    text("sysinfo.A.McVersion", "M1");
    text("sysinfo.A.BundleVersion", "V1");
    text("sysinfo.A.CpldVersion", "C1");
    text("sysinfo.A.LoadMidplaneSerial", "MP");
    text("sysinfo.MidplaneSN", "MP");
    text("PartnerLink.key", "/cfg/key");
    config.set("PartnerLink.port", {.value = 42111L});
    config.set("PartnerLink.silenceSeconds", {.value = 20L});
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

  static std::string textOfKey(const char* name) { return sysinfo::findValue(name).value().text; }

  platform::SimulatedPlatform machine;
  test::LogCapture log;
  framework::Config config;
  sysinfo::SysInfoManager& manager = *sysinfo::SysInfoManager::getManager();
  BurnToActive& decisions = *BurnToActive::getInstance();
  std::unique_ptr<app::PartnerFirmwareUpdate> update =
      std::make_unique<app::PartnerFirmwareUpdate>("PartnerFirmwareUpdate");
};

TEST_F(Link, HandsOverWhatItLearnsAndForgetsASilentPartner) {
  PeerRecord partner = recordWith("SN0000B1");
  partner.controller.setMacAddress(0x024D430000B1);
  partner.controller.setLastLoadedTime("77");
  partner.role = BurnToActive::SlaveUnpaired;
  partner.digest = "other";
  PartnerLink link("PartnerLink");
  auto listener = std::make_unique<SignedListener>(
      std::vector<std::string>{host}, ExchangeSettings{42111, key},
      [&partner] { return textOf(partner); }, limits);
  const auto mine = link.standing().own;
  machine.at(1000000, [&] {
    EXPECT_FALSE(manager.isValidPartner()) << "its role was worked out for nobody yet";
    EXPECT_EQ(decisions.getPartnerSyncRole(), BurnToActive::Undetermined);
    EXPECT_EQ(link.standing().own.role, BurnToActive::MasterUnpaired);
    EXPECT_EQ(link.standing().own.roleForBoot, partner.bootId);
    EXPECT_EQ(textOfKey("B.LastLoadedTime"), "77");
    partner.roleForSerial = "SN0000A1";
    partner.roleForBoot = mine.bootId;
  });
  machine.at(6000000, [&] {
    EXPECT_TRUE(manager.isValidPartner());
    EXPECT_EQ(decisions.getSystemConfigurationSyncAction(), BurnToActive::Push);
    EXPECT_EQ(decisions.decisions().partnerCodeloadTimestamp, "77");
    partner.role = BurnToActive::Undetermined;  // "not yet" resets nothing
  });
  machine.at(11000000, [&] {
    EXPECT_TRUE(manager.isValidPartner());
    partner.digest = mine.digest;  // what the push achieved
    partner.bootId = "another";
  });
  machine.at(16000000, [&] {
    EXPECT_EQ(textOfKey("A.LastPairedPartnerSerial"), "SN0000B1");
    EXPECT_FALSE(manager.isValidPartner()) << "held until the partner has recorded us";
    EXPECT_EQ(decisions.getSystemConfigurationSyncAction(), BurnToActive::None);
    partner.controller.setLastPairedPartnerSerial("SN0000A1");
    partner.role = BurnToActive::SlavePaired;
  });
  machine.at(21000000, [&] {
    EXPECT_TRUE(manager.isValidPartner());
    EXPECT_EQ(decisions.getSystemConfigurationSyncAction(), BurnToActive::Merge);
    listener.reset();
  });
  machine.at(36000000, [&] { EXPECT_TRUE(manager.isValidPartner()) << "not silent for long"; });
  live(link, 60);
  EXPECT_FALSE(manager.isValidPartner());
  EXPECT_EQ(decisions.getPartnerSyncRole(), BurnToActive::Undetermined);
  EXPECT_EQ(log.count("has been silent"), 1);
  EXPECT_EQ(log.count("paired with SN0000B1"), 1);
}

TEST_F(Link, CountsOnNothingThatCouldNotBeStored) {
  PeerRecord partner = recordWith("SN0000B1");
  partner.controller.setMacAddress(0x024D430000B1);
  PartnerLink link("PartnerLink");
  const SignedListener listener(
      {host}, {42111, key}, [&partner] { return textOf(partner); }, limits);
  std::optional<test::Limit> full(std::in_place, RLIMIT_FSIZE, 100);
  machine.at(1000000, [&] {
    EXPECT_EQ(decisions.decisions().currentPartnerSN, std::nullopt);
    full.reset();
  });
  live(link, 7);
  EXPECT_EQ(decisions.decisions().currentPartnerSN, "SN0000B1");
}

TEST_F(Link, IsDownWithoutAKeyAndRefusesItself) {
  {
    PartnerLink self("PartnerLink");
    const SignedListener listener(
        {host}, {42111, key}, [&self] { return textOf(self.standing().own); }, limits);
    live(self, 2);
    EXPECT_TRUE(log.has("othermc is this controller itself"));
  }
  std::filesystem::remove(machine.root() + "/cfg/key");
  PartnerLink link("PartnerLink");
  live(link, 2);
  EXPECT_TRUE(log.has("the link to the partner is down: /cfg/key"));
  EXPECT_FALSE(link.standing().isThere);
}

}  // namespace
}  // namespace services::peer
