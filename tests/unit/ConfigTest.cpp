// The configuration: what is refused, where and by which rule, and how its values are read; the
// grammars of stored values, names and paths: what of a text may come in.
#include <regex>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_Probe.h"
#include "host/base/fw_Entrance.h"
#include "host/service/fw_ConfigFile.h"
#include "support/ConsoleSetting.h"
#include "sysinfo/record/si_Grammar.h"

namespace {

using framework::Config;
using framework::ConfigFile;
using framework::PropertyType;
using framework::ServiceFactory;

void checkWord(const char* value, std::vector<framework::PropertyFinding>& findings) {
  if (!framework::isDaemonName(value)) findings.push_back({true, "no word"});
  if (std::string(value) == "odd") findings.push_back({false, "is odd"});
}

constexpr framework::VariableRule variables[] = {{"MC_SAMPLE", "no sample"}};
constexpr framework::PropertyRule rules[] = {
    {.key = "each.*.hat", .type = PropertyType::Boolean},
    {.key = "count", .type = PropertyType::Integer, .minimum = -5, .maximum = 5},
    {.key = "flag", .type = PropertyType::Boolean},
    {.key = "word", .type = PropertyType::Text, .check = checkWord},
    {.key = "words", .type = PropertyType::List, .absent = "silence", .check = checkWord},
    {.key = "either", .type = PropertyType::List, .orText = true, .check = checkWord},
    {.key = "inner.word", .type = PropertyType::Text},
};

framework::Service* buildNothing(const char*) { return nullptr; }
const ServiceFactory factory(buildNothing, "Sample");
const framework::ServiceProperties properties("Sample", rules, variables);

constexpr const char* duplicate = "two plug-ins register a service of this name";

class Configuration : public testing::Test {
 protected:
  // A line "error LINE: text" or "warning LINE: text" for each finding in a file of that content;
  // what concerns other services than those of the file is left out.
  std::string findings(const std::string& content) {
    const ConfigFile file = read(content);
    std::string all;
    for (const auto& finding : file.findings()) {
      if (finding.text.starts_with("environment: ")) continue;
      EXPECT_TRUE(finding.text.starts_with(files.path("mc.toml") + ":")) << finding.text;
      const std::string place = finding.text.substr(files.path("mc.toml").size() + 1);
      if (place.front() == ' ' && !finding.fatal) continue;      // an absent table's absent list
      if (place.find(duplicate) != std::string::npos) continue;  // left behind by another test
      all += (finding.fatal ? "error " : "warning ") + place + "\n";
    }
    return all;
  }
  ConfigFile read(const std::string& content) {
    files.write("mc.toml", content);
    ConfigFile file(files.path("mc.toml"));
    if (file.arePluginsKnown()) file.checkInstances();
    return file;
  }

  test::Temporary files;
};

const std::string host = "[host]\nslot = \"A\"\n";  // what follows begins in line 3

const std::string safePath = std::string(framework::safePathRule) + "\n";
const std::string tooMuch =
    "the pattern takes over 2 MiB or a second on command lines of 4 KiB; write it anew\n";
const std::string patterns = host + "[AppManager]\nnokill = []\nkillNonEssential = []\ndata = [\n";
// A file, and what is found in it.
const std::pair<std::string, std::string> faults[] = {
    {host + "slot = 'B'\n",
     "error 3: Error while parsing key-value pair: cannot redefine existing string 'slot'\n"},
    {"", "error  host.slot: property not supplied\n"},
    {"[host]\nslot = 'C'\n", "error 2: host.slot: must be \"A\" or \"B\"\n"},
    {"x = 1\n" + host + "[[Sample]]\n",
     "error 4: Sample: must stand in a table\nerror 1: x: must stand in a table\n"},
    {"[[host]]\nslot = 'A'\n", "error 1: host: must stand in a table\n"},
    {host + "console = '/" + std::string(150, 'x') + "'\n",
     "error 3: host.console: must have at most 107 characters\n"},
    {host + "colour = 1\ncommandSeconds = 1.5\nslots = 2026-11-22\n",
     "error 3: host.colour: no such property\n"
     "error 4: host.commandSeconds: must be an integer\n"
     "error 5: host.slots: no such property\n"},
    {host + "plugins = ['a',\n1, 2]\n[Gone]\n",  // what they bring is not known
     "error 4: host.plugins: must be a list of texts\n"},
    {host + "console = \"/run/\\u0000x\"\ndebug = [\"\\u0000\"]\n",
     "error 3: host.console: must be a text, without zero characters\n"
     "error 4: host.debug: must be a list of texts, without zero characters\n"},
    {host + "commandSeconds = 0\nconsole = 'run/x'\n",
     "error 3: host.commandSeconds: must be from 1 to 3600\nerror 4: host.console: " + safePath},
    {host + "log = { destination = '/a b', level = 'loud' }\n",
     "error 3: host.log.destination: " + safePath +
         "error 3: host.log.level: must be \"error\", \"warning\", \"info\", \"debug\" or "
         "\"trace\"\n"},
    {host + "services = ['Sample', \"x\\nerror: y\\u001b[m\", 'Sample']\n[Sample]\nwords = []\n",
     "error 3: host.services: no loaded plug-in registers \"x?error: y?[m\"\n"
     "error 3: host.services: \"Sample\" stands twice\n"},
    {host + "[Sample]\nwords = ['a']\ncount = -5\nflag = true\nword = 'w'\n", ""},
    {host + "commandSeconds = true\n[Gone]\nx = 1\n[Sample]\ncount = '1'\nflag = 1\nword = 1\n",
     "error 3: host.commandSeconds: must be an integer\n"
     "error 7: Sample.count: must be an integer\nerror 8: Sample.flag: must be true or false\n"
     "error 9: Sample.word: must be a text\n"
     "warning 6: Sample.words: property not supplied: silence\n"
     "warning 4: Gone: no loaded plug-in registers a service of this name\n"},
    {host + "[Sample]\nwords = 'a'\neither = 'a, odd  /,b'\ncount = 6\n",
     "error 6: Sample.count: must be from -5 to 5\n"
     "warning 5: Sample.either: is odd\nerror 5: Sample.either: no word\n"
     "error 4: Sample.words: must be a list of texts\n"},
    {host + "[Sample]\neither = 1\nwords = ['a', 'odd',\n'b c', '']\n[Sample.inner]\nbird = 1\n"
            "[Sample.each.a]\nhat = true\n[Sample.each.'b.c']\nhat = 1\n",
     "error 12: Sample.each.b.c.hat: must be true or false\n"
     "error 4: Sample.either: must be a list of texts or one text\n"
     "error 8: Sample.inner.bird: no such property\n"
     "warning 5: Sample.words: is odd\n"
     "error 6: Sample.words: no word\nerror 6: Sample.words: no word\n"},
    {host + "[web]\naddress = '1.2.3'\nkey = 'k'\nport = 65536\n",
     "error 4: web.address: must be an IPv4 address\nerror 5: web.key: " + safePath +
         "error 6: web.port: must be from 1 to 65535\n"},
    {host + "[sysinfo]\nA.MacAddress = '02:4D:43:00:00:01'\nB.MacAddress = '02:4d:44:00:00:01'\n",
     "warning 5: sysinfo.B.MacAddress: does not begin with the controllers' prefix, 02:4d:43\n"},
    {host + "[InterfaceManager]\nmanaging = ['Http', ' Usmis ', '',\n'http']\n",
     "warning 5: InterfaceManager.managing: \"http\": an interface is one of Http, Https, "
     "Telnet, "
     "Ssh, Smis, Ftp, Snmp, Debug, Usmis, ActivityProgress\n"},
    {host + "[AppManager]\nnokill = ['web;reboot', ' ']\nkillNonEssential = []\ndata = []\n",
     "error 4: AppManager.nokill: \"web;reboot\": " + std::string(framework::daemonNameRule) +
         "\n"},
    {patterns +
         R"('x//usr/bin/web; *$', 'a/a\\1', 'b/^([^ ]*/)?p3?( -[A-Za-z]+)* [^ ]*d\.py( |$)'])",
     ""},
    {patterns +
         "'a/x*', 'b/(.)\\1', 'c/(',\n'd/(a|b)*a(a|b){30}', 'e/((a{1,255}){1,255}){1,255}']\n",
     "warning 7: AppManager.data: \"a\": the pattern matches an empty text and so may match "
     "every "
     "process\n"
     "warning 7: AppManager.data: \"b\": the pattern has a back-reference, which can take for "
     "ever\n"
     "warning 7: AppManager.data: \"c\": the pattern does not compile (Unmatched ( or \\(), the "
     "daemon is found by its name\n"
     "warning 8: AppManager.data: \"d\": " +
         tooMuch + "warning 8: AppManager.data: \"e\": " + tooMuch},
};

TEST_F(Configuration, FaultsAreFoundWithTheirLineAndRule) {
  ASSERT_EQ(services::app::AppManager::getSingleton(), nullptr);  // its rules are there without it
  for (const auto& [content, found] : faults) EXPECT_EQ(findings(content), found) << content;
}

TEST_F(Configuration, AVariableThatAServiceMissesIsWarnedOf) {
  const auto isMissed = [this](const std::string& services) {
    return std::ranges::any_of(read(host + services).findings(), [](const auto& finding) {
      return !finding.fatal && finding.text == "environment: MC_SAMPLE: not set: no sample";
    });
  };
  EXPECT_TRUE(isMissed(""));
  EXPECT_FALSE(isMissed("services = []\n"));
  ::setenv("MC_SAMPLE", "", 1);
  EXPECT_FALSE(isMissed(""));
}

TEST_F(Configuration, ValuesAreReadByTypeAndNothingIsWrittenOtherwise) {
  const test::LogCapture log;
  Config::setConfig(read(host +
                         "[Sample]\ncount = 4\nflag = true\nword = 'w'\nwords = ['a', '', 'b']\n"
                         "[Sample.inner]\nword = 'deep'\n")
                        .config());
  const Config& config = *Config::getConfig(0, nullptr);
  int number = -1;
  bool flag = false;
  const char* text = "untouched";
  EXPECT_TRUE(config.getIntValueOf("Sample", "count", false, &number));
  EXPECT_TRUE(config.getBoolValueOf("Sample", "flag", false, &flag));
  EXPECT_FALSE(config.getIntValueOf("Sample", "flag", false, &number));
  EXPECT_FALSE(config.getBoolValueOf("Sample", "count", false, &flag));
  EXPECT_FALSE(config.getStringValueOf("Sample", "count", false, &text));
  for (const bool told : {false, true}) {
    EXPECT_FALSE(config.getIntValueOf("Other", "count", told, &number));
    EXPECT_EQ(log.count("Other.count: property not supplied"), told);
  }
  EXPECT_TRUE(number == 4 && flag && text == std::string("untouched"));
  EXPECT_TRUE(config.getStringValueOf("Sample", "inner.word", false, &text));
  EXPECT_STREQ(text, "deep");
  EXPECT_TRUE(config.getStringValueOf("Sample", "words", false, &text));
  EXPECT_STREQ(text, "a,,b");
  const auto* list = config.propertyAsStringArray(Config::concatName("Sample", "words", false));
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->ElementAt(2), "b");
  EXPECT_EQ(list->ElementAt(3), nullptr);
  EXPECT_EQ(config.propertyAsStringArray(Config::concatName("Sample", "word", false)), nullptr);
}

TEST_F(Configuration, TheHostsSettingsAreTakenOver) {
  EXPECT_FALSE(read(host).host().servicesGiven);
  const auto given = read(
                         "[host]\nslot = 'B'\nconsole = '/c'\nplugins = ['p', 'q']\n"
                         "services = []\ndebug = ['d']\ncommandSeconds = 5\n"
                         "log = { destination = '/l', level = 'error' }\n")
                         .host();
  EXPECT_EQ(given.slot + given.console + given.logDestination + given.logLevel, "B/c/lerror");
  EXPECT_EQ(given.plugins, (std::vector<std::string>{"p", "q"}));
  EXPECT_TRUE(given.servicesGiven && given.services.empty());
  EXPECT_EQ(given.debug, std::vector<std::string>{"d"});
  EXPECT_EQ(given.commandSeconds, 5);
}

TEST_F(Configuration, PlugInsThatCannotBeLoadedAreFoundWithTheirLine) {
  files.write("mc.toml", host + "plugins = ['/none.so',\n\"/a\\nerror: x\"]\n");
  const std::string path = files.path("mc.toml");
  const std::string line = test::built("bin/mchost") + " --check --config " + path +
                           " --plugin /other.so 2>" + files.path("said");
  EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 1);
  const std::string reason = ": cannot open shared object file: No such file or directory\n";
  EXPECT_EQ(files.read("said"), "error: " + path + ":3: host.plugins: /none.so: /none.so" + reason +
                                    "error: " + path +
                                    ":4: host.plugins: /a?error: x: /a?error: x" + reason +
                                    "error: " + path + ": --plugin: /other.so: /other.so" + reason);
}

TEST_F(Configuration, TwoServicesOfOneNameAreRefused) {
  const ServiceFactory again(buildNothing, "Sample");
  const ConfigFile file = read(host);
  EXPECT_TRUE(file.isRefused());
  EXPECT_EQ(file.findings().at(0).text, files.path("mc.toml") + ": Sample: " + duplicate);
}

}  // namespace

namespace services::sysinfo {
namespace {

struct Rule {
  bool (*holds)(const char*);
  std::string rule, good;
};

std::vector<Rule> rules() {
  const std::string word = "[A-Za-z0-9]+", label = word + "(-+" + word + ")*";
  const std::string dots = label + "(\\." + label + ")*", local = "\\w[\\w.+-]{0,63}";
  const std::string octet = "(25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)", wide(60, 'w');
  const std::string port =
      "(6553[0-5]|655[0-2]\\d|65[0-4]\\d\\d|6[0-4]\\d{3}|[1-5]\\d{4}|[1-9]\\d{0,3})";
  const std::string role = "(Https?|Telnet|Ssh|Smis|Ftp|Debug|Usmis|Snmp(User|Target)?)";
  return {
      {addressGrammar.holds, "(" + octet + "\\.){3}" + octet, "10.20.0.255"},
      {macGrammar.holds, "([0-9A-Fa-f]{2}:){5}[0-9A-Fa-f]{2}", "02:4d:43:00:00:0A"},
      {mailGrammar.holds, "|" + local + "@" + dots, "a_b.c+d@mail-1.site"},
      {senderGrammar.holds, "|" + local, wide + "e-1."},
      {hostGrammar.holds, "|(?=.{1,253}$)" + dots, "mail--1.si-te." + wide + wide + wide},
      {relayGrammar.holds, "|(?=.{1,63}$)" + dots, wide + ".xy"},
      {serialGrammar.holds, "|\\w[\\w.-]{0,63}", "S_.-" + wide},
      {timestampGrammar.holds, "\\d{0,31}", "1700000000000000000000000000000"},
      {versionGrammar.holds, "(?!-)[\\w.+-]{0,31}", "TQK318R009-02+1_xvvvvvvvvvvvvvv"},
      {communityGrammar.holds, "(?![-#])[!#-&(-\\[\\]-~]{1,64}", "q;#`" + wide},
      {userNameGrammar.holds, "(?!comm\\d+$)[A-Za-z][\\w.-]{0,27}", "comm22xuuuuuuuuuuuuuuuuuuuuu"},
      {storedUserNameGrammar.holds, "[A-Za-z][\\w.-]{0,31}", "E_1.x-uuuuuuuuuuuuuuuuuuuuuuuuuu"},
      {passwordGrammar.holds, "|[ !#-\\[\\]-~]{8,64}", "it's # 4"},
      {targetGrammar.holds, "|" + dots + "(:0*[1-9]\\d{0,3}|:[1-5]\\d{4})?", "h-1.x:5999"},
      {rolesGrammar.holds, "|" + role + "(," + role + ")*", "Http,SnmpUser"},
      {authTypeGrammar.holds, "none|MD5|SHA", "MD5"},
      {privacyTypeGrammar.holds, "none|DES|AES", "DES"},
      {framework::isDaemonName, "\\w[\\w.-]{0,63}", "W_2-x.y"},
      {app::Probe::isProbe, "tcp:0*" + port + "|unix:/[\\w/.+,:@=-]{0,106}", "tcp:65535"},
      {app::Probe::isProbe, "exec:[^\\x7f\t\n]*[^ &\\x7f\t\n] *", "exec:a & b"},
      {app::Probe::isProbe, "unix:/[\\w/.+,:@=-]{0,106}",
       "unix:/r_1/x.s" + wide + std::string(33, 'x')},
      {framework::isSafePath, "/[\\w/.+,:@=-]{0,199}", "/_1-2.log+,:@=" + wide + wide + wide},
  };
}

// A good text that is cut, doubled and spoilt: what could break out of a command line, a header or
// the agent's file among it.
std::string spoilt(std::string text, test::Random& random) {
  const std::string good = text, odd = "\"'\\;$`|&<>*~#\x7f\xc3 \t\n.-:,@+_a0";
  for (long changes = random.below(3); changes >= 0; --changes) {
    const auto at = static_cast<std::size_t>(random.below(std::ssize(text) + 1));
    const char c = odd[static_cast<std::size_t>(random.below(std::ssize(odd)))];
    const long kind = random.below(4);
    if (kind == 0) text.erase(at);
    if (kind == 1) text.insert(at, 1, c);
    if (kind == 2) text.replace(at, 1, 1, c);
    if (kind == 3) text.insert(at, good.substr(0, at));
  }
  return text;
}

// Each grammar beside its rule told as a regular expression.
TEST(Grammars, HoldWhatTheirRulesSay) {
  test::Random random(1);
  for (const auto& [holds, rule, good] : rules()) {
    const std::regex expected(rule);
    EXPECT_TRUE(holds(good.c_str()) && std::regex_match(good, expected)) << good;
    for (int i = 0; i < 1000; ++i) {
      const std::string text = spoilt(good, random);
      ASSERT_EQ(holds(text.c_str()), std::regex_match(text, expected)) << rule << ": " << text;
    }
  }
}

}  // namespace
}  // namespace services::sysinfo
