// The pairing decisions over the system information: what is kept, emptied, written and logged.

#include "support/TwoControllers.h"

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
  test.pairing->clearDecisionParameters();
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

}  // namespace
}  // namespace services::app
