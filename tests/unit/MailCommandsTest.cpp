// The operator's mail commands.
#include <gtest/gtest.h>

#include "support/PluginCommands.h"
#include "support/SimulatedController.h"
#include "support/SysInfoSetting.h"

namespace services::ops {
namespace {

TEST(MailCommands, CheckWhatIsTypedAndSend) {
  const test::SysInfoSetting sysInfo({{"A.IpV4Address", "10.0.0.1"},
                                      {"B.IpV4Address", "10.0.0.2"},
                                      {"EmailServer", "relay"},
                                      {"EmailAddr4", "logs@site"}},
                                     {{"ManagedLogsEnable", true}});
  const test::PluginCommands commands("MailCommands");
  test::SimulatedController controller;
  controller.writeFile("/var/log/a.log", "");
  const auto ask = [&](std::vector<std::string> words) {
    words.insert(words.begin(), "mail");
    return commands.ask(words);
  };
  const std::string address =
      " must be a mail address, NAME@HOST, of letters, digits, \"_\", \"-\", \"+\" and \".\"\n";
  const std::string path =
      "13 FILE must be an absolute path of at most 200 letters, digits and \"/_-.+,:@=\"\n";
  const struct {
    std::vector<std::string> words;
    std::string reply;
  } refused[] = {
      {{"simple", "a@b", "c@d", "s"}, "1 usage: mail simple TO FROM SUBJECT TEXT\n"},
      {{"simple", "a@b;rm", "c@d", "s", "t"}, "13 TO" + address},
      {{"simple", "a@b", "c", "s", "t"}, "13 FROM" + address},
      {{"simple", "a@b", "c@d", "s\nbcc: e@f", "t"}, "13 SUBJECT must hold no control character\n"},
      {{"simple", "a@b", "c@d", "s", "t\r"}, "13 TEXT must hold no control character\n"},
      {{"managed-logs"}, "1 usage: mail managed-logs FILE\n"},
      {{"managed-logs", "a.log"}, path},
      {{"managed-logs", "/var/log/a;b"}, path},
      {{"managed-logs", "/var/log/b.log"}, "13 no such file: /var/log/b.log\n"},
      {{"managed-logs", "/var/log"}, "13 no regular file: /var/log\n"},
      {{"managed-logs", "/var/log/a.log"}, "13 no process supervision runs in this host\n"},
  };
  for (const auto& row : refused) EXPECT_EQ(ask(row.words), row.reply) << row.words.back();
  EXPECT_TRUE(controller.machine.commands().empty());

  EXPECT_EQ(ask({"simple", "a@b", "c@d", "a; subject", "$(text)"}), "0 mail to a@b issued\n");
  controller.build();
  EXPECT_EQ(ask({"managed-logs", "/var/log/a.log"}),
            "0 managed-log mail of /var/log/a.log issued\n");
  ::unsetenv("MC_TEMP");
  const std::string nothing = "13 nothing is mailed; the log says why\n";
  EXPECT_EQ(ask({"simple", "a@b", "c@d", "s", "t"}), nothing);
  EXPECT_EQ(ask({"managed-logs", "/var/log/a.log"}), nothing);
  EXPECT_EQ(controller.timesOf("/sbin/sendmail -S 127.0.0.1 -t ").size(), 1U);
  EXPECT_EQ(controller.timesOf("/sbin/sendmail -S relay -t ").size(), 1U);
}

}  // namespace
}  // namespace services::ops
