// The configuration: what is refused, where and by which rule, and how its values are read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Entrance.h"
#include "host/base/st_StringRepository.h"
#include "host/service/fw_ConfigFile.h"
#include "support/ConsoleSetting.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"

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

struct Row {
  const char* name;
  std::string content;
  std::string findings;
};

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
  void expect(const std::vector<Row>& rows, const std::string& before) {
    for (const Row& row : rows) EXPECT_EQ(findings(before + row.content), row.findings) << row.name;
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

TEST_F(Configuration, FaultsOfTheFileAreFoundWithTheirLine) {
  const std::vector<Row> rows = {
      {"broken table", "[host\nslot",
       "error 1: Error while parsing table header: expected ']', saw '\\n'\n"},
      {"key given twice", host + "slot = 'B'\n",
       "error 3: Error while parsing key-value pair: cannot redefine existing string 'slot'\n"},
      {"empty", "", "error  host.slot: property not supplied\n"},
      {"slot missing", "\n[host]\n", "error 2: host.slot: property not supplied\n"},
      {"slot wrong", "[host]\nslot = 'C'\n", "error 2: host.slot: must be \"A\" or \"B\"\n"},
      {"key outside of tables", "x = 1\n" + host, "error 1: x: must stand in a table\n"},
      {"list of tables", host + "[[Sample]]\n", "error 3: Sample: must stand in a table\n"},
      {"host is a value", "host = 3\n", "error 1: host: must stand in a table\n"},
      {"host is a list", "[[host]]\nslot = 'A'\n", "error 1: host: must stand in a table\n"},
  };
  expect(rows, "");
}

TEST_F(Configuration, FaultsOfTheHostAreFoundWithTheirLineAndRule) {
  const std::string safePath = std::string(framework::safePathRule) + "\n";
  const std::vector<Row> rows = {
      {"unknown key", "colour = 1\n", "error 3: host.colour: no such property\n"},
      {"mixed list hides what its plug-ins bring", "plugins = ['a',\n1, 2]\n[Gone]\n",
       "error 4: host.plugins: must be a list of texts\n"},
      {"zero characters", "console = \"/run/\\u0000x\"\ndebug = [\"\\u0000\"]\n",
       "error 3: host.console: must be a text, without zero characters\n"
       "error 4: host.debug: must be a list of texts, without zero characters\n"},
      {"unknown types", "commandSeconds = 1.5\nslots = 2026-11-22\n",
       "error 3: host.commandSeconds: must be an integer\n"
       "error 4: host.slots: no such property\n"},
      {"no time", "commandSeconds = 0\n", "error 3: host.commandSeconds: must be from 1 to 3600\n"},
      {"socket path", "console = 'run/x'\n", "error 3: host.console: " + safePath},
      {"socket path too long", "console = '/" + std::string(150, 'x') + "'\n",
       "error 3: host.console: must have at most 107 characters\n"},
      {"log", "[host.log]\ndestination = '/a b'\nlevel = 'loud'\n",
       "error 4: host.log.destination: " + safePath +
           "error 5: host.log.level: must be \"error\", \"warning\", \"info\", \"debug\" or "
           "\"trace\"\n"},
      {"services unknown and twice", "services = ['Sample', 'Gone', 'Sample']\n",
       "error 3: host.services: no loaded plug-in registers \"Gone\"\n"
       "error 3: host.services: \"Sample\" stands twice\n"},
      {"control characters stay in their line", "services = [\"x\\nerror: y\\u001b[m\"]\n",
       "error 3: host.services: no loaded plug-in registers \"x?error: y?[m\"\n"},
      {"unknown plug-ins hide their services",
       "plugins = 'libx.so'\nservices = ['X']\n[X]\ny = 1\n",
       "error 3: host.plugins: must be a list of texts\n"},
  };
  expect(rows, host);
}

TEST_F(Configuration, FaultsOfServicesAreFoundWithTheirLineAndRule) {
  const std::vector<Row> rows = {
      {"good", "[Sample]\nwords = ['a']\ncount = -5\nflag = true\nword = 'w'\n", ""},
      {"unknown table", "[Gone]\nx = 1\n",
       "warning 3: Gone: no loaded plug-in registers a service of this name\n"},
      {"types", "[Sample]\ncount = '1'\nflag = 1\nwords = 'a'\n",
       "error 4: Sample.count: must be an integer\nerror 5: Sample.flag: must be true or false\n"
       "error 6: Sample.words: must be a list of texts\n"},
      {"a list in one text", "[Sample]\nwords = []\neither = 'a, odd  /,b'\n",
       "warning 5: Sample.either: is odd\nerror 5: Sample.either: no word\n"},
      {"neither list nor text", "[Sample]\nwords = []\neither = 1\n",
       "error 5: Sample.either: must be a list of texts or one text\n"},
      {"MAC addresses of these and of other controllers",
       "[sysinfo]\nA.MacAddress = '02:4D:43:00:00:01'\nB.MacAddress = '00:4d:43:00:00:01'\n",
       "warning 5: sysinfo.B.MacAddress: does not begin with the controllers' prefix, 02:4d:43\n"},
      {"just out of range", "[Sample]\nwords = []\ncount = 6\n",
       "error 5: Sample.count: must be from -5 to 5\n"},
      {"far out of range", "[Sample]\nwords = []\ncount = -9223372036854775808\n",
       "error 5: Sample.count: must be from -5 to 5\n"},
      {"every entry is checked", "[Sample]\nwords = ['a', 'odd', 'b c', '']\n",
       "warning 4: Sample.words: is odd\n"
       "error 4: Sample.words: no word\nerror 4: Sample.words: no word\n"},
      {"inner table", "[Sample]\nwords = []\n[Sample.inner]\nword = 'x'\nbird = 1\n",
       "error 7: Sample.inner.bird: no such property\n"},
      {"a fault of the host hides no other", "commandSeconds = true\n[Sample]\nword = 1\n",
       "error 3: host.commandSeconds: must be an integer\nerror 5: Sample.word: must be a text\n"
       "warning 4: Sample.words: property not supplied: silence\n"},
  };
  expect(rows, host);
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

TEST_F(Configuration, AFileThatCannotBeReadIsRefused) {
  const ConfigFile file(files.path("none.toml"));
  EXPECT_TRUE(file.isRefused());
  EXPECT_FALSE(file.arePluginsKnown());
  EXPECT_EQ(file.findings().at(0).text, files.path("none.toml") + ": No such file or directory");
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
  EXPECT_EQ(number, 4);
  EXPECT_TRUE(flag);
  EXPECT_FALSE(config.getIntValueOf("Sample", "flag", false, &number));
  EXPECT_FALSE(config.getBoolValueOf("Sample", "count", false, &flag));
  EXPECT_FALSE(config.getStringValueOf("Sample", "count", false, &text));
  EXPECT_FALSE(config.getIntValueOf("Other", "count", false, &number));
  EXPECT_EQ(number, 4);
  EXPECT_STREQ(text, "untouched");
  EXPECT_FALSE(log.has("property not supplied"));
  EXPECT_FALSE(config.getIntValueOf("Other", "count", true, &number));
  EXPECT_EQ(log.count("Other.count: property not supplied"), 1);

  EXPECT_TRUE(config.getStringValueOf("Sample", "inner.word", false, &text));
  EXPECT_STREQ(text, "deep");
  EXPECT_TRUE(config.getStringValueOf("Sample", "words", false, &text));
  EXPECT_STREQ(text, "a,,b");
  const auto* list = config.propertyAsStringArray(Config::concatName("Sample", "words", false));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->Length(), 3U);
  EXPECT_STREQ(list->ElementAt(2), "b");
  EXPECT_EQ(list->ElementAt(3), nullptr);
  EXPECT_EQ(config.propertyAsStringArray(Config::concatName("Sample", "word", false)), nullptr);
  EXPECT_EQ(config.propertyAsStringArray(Config::concatName("Sample", "none", false)), nullptr);
}

TEST_F(Configuration, TheHostsSettingsAreTakenOver) {
  EXPECT_FALSE(read(host).host().servicesGiven);
  const auto given = read(
                         "[host]\nslot = 'B'\nconsole = '/c'\nplugins = ['p', 'q']\n"
                         "services = []\ndebug = ['d']\ncommandSeconds = 5\n"
                         "log = { destination = '/l', level = 'error' }\n")
                         .host();
  EXPECT_EQ(given.slot, "B");
  EXPECT_EQ(given.console, "/c");
  EXPECT_EQ(given.plugins, (std::vector<std::string>{"p", "q"}));
  EXPECT_TRUE(given.servicesGiven);
  EXPECT_TRUE(given.services.empty());
  EXPECT_EQ(given.debug, std::vector<std::string>{"d"});
  EXPECT_EQ(given.logDestination, "/l");
  EXPECT_EQ(given.logLevel, "error");
  EXPECT_EQ(given.commandSeconds, 5);
}

// Texts that would do something on a command line, each behind a harmless beginning.
const std::string hostile[] = {"web;reboot", "web$HOME", "web`id`", "web\nreboot",
                               "web reboot", "web|x",    "web&",    "web>x",
                               "web*",       "web\"x\"", "web'x'",  "web\\x",
                               "web~",       "web\t",    "web\x7f", "web\xc3\xa4"};

TEST(EntranceTest, OnlyHarmlessNamesAndPathsGetIn) {
  for (const std::string& text : hostile) {
    EXPECT_FALSE(framework::isDaemonName(text.c_str())) << text;
    EXPECT_FALSE(framework::isSafePath(("/" + text).c_str())) << text;
  }
  const struct {
    std::string text;
    bool isName;
    bool isPath;
  } rows[] = {{"", false, false},
              {"-web", false, false},
              {".web", false, false},
              {"web", true, false},
              {"a/b", false, false},
              {"Web_2-x.y", true, false},
              {std::string(64, 'x'), true, false},
              {std::string(65, 'x'), false, false},
              {"/", false, true},
              {"/var/log/mc_1-2.log+,:@=", false, true},
              {"/" + std::string(199, 'x'), false, true},
              {"/" + std::string(200, 'x'), false, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(framework::isDaemonName(row.text.c_str()), row.isName) << row.text;
    EXPECT_EQ(framework::isSafePath(row.text.c_str()), row.isPath) << row.text;
  }
}

TEST_F(Configuration, NoHostileDaemonNameGetsIn) {
  ASSERT_EQ(services::app::AppManager::getSingleton(), nullptr);  // its rules are there without it
  const auto isRefused = [&](const std::string& key, const std::string& entry) {
    const auto all = findings(host + "[AppManager]\n" + key + " = ['" + entry + "']\n");
    return all.find("error 4: AppManager." + key + ": ") != std::string::npos;
  };
  for (const char* key : {"data", "nokill", "killNonEssential"}) {
    EXPECT_TRUE(isRefused(key, "web;reboot")) << key;
    EXPECT_FALSE(isRefused(key, " ")) << key;  // a blank entry is skipped
  }
  EXPECT_TRUE(isRefused("data", "web;x//usr/bin/web"));
  EXPECT_FALSE(isRefused("data", "web//usr/bin/web; *$"));  // a pattern reaches no command line
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

TEST_F(Configuration, PatternsThatTakeTooMuchAreWarnedOf) {
  const std::pair<const char*, const char*> rows[] = {
      {"x*", "the pattern matches an empty text"},
      {"(.)\\1", "the pattern has a back-reference"},
      {"(", "the pattern does not compile"},
      {R"(a\\1)", ""},
      {"(a|b)*a(a|b){30}", "the pattern takes over 2 MiB or a second"},
      {"((a{1,255}){1,255}){1,255}", "the pattern takes over 2 MiB or a second"},
      {R"x(^([^ ]*/)?python3?( -[A-Za-z]+)* [^ ]*daemon\.py( |$))x", ""},
  };
  for (const auto& [pattern, warning] : rows) {
    const auto all = findings(host + "[AppManager]\ndata = ['a/" + pattern + "']\n" +
                              "nokill = []\nkillNonEssential = []\n");
    const std::string expected = std::string("warning 4: AppManager.data: \"a\": ") + warning;
    EXPECT_EQ(all.substr(0, expected.size()), *warning == '\0' ? "" : expected) << pattern;
  }
}

TEST_F(Configuration, TwoServicesOfOneNameAreRefused) {
  const ServiceFactory again(buildNothing, "Sample");
  const ConfigFile file = read(host);
  EXPECT_TRUE(file.isRefused());
  EXPECT_EQ(file.findings().at(0).text, files.path("mc.toml") + ": Sample: " + duplicate);
}

}  // namespace
