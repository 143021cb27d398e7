// Plays tests/transcripts/*.txt: what is typed at a host's console, and what it answers.
//
// A transcript has parts, each with a host of its own: "==== NAME", the configuration in TOML
// ([test] arch is MC_ARCH), and steps. "$ LINE => ANSWER" types a line, "7$ LINE" as a client whose
// process is 7, "7'$ LINE" over another connection of it. "@ ACTION ARGUMENTS => ANSWER" is done by
// Host::act. An answer goes on up to the next step, and is also that of lines before it that have
// none. In it "<*>" stands for what varies in a line, "..." for any lines, and "\" ends one that
// has no line end.
//
// Everywhere: no command but "user add" makes a token, one that is refused changes no stored value
// and runs no command line, and "hush", the secrets' text, is neither answered nor logged.
#include <dlfcn.h>

#include <regex>

#include "app/pairing/app_BurnToActive.h"
#include "host/base/fw_Container.h"
#include "host/console/fw_CommandBundle.h"
#include "host/console/fw_HostCommands.h"
#include "host/console/fw_TypedLine.h"
#include "host/service/fw_ConfigFile.h"
#include "host/service/fw_ManagedLogs.h"
#include "host/service/fw_ServiceHost.h"
#include "support/ConsoleSetting.h"
#include "support/SimulatedController.h"
#include "sysinfo/manager/us_UserManager.h"

namespace {

using Lines = std::vector<std::string>;
using services::sysinfo::SysInfoManager;

// A host with the configuration's services, whose threads do not run.
class Host : public test::Unique {
 public:
  explicit Host(const std::string& configuration) {
    m_files.write("mc.toml", "[host]\nslot = \"A\"\n" + configuration);
    const framework::ConfigFile file(m_files.path("mc.toml"));
    EXPECT_FALSE(file.isRefused()) << file.findings().front().text;
    const char* arch = "ARM";
    file.config().getStringValueOf("test", "arch", false, &arch);
    ::setenv("MC_ARCH", arch, 1);
    framework::Config::setConfig(file.config());
    SysInfoManager::getManager()->load(file.config(), 'A');
    SysInfoManager::getManager()->setValidPartner(true);
    services::user::UserManager::getManager()->load({});
    services::app::BurnToActive::getInstance()->clearDecisionParameters();
    framework::Container::setConsole(&m_console);
    framework::ServiceHost::instance().build(file.host().services);
    framework::registerHostCommands(m_shell, [] {});
    framework::CommandBundle::registerAll(m_shell);
  }
  ~Host() {
    m_clients.clear();
    framework::ServiceHost::instance().destroy();
    framework::Container::setConsole(nullptr);
    SysInfoManager::getManager()->unload();
    framework::Logger::setLevel(framework::LogType::Trace);
    EXPECT_FALSE(m_machine.log.has("hush"));
  }

  std::string type(const std::string& client, const std::string& line) {
    auto& console = m_clients[client];
    if (console == nullptr) {
      console = std::make_unique<framework::Console>(std::atoi(client.c_str()));
    }
    const std::string before = stored();
    const std::size_t commands = m_machine.commandLines().size();
    const std::size_t tokens = knownWords(line);
    std::string answer = test::ask(m_shell, line, *console);
    EXPECT_TRUE(knownWords(line) == tokens || line.starts_with("user add ")) << line;
    EXPECT_EQ(answer.find("hush"), std::string::npos);
    if (!answer.starts_with("0 ")) {
      EXPECT_EQ(stored(), before);
      EXPECT_EQ(m_machine.commandLines().size(), commands);
    }
    return answer;
  }

  std::string act(const Lines& words) {
    const std::string& action = words.at(0);
    if (action == "ran") return ran();  // the command lines since the last time
    const std::string first = words.size() > 1 ? words[1] : "";
    auto& pairing = *services::app::BurnToActive::getInstance();
    if (action == "read") return m_machine.readFile(first);
    if (action == "close") {
      m_clients.erase(first);
    } else if (action == "until") {
      liveUntil(std::stoll(first));
    } else if (action == "meet") {
      pairing.setCurrentPartnerSN(first.c_str());
      pairing.setPartnerSyncRole(services::app::BurnToActive::SlaveUnpaired);
    } else if (action == "stored-user") {  // as an older release may have kept one
      services::user::UserManager::getManager()->load(
          {{{"user " + first, words.at(2)}, words.at(3)}});
    } else if (action == "decide") {
      pairing.getSystemPfuAction();
    } else if (action == "reports") {
      for (int code = std::stoi(first); code <= std::stoi(words.at(2)); ++code) {
        logManagedLogsEvent(code, 12);
      }
    } else if (action == "process") {  // one that runs now, or from that second on
      const auto add = [=, this] { m_machine.addProcess(std::stoi(first), words.at(2)); };
      words.size() > 3 ? m_machine.at(std::stoll(words[3]), add) : add();
    } else if (action == "end") {
      const auto end = [=, this] { m_machine.removeProcess(std::stoi(first)); };
      words.size() > 2 ? m_machine.at(std::stoll(words[2]), end) : end();
    } else if (action == "file" || action == "program") {  // which prints its text
      const std::filesystem::path path(m_machine.machine.root() + first);
      std::filesystem::create_directories(path.parent_path());
      m_machine.writeFile(first, words.size() > 2 ? words[2] : "");
      if (action == "program") printing(path, first, words.at(2), words.at(3));
    } else {
      ADD_FAILURE() << "no such action: " << action;
    }
    return "";
  }

 private:
  std::string stored() const {
    return test::ask(m_shell, "sysinfo show") + test::ask(m_shell, "user list");
  }

  static std::size_t knownWords(const std::string& line) {
    std::string error;
    const Lines words = framework::splitLine(line, error).value_or(Lines());
    return std::size_t(std::ranges::count_if(words, [](const std::string& word) {
      return *strings::StringRepository::toString(strings::digestOf(word)) != '\0';
    }));
  }

  std::string ran() {
    const Lines all = m_machine.commandLines();
    std::string lines;
    for (; m_told < all.size(); ++m_told) lines += all[m_told] + "\n";
    return lines;
  }

  // In the text "^" stands for bytes that a terminal is not to get.
  void printing(const std::filesystem::path& path, const std::string& name, const std::string& text,
                const std::string& times) {
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    const std::string printed = std::regex_replace(text, std::regex("\\^"), "\t\x1b\xe9");
    m_machine.machine.onCommand(name, [=](const platform::Command& command) {
      for (int n = std::stoi(times); n > 0; --n) {
        const std::string line = printed + std::to_string(n) + "\n";
        command.output->SendOutputStream(line.data(), unsigned(line.size()));
      }
      return platform::Result{};
    });
  }

  void liveUntil(std::int64_t second) {
    const auto* running = framework::ServiceHost::instance().find("AppManager");
    auto& manager = dynamic_cast<framework::ActiveService&>(*running->service);
    m_machine.at(second, [&manager] { manager.Shutdown(); });
    manager.threadDo(0);
  }

  const test::Temporary m_files;
  test::SimulatedController m_machine;
  framework::Console m_console;
  framework::Shell m_shell;
  std::map<std::string, std::unique_ptr<framework::Console>> m_clients;
  std::size_t m_told = 0;
};

// Matching takes the stack a frame for each character: of a long answer the first and last lines.
std::string shortened(const std::string& answer) {
  constexpr std::size_t most = 4096;
  if (answer.size() <= 2 * most) return answer;
  return answer.substr(0, answer.rfind('\n', most) + 1) +
         answer.substr(answer.find('\n', answer.size() - most) + 1);
}

bool matches(std::string expected, const std::string& answer) {
  expected = std::regex_replace(expected, std::regex(R"([.^$|()[\]{}*+?\\])"), R"(\$&)");
  expected = std::regex_replace(expected, std::regex(R"(<\\\*>)"), ".*");
  expected = std::regex_replace(expected, std::regex(R"(\\.\\.\\.\n)"), "(?:.*\n)*");
  return std::regex_match(answer.ends_with('\n') || answer.empty() ? answer : answer + "\\\n",
                          std::regex(expected));
}

// A file's part: its configuration's lines, then its steps.
struct Part {
  std::string file;
  std::string name;
  std::size_t firstLine;
  Lines lines;
};

void PrintTo(const Part& part, std::ostream* stream) { *stream << part.name; }

class Transcript : public testing::TestWithParam<Part> {
 protected:
  bool isStep(std::size_t place) const {
    return std::regex_search(m_lines[place], std::regex("^(@|[0-9']*\\$) "));
  }

  // Plays the steps in a row that have one answer; the place behind it.
  std::size_t playTogether(Host& host, const std::size_t first) const {
    const std::string sign = " => ";
    std::size_t last = first;
    while (m_lines[last][0] != '@' && m_lines[last].find(sign) == std::string::npos) ++last;
    std::size_t end = last + 1;
    const std::size_t place = m_lines[last].find(sign);
    std::string expected =
        place == std::string::npos ? "" : m_lines[last].substr(place + sign.size()) + "\n";
    for (; end < m_lines.size() && !isStep(end); ++end) expected += m_lines[end] + "\n";
    for (std::size_t step = first; step <= last; ++step) {
      const std::string text = m_lines[step].substr(0, m_lines[step].find(sign));
      const std::string answer = shortened(play(host, text));
      if (matches(expected, answer)) continue;
      ADD_FAILURE_AT(m_file.c_str(), int(m_firstLine + step)) << text << " => " << answer;
    }
    return end;
  }

  static std::string play(Host& host, const std::string& step) {
    const std::size_t sign = step.find_first_of("$@");
    const std::string text = step.substr(sign + 2);
    if (step[sign] == '$') return host.type(sign == 0 ? "11" : step.substr(0, sign), text);
    std::string error;
    return host.act(framework::splitLine(text, error).value());
  }

  const std::string& m_file = GetParam().file;
  const std::size_t m_firstLine = GetParam().firstLine;
  const Lines& m_lines = GetParam().lines;
};

TEST_P(Transcript, IsWhatTheHostAnswers) {
  for (const char* library : {"lib/libmcops.so", "lib/libmcpeer.so"}) {  // which stay loaded
    ASSERT_NE(::dlopen(test::built(library).c_str(), RTLD_NOW), nullptr);
  }
  std::size_t at = 0;
  std::string configuration;
  for (; at < m_lines.size() && !isStep(at); ++at) configuration += m_lines[at] + "\n";
  Host host(configuration);
  while (at < m_lines.size()) at = playTogether(host, at);
}

std::vector<Part> allParts() {
  const std::string heading = "==== ";
  std::vector<Part> parts;
  for (const auto& entry : std::filesystem::directory_iterator(MC_TRANSCRIPTS)) {
    std::ifstream stream(entry.path());
    std::size_t number = 0;
    for (std::string line; std::getline(stream, line);) {
      ++number;
      if (line.starts_with(heading)) {
        std::string name = entry.path().stem().string() + "_" + line.substr(heading.size());
        std::ranges::replace_if(
            name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        parts.push_back({entry.path(), name, number + 1, {}});
      } else {
        parts.back().lines.push_back(line);
      }
    }
  }
  for (Part& part : parts) {
    while (part.lines.back().empty()) part.lines.pop_back();
  }
  return parts;
}

INSTANTIATE_TEST_SUITE_P(Console, Transcript, testing::ValuesIn(allParts()),
                         [](const auto& part) { return part.param.name; });

}  // namespace
