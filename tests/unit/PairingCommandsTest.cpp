// The operator's pairing and path commands.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_NetTracker.h"
#include "support/PluginCommands.h"
#include "support/TwoControllers.h"

namespace services::ops {
namespace {

TEST(PairingCommands, ExplainAppliesTheRulesToWhatIsTyped) {
  const test::PluginCommands commands("PairingCommands");
  const std::string role = "pairing explain role ";
  const std::string action = "pairing explain action ";
  const std::array<std::string, 2> rows[] = {
      {role + "--midplane M1 --last-midplane M1 --partner P",
       "0 Midplane matches, No lastPartnerSN\nMasterUnpaired\n"},
      {role + "--last-partner X0000024D4300000B --partner SN00000b --midplane M1",
       "0 No lastMidplaneSN, and paired with partner.\nSlavePaired\n"},
      {role + "--midplane M1",
       "0 Not enough information to determine local sync role\nUndetermined\n"},
      {action + "--local MasterPaired --partner MasterUnpaired --letter B --local-time 1000 "
                "--partner-time 999",
       "0 config: This controller is B. RECEIVE\n"
       "firmware: both are master, LocalCodeload: 1000, OtherCodeload: 999.  PUSH\n"
       "config Receive firmware Push\n"},
  };
  for (const auto& [line, reply] : rows) EXPECT_EQ(commands.ask(line), reply) << line;

  const std::string whole = action + "--local MasterPaired --partner MasterPaired --letter A";
  for (const std::string& wrong :
       {role + "--partner P", role + "--midplane", role + "--midplane M --midplane M",
        role + "--midplane M --bogus x", action + "--local MasterPaired --letter A",
        action + "--local Push --partner MasterPaired --letter A", whole + "B",
        whole + " --local-time 12x"}) {
    EXPECT_TRUE(commands.ask(wrong).starts_with("1 usage: pairing explain ")) << wrong;
  }
}

TEST(PairingCommands, ShowDecidesNothing) {
  const test::PluginCommands commands("PairingCommands");
  const test::TwoControllers test("A.LoadMidplaneSerial=M1 B.LastLoadedTime=1700");
  test.meet(app::BurnToActive::SlaveUnpaired);
  std::string shown = commands.ask("pairing show");
  for (const char* line :
       {"local role       Undetermined   -\n", "partner role     SlaveUnpaired  handed over\n",
        "MAC serial           X0000024D4300000A  X0000024D4300000B\n",
        "last loaded          -                  1700\n",
        "handed over: serial  -                  X0000024D4300000B\n",
        "controller A in midplane M1; the partner's information is valid\n"}) {
    EXPECT_NE(shown.find(line), std::string::npos) << line << shown;
  }
  test.pairing->getSystemPfuAction();
  shown = commands.ask("pairing show");
  EXPECT_NE(shown.find("  Push            local is master, partner is slave. PUSH\n"),
            std::string::npos)
      << shown;
}

TEST(PathCommands, ShowTellsStatesAndAddresses) {
  const test::PluginCommands commands("PathCommands");
  const test::TwoControllers test;
  EXPECT_EQ(commands.ask("path show"), "13 no path tracker runs in this host\n");
  app::NetTracker tracker("NetTracker");
  std::filesystem::create_directory(test.machine.root() + "/etc");
  std::ofstream(test.machine.root() + "/etc/hosts") << "10.0.1.2 othermcinner othermc\n";
  EXPECT_EQ(commands.ask("path show"),
            "0 HOST          ADDRESS   STATE\n"
            "othermcouter  -         down\n"
            "othermcinner  10.0.1.2  down\n"
            "othermc       10.0.1.2  follows inner\n");
}

}  // namespace
}  // namespace services::ops
