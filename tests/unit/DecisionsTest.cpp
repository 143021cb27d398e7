// Pairing: its pure rules, the decisions over the system information, and the firmware update that
// acts on them in simulated time.
#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "app/pairing/app_SyncRules.h"
#include "support/TwoControllers.h"
#include "sysinfo/record/dm_Component.h"
#include "sysinfo/record/ri_RelInfo.h"

namespace services::app {
namespace {

using enum BurnToActive::SyncRole;
using enum BurnToActive::SyncAction;
using strings::stringtoken;
using sysinfo::MCInfo;

constexpr const char* atHome = "A.LoadMidplaneSerial=M1";

void writeSeed(const test::TwoControllers& test, const char* name, const char* content) {
  const std::string directory = test.machine.root() + "/cfg/burn2active/";
  std::filesystem::create_directories(directory);
  std::ofstream(directory + name) << content;
}

// What is kept, in words.
std::string kept(const BurnToActive& pairing) {
  const BurnToActive::Decisions known = pairing.decisions();
  std::string text = known.partnerCodeloadTimestamp.value_or("-");
  for (const stringtoken token :
       {stringtoken(known.mySyncRole), stringtoken(known.partnerSyncRole),
        stringtoken(known.configSyncAction), stringtoken(known.pfuSyncAction)}) {
    text += std::string(" ") + strings::StringRepository::toString(token);
  }
  return text;
}

TEST(Decisions, AreKeptUntilCleared) {
  const test::TwoControllers test("A.LoadMidplaneSerial=M1 A.LastLoadedTime=999");
  test.meet(SlaveUnpaired);
  EXPECT_EQ(test.pairing->getSystemConfigurationSyncAction(), Push);
  EXPECT_EQ(test.pairing->getSystemPfuAction(), Push);
  EXPECT_EQ(test.record('B', &MCInfo::getLastPairedPartnerSerial), "SN00000A");
  {
    const test::LogCapture log;
    const sysinfo::SysInfoWriteGuard guard;
    guard.getObject()->getOtherMCInfo()->setMacAddress(7);
    EXPECT_EQ(test.pairing->getSystemConfigurationSyncAction(), Push);
    EXPECT_EQ(test.pairing->getSystemPfuAction(), Push);
    EXPECT_EQ(test.pairing->getLocalSyncRole(), MasterUnpaired);
    EXPECT_FALSE(log.has(""));
  }
  EXPECT_EQ(test.pairing->decisions().rules.mySyncRole, "Midplane matches, No lastPartnerSN");
  EXPECT_FALSE(test.log.has("LocalCodeload"));
  test.pairing->clearDecisionParameters();
  EXPECT_EQ(test.pairing->decisions().rules.mySyncRole, "");
  EXPECT_EQ(kept(*test.pairing), "- Undetermined Undetermined None None");
  EXPECT_FALSE(test.pairing->decisions().currentPartnerSN);
  test.meet(MasterUnpaired);
  test.pairing->setPartnerCodeloadTimestamp("1000");
  EXPECT_EQ(test.pairing->getSystemPfuAction(), Receive);
  EXPECT_TRUE(test.log.has("LocalCodeload: 999, PartnerCodeload: 1000"));
  EXPECT_TRUE(test.log.has("PFU action: Receive"));
}

// It stands with a partner handed over alone. The address of the partner's record counts while its
// information is valid, else what was handed over.
TEST(Decisions, LocalRoleTakesThePartnersSerialFromWhereItIsValid) {
  for (const bool valid : {true, false}) {
    const test::TwoControllers test("A.LastPairedPartnerSerial=SN00000B");
    for (int asked = 1; asked < 3; ++asked) {
      EXPECT_EQ(test.pairing->getLocalSyncRole(), Undetermined);
      EXPECT_EQ(test.log.count("SyncRole: SlavePaired"), asked) << "worked out each time";
    }
    test.manager->setValidPartner(valid);
    test.meet(SlavePaired, "OTHER7");
    EXPECT_EQ(test.pairing->getLocalSyncRole(), valid ? SlavePaired : SlaveUnpaired);
  }
}

struct Asked {
  const char* line;
  std::function<void(const test::TwoControllers&)> prepare;
  std::function<stringtoken(BurnToActive&)> ask;
};
stringtoken askRole(BurnToActive& pairing) { return pairing.getLocalSyncRole(); }
stringtoken askConfig(BurnToActive& pairing) { return pairing.getSystemConfigurationSyncAction(); }
stringtoken askFirmware(BurnToActive& pairing) { return pairing.getSystemPfuAction(); }
stringtoken workOut(BurnToActive& pairing) {
  const std::uint64_t begun = pairing.generation();
  const BurnToActive::SyncRole role = pairing.calculatePartnerSyncRole();
  pairing.setPartnerSyncRole(role, begun);
  return role;
}

TEST(Decisions, MissingFactsAreSaidAndNothingIsKept) {
  const test::DebugLines debug(strings::token<"pairing">);
  const Asked rows[] = {
      {"missing partner sync role!", [](const auto&) {}, askConfig},
      {"missing local sync role!",
       [](const auto& t) { t.pairing->setPartnerSyncRole(SlavePaired); }, askFirmware},
      {"SysInfo not yet synced!", [](const auto& t) { t.manager->setValidPartner(false); },
       workOut},
      {"Invalid SysInfo object!", [](const auto& t) { t.manager->unload(); }, askRole},
  };
  for (const Asked& row : rows) {
    const test::TwoControllers test(atHome);
    row.prepare(test);
    const std::string before = kept(*test.pairing);
    const stringtoken answer = row.ask(*test.pairing);
    EXPECT_TRUE(answer == Undetermined || answer == None) << row.line;
    EXPECT_TRUE(test.log.has(row.line)) << row.line;
    EXPECT_EQ(kept(*test.pairing), before) << row.line;
  }
}

// The decisions are cleared in the midst and the next partner is handed over at once, so that the
// roles alone do not show it.
TEST(Decisions, BegunBeforeAClearingAreNotKept) {
  const test::DebugLines debug(strings::token<"pairing">);
  const Asked rows[] = {
      {"Calculate Sync", {}, askRole},        {"Calculate Sync", {}, askFirmware},
      {"m_mySyncRole", {}, askConfig},        {"LocalCodeload", {}, askFirmware},
      {"Forcing a calculation", {}, workOut},
  };
  for (const Asked& row : rows) {
    const test::TwoControllers test(
        "A.LoadMidplaneSerial=M1 B.LoadMidplaneSerial=M1 B.LastLoadedTime=9");
    test.meet(MasterUnpaired);
    const test::InTheMidst interruption(row.line, [&] {
      test.pairing->clearDecisionParameters();
      test.meet(SlavePaired, "NEXT");
    });
    row.ask(*test.pairing);
    EXPECT_EQ(kept(*test.pairing), "- Undetermined SlavePaired None None") << row.line;
    EXPECT_EQ(test.record('B', &MCInfo::getLastPairedPartnerSerial), "-") << row.line;
  }
}

// Nothing but the decision for the partner that is handed over comes out, whoever clears meanwhile.
TEST(Decisions, MayBeClearedByAnotherThread) {
  const test::TwoControllers test(atHome);
  std::thread other([&] {
    for (int i = 0; i < 200; ++i) {
      test.pairing->clearDecisionParameters();
      test.pairing->setPartnerCodeloadTimestamp("1");
      test.meet(SlaveUnpaired);
    }
  });
  for (int i = 0; i < 200; ++i) {
    for (const stringtoken action : {askConfig(*test.pairing), askFirmware(*test.pairing)}) {
      EXPECT_TRUE(action == None || action == Push);
    }
    test.pairing->pairLocalControllerToPartner();
  }
  other.join();
  EXPECT_EQ(askFirmware(*test.pairing), Push);
}

TEST(Records, PairingWritesThem) {
  const test::TwoControllers test("A.LoadMidplaneSerial=M9");
  test.pairing->pairLocalControllerToMidplane();
  test.pairing->pairLocalControllerToPartner();
  EXPECT_EQ(test.record('A', &MCInfo::getLoadMidplaneSerial), "M1");
  EXPECT_EQ(test.record('A', &MCInfo::getLastPairedPartnerSerial), "-");
  for (const bool mac : {false, true}) {
    test.pairing->clearDecisionParameters();
    test.pairing->setUseMacSerials(mac);
    test.meet(SlaveUnpaired, "SN00000B");
    askConfig(*test.pairing);
    test.pairing->pairLocalControllerToPartner();
    EXPECT_EQ(test.record('A', &MCInfo::getLastPairedPartnerSerial),
              mac ? test::serialB : "SN00000B");
    EXPECT_EQ(test.record('B', &MCInfo::getLastPairedPartnerSerial),
              mac ? test::serialA : "SN00000A");
  }
  test.pairing->setCurrentPartnerSN(nullptr);
  test.pairing->pairLocalControllerToPartner();
  EXPECT_EQ(test.pairing->decisions().currentPartnerSN, "");
}

TEST(Records, AreSeededFromTheFilesOnce) {
  const std::array<const char*, 4> rows[] = {
      // midplane, time, both records, and the time once the file has changed
      {"M1\n\n", "1700\n", "M1 1700", "1700"},
      {"\n\n", "", " -", "-"},
      {"", "1700", "- 1700", "1800"},
      {"M1; reboot", "17 00", "- -", "1800"},
  };
  for (const auto& [midplane, time, records, later] : rows) {
    const test::TwoControllers test;
    writeSeed(test, "MidPlaneSerNum", midplane);
    writeSeed(test, "LastLoadedTime", time);
    askRole(*test.pairing);
    EXPECT_EQ(test.record('A', &MCInfo::getLoadMidplaneSerial) + " " +
                  test.record('A', &MCInfo::getLastLoadedTime),
              records);
    writeSeed(test, "LastLoadedTime", "1800");
    askRole(*test.pairing);
    EXPECT_EQ(test.record('A', &MCInfo::getLastLoadedTime), later) << records;
  }
}

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

using enum BurnToActive::SyncRole;

using test::second;

class Update : public test::TwoControllers {
 public:
  explicit Update(const std::string& changes, bool hasDecisions = true, char node = 'A')
      : TwoControllers(changes, node) {
    relinfo::RelInfo::setBurnToActive(hasDecisions);
    service = std::make_unique<PartnerFirmwareUpdate>("PartnerFirmwareUpdate");
  }

  void runUntil(std::int64_t seconds) {
    machine.at(seconds * second, [this] { service->Shutdown(); });
    service->threadDo(0);
  }

  // The commands with their times, without what all have in common.
  std::string commands() const {
    std::string text;
    for (const auto& ran : machine.commands()) {
      EXPECT_TRUE(ran.detached && ran.line.starts_with("/usr/bin/"));
      const std::size_t end = ran.line.find(" >>/mnt/ramdisk/pfu.progress");
      text += std::to_string(ran.at) + " " + ran.line.substr(9, end - 9) + "; ";
    }
    return text;
  }

  std::unique_ptr<PartnerFirmwareUpdate> service;
};

struct CycleRow {
  const char* name;
  std::string texts;
  BurnToActive::SyncRole partner;
  bool hasDecisions;
  std::string command;
  int wait;
  const char* loadMidplane;  // of the local controller afterwards
};

std::vector<CycleRow> cycleRows() {
  const std::string slave = "A.LoadMidplaneSerial=M9 ";
  const std::string master = "A.LoadMidplaneSerial=M1 ";
  const std::string paired = "A.LastPairedPartnerSerial=SN00000B ";
  const std::string newer = "B.McVersion=0.9 ";
  const std::string older = "B.McVersion=1.1 ";
  const std::string off = "PfuDisabled=true ";
  const std::string letters = "A.McVersion=7 B.McVersion=7 ";
  const bool none = false;  // no pairing decisions
  return {
      {"equal, pushing", master, SlaveUnpaired, true, "dopfunu pushcfg", 60, "M1"},
      {"equal, slave", slave + letters, MasterUnpaired, true, "", 180, "M1"},
      {"equal, none", slave, SlaveUnpaired, none, "", 180, "M1"},
      {"both to push", newer + master, SlaveUnpaired, true, "dopfunu pushmc pushcfg", 60, "M1"},
      {"merge", newer + master + paired, SlavePaired, true, "dopfunu pushmc", 60, "M1"},
      {"slaves", older + slave, SlaveUnpaired, true, "dopfunu pushmc pushcfg", 60, "M1"},
      {"receiving", newer + slave, MasterUnpaired, true, "", 60, "M9"},
      {"masters without times", newer + master, MasterPaired, true, "", 60, "M1"},
      {"older, none", newer, SlavePaired, none, "dopfu", 60, "-"},
      {"newer, none", older, SlavePaired, none, "", 60, "-"},
      {"partly older, none", older + "B.CpldVersion=0.5", SlavePaired, none, "dopfu", 60, "-"},
      {"one character", slave + "B.BundleVersion=7", MasterUnpaired, true, "", 60, "M9"},
      {"one character, none", slave + "B.CpldVersion=0", SlavePaired, none, "", 60, "M9"},
      {"no MC version", slave + "A.McVersion=-", MasterUnpaired, true, "", 60, "M9"},
      {"off", off + newer + master, SlaveUnpaired, true, "dopfunu pushcfg", 60, "M1"},
      {"off, slaves", off + newer + slave, SlaveUnpaired, true, "dopfunu pushcfg", 60, "M1"},
      {"off, receiving", off + slave, MasterUnpaired, true, "", 180, "M9"},
      {"off, none", off + slave, SlaveUnpaired, none, "", 180, "M9"},
  };
}

// One cycle at 180 seconds, and the one that the shutdown wakes at 200.
TEST(UpdateCycle, StartsWhatTheFactsSay) {
  for (const CycleRow& row : cycleRows()) {
    SCOPED_TRACE(row.name);
    Update test(row.texts, row.hasDecisions);
    test.meet(row.partner);
    test.runUntil(200);
    EXPECT_EQ(test.commands(),
              row.command.empty() ? "" : "180 " + row.command + "; 200 " + row.command + "; ");
    const auto report = [&](auto& stream) { test.service->information(stream, 2, false); };
    EXPECT_EQ(test::printed(report),
              "  Poll Seconds: " + std::to_string(row.wait) + ", poll Configured: 180\n");
    EXPECT_EQ(test.record('A', &MCInfo::getLoadMidplaneSerial), row.loadMidplane);
  }
}

TEST(UpdateCycle, ReceivingSlaveThatMergesTakesTheMidplaneWhileSwitchedOff) {
  Update test("PfuDisabled=true B.LastPairedPartnerSerial=SN00000A", true, 'B');
  test.meet(SlavePaired, test::serialA);
  test.runUntil(180);
  EXPECT_EQ(test.record('B', &MCInfo::getLoadMidplaneSerial), "M1");
}

// A role that is handed over while one is worked out stands.
TEST(UpdateCycle, WorksOutThePartnersRoleWhereNobodyHandsItOver) {
  for (const bool handedOver : {false, true}) {
    Update test("A.LoadMidplaneSerial=M1 B.McVersion=0.9");
    test.pairing->setCurrentPartnerSN(test::serialB);
    const test::InTheMidst meanwhile("Forcing a calculation", [&] {
      if (!handedOver) return;
      test.pairing->clearDecisionParameters();
      test.meet(MasterUnpaired);
    });
    test.runUntil(180);
    EXPECT_EQ(test.commands(), handedOver ? "" : "180 dopfunu pushmc pushcfg; ");
    EXPECT_EQ(test.pairing->getPartnerSyncRole(), handedOver ? MasterUnpaired : SlavePaired);
  }
}

TEST(UpdateCycle, IsWokenByItsEventAndTheKick) {
  Update test("A.LoadMidplaneSerial=M1");
  test.meet(SlaveUnpaired);
  const auto send = [&](strings::stringtoken event) {
    EXPECT_FALSE(test.service->serviceEvent(event, nullptr));
  };
  test.machine.at(10 * second, [&] { send(strings::token<"updateWakeUp">); });
  test.machine.at(20 * second, [&] { send(strings::token<"goingDown">); });
  test.machine.at(30 * second, [&] { test.service->kickstart(); });
  test.runUntil(90);
  EXPECT_EQ(test.commands(), "10 dopfunu pushcfg; 30 dopfunu pushcfg; 90 dopfunu pushcfg; ");
}

// While the partner's information is not valid its versions are those handed over, and its CPLD
// version comes from the component data or is taken for equal.
TEST(UpdateVersions, OfAPartnerThatIsNotValid) {
  const test::DebugLines debug(strings::token<"PartnerFirmwareUpdate">);
  for (const bool known : {false, true}) {
    Update test("A.LoadMidplaneSerial=M1 B.CpldVersion=9");
    if (known) dom::Component::load({{"controller_a_0", "0.5"}});
    test.manager->setValidPartner(false);
    test.meet(SlaveUnpaired);
    test.service->setVersions("1.0", "1.0");
    test.machine.at(200 * second, [&] { test.service->setVersions(nullptr, "1.0"); });
    test.runUntil(300);
    EXPECT_EQ(test.commands(), known ? "180 dopfunu pushmc pushcfg; " : "180 dopfunu pushcfg; ");
    EXPECT_TRUE(test.log.has("MC version: NULL, Bundle version: 1.0."));
    EXPECT_TRUE(test.log.has("Clearing partner version information."));
    EXPECT_TRUE(test.log.has("PFU: McVersions: 1.0 ; , bundles: 1.0 ; 1.0"));
  }
}

TEST(UpdateVersions, AreCutToTheirFields) {
  const Update test("");
  std::array<char, 33> mc;
  std::array<char, 32> other;
  mc[32] = '!';
  MCInfo controller;
  controller.setMcVersion(std::string(40, '7').c_str());
  test.service->getVersions(&controller, mc.data(), other.data(), other.data(), true);
  EXPECT_EQ(mc.data(), std::string(31, '7'));
  EXPECT_EQ(mc[32], '!');
  test.service->getVersions(nullptr, mc.data(), other.data(), other.data(), true);
  EXPECT_STREQ(mc.data(), "");
}

}  // namespace
}  // namespace services::app
