// The operator's mail commands, from the plug-in as the host loads it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/framework/fw_CommandBundle.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_Shell.h"
#include "support/SimulatedController.h"
#include "support/SysInfoSetting.h"

namespace services::ops {
namespace {

// The plug-in's service; the plug-in is loaded once and never unloaded.
std::unique_ptr<framework::Service> buildMailCommands() {
  const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  ::dlopen((programs.parent_path() / "lib/libmcops.so").c_str(), RTLD_NOW);
  const auto* factory = framework::ServiceFactory::find("MailCommands");
  return std::unique_ptr<framework::Service>(factory->getBuild()("MailCommands"));
}

TEST(MailCommands, CheckWhatIsTypedAndSend) {
  const test::SysInfoSetting sysInfo({{"A.IpV4Address", "10.0.0.1"},
                                      {"B.IpV4Address", "10.0.0.2"},
                                      {"EmailServer", "relay"},
                                      {"EmailAddr4", "logs@site"}},
                                     {{"ManagedLogsEnable", true}});
  const auto bundle = buildMailCommands();
  framework::Shell shell;
  dynamic_cast<framework::CommandBundle&>(*bundle).initializeCommands(shell);
  test::SimulatedController controller;
  controller.writeFile("/var/log/a.log", "");
  const auto ask = [&](const std::vector<std::string>& words) {
    framework::Console console;
    shell.execute(words, console);
    std::string text;
    const int code = console.takeReply(text);
    return std::to_string(code) + " " + text;
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
      {{"managed-logs", "/var/log/a.log"}, "13 no process supervision runs in this host\n"},
  };
  for (const auto& row : refused) {
    std::vector<std::string> words = row.words;
    words.insert(words.begin(), "mail");
    EXPECT_EQ(ask(words), row.reply) << words.back();
  }
  EXPECT_TRUE(controller.machine.commands().empty());

  EXPECT_EQ(ask({"mail", "simple", "a@b", "c@d", "a; subject", "$(text)"}),
            "0 mail to a@b issued\n");
  controller.build();
  EXPECT_EQ(ask({"mail", "managed-logs", "/var/log/a.log"}),
            "0 managed-log mail of /var/log/a.log issued\n");
  EXPECT_EQ(controller.timesOf("/sbin/sendmail -S 127.0.0.1 -t ").size(), 1U);
  EXPECT_EQ(controller.timesOf("/sbin/sendmail -S relay -t ").size(), 1U);
}

}  // namespace
}  // namespace services::ops
