// The mails of the supervision service: the files to the byte, the command lines in their order.

#include "host/base/fw_Container.h"
#include "host/service/fw_ConfigFile.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::SimulatedController;
using test::SysInfoSetting;
using testing::ElementsAre;
using Texts = std::map<std::string, std::string>;
using Flags = std::map<std::string, bool>;

const Texts both = {{"A.IpV4Address", "10.0.0.1"}, {"A.ControllerSerial", "SNA"},
                    {"B.IpV4Address", "10.0.0.2"}, {"B.ControllerSerial", "SNB"},
                    {"EmailSender", "enclosure7"}, {"EmailDomain", "site.example.com"},
                    {"EmailServer", "relay.site"}, {"EmailAddr4", "logs@site.example.com"}};

Texts without(const std::string& start) {
  Texts texts = both;
  std::erase_if(texts, [&start](const auto& text) { return text.first.starts_with(start); });
  return texts;
}

class Mail : public testing::Test {
 protected:
  Mail() { ::setenv("TZ", "UTC", 1); }

  // What the program that reads the slot prints.
  void setSlot(const std::string& output) {
    controller.machine.onCommand("readslot", [output](const platform::Command& command) {
      command.output->SendOutputStream(output.data(), static_cast<unsigned int>(output.size()));
      return platform::Result{};
    });
  }

  SimulatedController controller;
  const AppManager& manager = controller.build();
};

TEST_F(Mail, ShowsTheControllerOfTheSlot) {
  const std::array<const char*, 4> slots[] = {
      {"A\n", "A", "10.0.0.1", "SNA"}, {"B", "B", "10.0.0.2", "SNB"}, {"", "", "10.0.0.2", "SNB"},
      {"\nA", "", "10.0.0.2", "SNB"},  {"a", "a", "10.0.0.2", "SNB"},
  };
  for (const std::string log = "/var/log/mc.log.000007"; const auto& row : slots) {
    const std::string letter = row[1], address = row[2], serial = row[3];
    const bool include = letter.empty();
    const SysInfoSetting sysInfo(
        both, {{"ManagedLogsEnable", true}, {"EmailIncludeLogsEnable", include}});
    setSlot(row[0]);
    manager.sendMail("web");
    EXPECT_EQ(controller.readFile("/tmp/webcrash.mail"),
              "to: crash-reports@support.example.com\nfrom: " + address + "_mc_" + letter +
                  "@enclosure.example.com\nsubject: PhoneHome: web crash (TQK318R009-02)\n"
                  "\nCrash at: 2023-11-14 22:13:20\n\n\n");
    manager.sendManagedLogsMail(1, 2, log.c_str());
    EXPECT_EQ(controller.readFile("/tmp/ManagedLogs.mail"),
              "to: logs@site.example.com\nfrom: " + serial + "_MC_" + letter + "_" + address +
                  "_enclosure7@site.example.com\nsubject: Managed Log: " + log +
                  " (TQK318R009-02)\n\nManaged Log at: 2023-11-14 22:13:20\n\n\n");
    EXPECT_EQ(controller.commandLines().back(),
              "/sbin/sendmail -S relay.site " + (include ? "-a " + log + " " : "") +
                  "-t </tmp/ManagedLogs.mail; rm /tmp/ManagedLogs.mail;");
  }
}

TEST_F(Mail, CrashMailAloneGoesOutWhenTheFileCannotBeOpened) {
  const SysInfoSetting sysInfo(both, {});
  ::setenv("MC_TEMP", "/none", 1);
  manager.sendMail("web");
  AppManager::sendSimpleMail("ops@example.com", "mc@example.com", "s", "b");
  EXPECT_TRUE(controller.log.has("failure to sent e-mail to: ops@example.com (2)\n"));
  EXPECT_EQ(controller.commandLines().size(), 5U);
  EXPECT_EQ(controller.commandLines().back(),
            "/sbin/sendmail -S 127.0.0.1 -t </none/webcrash.mail; rm /none/webcrash.mail; &");
}

TEST_F(Mail, IsNotSentWhereSomethingIsMissing) {
  const char* const directory = "/tmp";
  const struct {
    std::optional<Texts> texts;  // none: no system information
    bool enabled;
    const char* temporary;  // null: unset
    const char* line;       // of the managed-log mail
    bool file;  // the managed-log mail's file stays behind, empty, and the crash mail is sent
  } rows[] = {
      {std::nullopt, true, directory, "sendManagedLogsMail did not get lock on sysInfo", false},
      {without("B."), true, directory, "Failed to send. MCA or MCB Info invalid.", false},
      {both, true, nullptr, "no mail: MC_TEMP is not set", false},
      {both, false, directory, "SendManagedLogsMail managed logs is disabled exit", true},
      {without("EmailAddr4"), true, directory, "email4 address is not set exit", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    SimulatedController fresh;
    const AppManager& service = fresh.build();
    std::optional<SysInfoSetting> sysInfo;
    if (row.texts) sysInfo.emplace(*row.texts, Flags{{"ManagedLogsEnable", row.enabled}});
    row.temporary == nullptr ? ::unsetenv("MC_TEMP") : ::setenv("MC_TEMP", row.temporary, 1);
    service.sendManagedLogsMail(0, 0, "/log");
    EXPECT_TRUE(fresh.log.has(row.line));
    EXPECT_EQ(fresh.hasFile("/tmp/ManagedLogs.mail"), row.file);
    EXPECT_EQ(fresh.readFile("/tmp/ManagedLogs.mail"), "");
    service.sendMail("web");
    EXPECT_EQ(fresh.timesOf("/sbin/sendmail").size(), row.file ? 1U : 0U);
    EXPECT_EQ(fresh.hasFile("/tmp/webcrash.mail"), row.file);
  }
}

TEST_F(Mail, SimpleMailIsWrittenAndSent) {
  controller.writeFile("/tmp/simple.mail", std::string(1000, 'x'));  // replaced
  const std::string body(20000, 'b');
  AppManager::sendSimpleMail("ops@example.com", "mc@example.com", "a subject", body.c_str());
  EXPECT_EQ(controller.readFile("/tmp/simple.mail"),
            "to: ops@example.com\nfrom: mc@example.com\nsubject: a subject\n"
            "\nmessage at: 2023-11-14 22:13:20\n\n" +
                body + "\n");
  const std::string send = "/sbin/sendmail -S 127.0.0.1 -t </tmp/simple.mail; rm /tmp/simple.mail";
  EXPECT_THAT(controller.commandLines(), ElementsAre(send));
  EXPECT_TRUE(controller.log.has("]: creating file: /tmp/simple.mail\n"));
  EXPECT_TRUE(controller.log.has("]: command: " + send + "\n"));
}

TEST_F(Mail, ACrashMailWaitsShortlyForTheSendBeforeIt) {
  const SysInfoSetting sysInfo(both, {});
  framework::Container::Told sending;
  controller.machine.onCommand("/sbin/sendmail", [&](const platform::Command& command) {
    sending = command.told;
    return platform::Result{.outcome = platform::Outcome::TimedOut};
  });
  manager.sendMail("web");
  controller.machine.at(1500000, [&] { sending = nullptr; });
  manager.sendMail("web");
  EXPECT_EQ(controller.machine.elapsed(), 1500000);
  manager.sendMail("web");  // of the same cycle, all of whose mails wait for 2 s
  EXPECT_EQ(controller.machine.elapsed(), 2000000);
  EXPECT_TRUE(controller.log.has("no crash mail of web: the one before is still being sent"));
  manager.sendMail("snmpd");
  EXPECT_EQ(controller.timesOf("/sbin/sendmail"), (std::vector<std::int64_t>{0, 1, 2}));
}

TEST_F(Mail, NoFileOfOthersIsUsedAndNoneIsLeftByASendThatWasKilled) {
  const SysInfoSetting sysInfo(both, {{"ManagedLogsEnable", true}});
  const std::string place = controller.machine.root() + "/tmp";
  const struct {
    mode_t mode;
    bool link;  // in the mails' places, else directories
    std::size_t mails;
    platform::Result result;
  } rows[] = {{0755, true, 3, {}},
              {0777, true, 0, {}},
              {01777, true, 3, {}},
              {0755, false, 0, {}},
              {0755, true, 3, {platform::Outcome::TimedOut, -1}}};
  for (std::size_t mails = 0; const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    std::filesystem::remove_all(place);
    std::filesystem::create_directory(place);
    for (const char* name : {"/webcrash.mail", "/ManagedLogs.mail", "/simple.mail"}) {
      if (row.link) std::filesystem::create_symlink("../cfg/precious", place + name);
      if (!row.link) std::filesystem::create_directory(place + name);
    }
    ::chmod(place.c_str(), row.mode);
    controller.machine.onCommand("/sbin/sendmail", [&](const auto&) { return row.result; });
    manager.sendMail("web");
    manager.sendManagedLogsMail(0, 0, "/log");
    AppManager::sendSimpleMail("ops@example.com", "mc@example.com", "s", "b");
    EXPECT_EQ(controller.timesOf("/sbin/sendmail").size(), mails += row.mails);
    EXPECT_FALSE(controller.hasFile("/cfg/precious"));
    framework::ConfigFile check("/none");
    check.checkEnvironment();
    EXPECT_EQ(check.findings().size(), row.mode == 0777 ? 2U : 1U) << "one is that of the file";
  }
  EXPECT_FALSE(controller.hasFile("/tmp/simple.mail")) << "its removal was killed with its send";
  EXPECT_FALSE(controller.hasFile("/tmp/ManagedLogs.mail"));
}

}  // namespace
}  // namespace services::app
