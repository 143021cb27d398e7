// The grammars of stored values, names and paths: what of a text may come in.

#include <regex>

#include "app/supervision/app_Probe.h"
#include "host/base/fw_Entrance.h"
#include "support/Test.h"
#include "sysinfo/record/si_Grammar.h"

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
