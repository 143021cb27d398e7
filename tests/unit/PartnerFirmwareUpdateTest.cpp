// The partner firmware update in simulated time: which command starts when, and the next wait.

#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "support/TwoControllers.h"
#include "sysinfo/record/dm_Component.h"
#include "sysinfo/record/ri_RelInfo.h"

namespace services::app {
namespace {

using enum BurnToActive::SyncRole;
using sysinfo::MCInfo;

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
