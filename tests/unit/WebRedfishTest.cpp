// Who may, by passwords, logins, sessions and the waits after failures; and the Redfish service's
// answers, from the route to the JSON: what is there, and what is refused.
#include <boost/json/parse.hpp>
#include <regex>

#include "app/supervision/app_PartnerSummary.h"
#include "support/RedfishSetting.h"
#include "support/SimulatedController.h"
#include "sysinfo/record/us_Password.h"
#include "web/wb_Audit.h"
#include "web/wb_Login.h"
#include "web/wb_Messages.h"
#include "web/wb_Metrics.h"
#include "web/wb_Resource.h"
#include "web/wb_Secrets.h"

namespace services::web {
namespace {

using http::Access;
using http::Request;
using http::Response;

// A request at a time of the simulated clock, and what its answer says.
struct Asked {
  int seconds;
  std::string method, path, body;
  int status;
  std::string says;
};

const std::string root = "/redfish/v1/";

// Those of a file of tests/answers: "SECONDS METHOD PATH [JSON] => STATUS [TEXT]", the path from
// the root where it begins with no slash.
std::vector<Asked> askedIn(const std::string& file) {
  static const std::regex form(R"((\d+) (\w+) (.*?)(?: ([{[].*))? => (\d+) ?(.*))");
  std::vector<Asked> all;
  std::ifstream lines(std::string(MC_ANSWERS "/") + file);
  std::smatch part;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(std::regex_match(line, part, form)) << line;
    const std::string path = (part.str(3).starts_with('/') ? "" : root) + part.str(3);
    all.push_back({std::stoi(part[1]), part[2], path, part[4], std::stoi(part[5]), part[6]});
  }
  EXPECT_FALSE(all.empty()) << file;
  return all;
}

class WebRedfish : public testing::Test, protected test::RedfishSetting {
 protected:
  // As the host asks: the path without its query, which is given apart.
  Response ask(const std::string& method, const std::string& path, const std::string& body = "",
               Access granted = Access::Administer) {
    request.method = method;
    request.path = path.substr(0, path.find('?'));
    request.body = body;
    request.user = "adam";
    request.granted = granted;
    request.secure = true;
    request.query.clear();
    if (path.find('?') != std::string::npos) {
      const std::string rest = path.substr(path.find('?') + 1);
      const auto equals = rest.find('=');
      request.query.emplace(rest.substr(0, equals),
                            equals == std::string::npos ? "" : rest.substr(equals + 1));
    }
    auto found = router.find(method, request.path);
    if (found.route == nullptr) return {.status = found.allowed.empty() ? 404 : 405};
    if (granted < found.route->access) return {.status = 403};
    request.captured = found.captured;
    return found.route->handler(request);
  }
  void expectAnswer(const Asked& row) {
    SCOPED_TRACE(row.method + " " + row.path + " " + row.body);
    const Response response = ask(row.method, row.path, row.body);
    EXPECT_EQ(response.status, row.status);
    EXPECT_NE(response.body.find(row.says), std::string::npos) << response.body;
  }

  Request request;
};

const std::string accounts = root + "AccountService/Accounts";

TEST_F(WebRedfish, AnswersOrSaysWhatIsWrong) {
  for (const Asked& row : askedIn("redfish")) expectAnswer(row);
  const std::string tooDeep(deepestBody + 1, '[');
  expectAnswer({0, "PATCH", root + "Managers/A/NetworkProtocol", tooDeep, 400, "MalformedJSON"});
  EXPECT_TRUE(sysinfo::SysInfoReadGuard().getObject()->getSmisDisable());
}

TEST_F(WebRedfish, AUserMayChangeHisOwnPasswordAlone) {
  const auto change = [&](const char* body, const std::string& whose) {
    return ask("PATCH", accounts + "/" + whose, body, Access::Read).status;
  };
  ASSERT_EQ(
      ask("POST", accounts, R"({"UserName":"bob","Password":"long enough","RoleId":"Operator"})")
          .status,
      201);
  EXPECT_EQ(change(R"({"RoleId":"Administrator"})", "adam"), 403);
  EXPECT_EQ(change(R"({"Password":"for another"})", "bob"), 403);
  EXPECT_EQ(change(R"({"Password":"for himself"})", "adam"), 200);
  EXPECT_EQ(ask("POST", accounts, "{}", Access::Operate).status, 403);
}

TEST_F(WebRedfish, AChangeOfAnOlderStateIsRefused) {
  const std::string path = accounts + "/adam";
  const Response before = ask("GET", path);
  std::string etag;
  for (const auto& [name, value] : before.headers) etag = name == "ETag" ? value : etag;
  request.headers = {{"if-none-match", etag}};
  EXPECT_EQ(ask("GET", path).status, 304);
  request.headers = {{"if-match", etag}};
  EXPECT_EQ(ask("PATCH", path, R"({"RoleId":"ReadOnly"})").status, 200);
  EXPECT_EQ(ask("PATCH", path, R"({"RoleId":"Operator"})").status, 412);
  request.headers = {{"if-match", "*"}};
  EXPECT_EQ(ask("PATCH", path, R"({"RoleId":"Operator"})").status, 200);
  request.headers = {{"odata-version", "3.0"}};
  EXPECT_EQ(ask("GET", path).status, 412);
}

TEST_F(WebRedfish, DaemonsTellWhatIsKnownOfThem) {
  test::SimulatedController controller({"maind", "ftpd"}, 10);
  controller.addProcess(70, "/bin/maind");
  controller.build();
  app::setPartnerSummary({{.daemons = {{.name = "smtpd", .state = "Down", .failures = 7}},
                           .interfaces = {{"Ssh", true}}}});
  for (const Asked& row : askedIn("daemons"))
    controller.at(row.seconds, [this, row] { expectAnswer(row); });
  controller.runUntil(200);
  EXPECT_TRUE(controller.log.has("AppManager: the suspension of maind is over"));
  app::setPartnerSummary(std::nullopt);
}

// Whatever the file holds at the start, what follows is kept, and of two files the last 1 MiB.
TEST(WebAudit, OutlivesTheHost) {
  test::Temporary files;
  const std::string path = files.path("web.audit");
  const std::string good = "7\t1000\t1\tadam\t10.0.0.9\tstop daemon web\n";
  const struct {
    std::string before;
    std::size_t kept;
    std::uint64_t next;
  } rows[] = {{"", 0, 1},
              {good, 1, 8},
              {good + "8\t1000\t1\tad", 1, 8},
              {good + good + "x\ty\n\n", 1, 8},
              {std::string("\0\n", 2) + good, 1, 8}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.before);
    std::ofstream(path) << row.before;
    Audit(path).note(false, "adam", "10.0.0.9", "a\tb\nc");
    const auto records = Audit(path).records();
    ASSERT_EQ(records.size(), row.kept + 1);
    EXPECT_EQ(records.back().number, row.next);
    EXPECT_EQ(records.back().what, "a?b?c");
  }
  std::ofstream(path) << std::string((1 << 19) - 5, ' ') + "\n";
  Audit(path).note(true, "", "10.0.0.9", "one more");
  EXPECT_EQ(Audit(path).records().size(), 1U);
  EXPECT_LT(std::filesystem::file_size(path), 100U);
  EXPECT_EQ(std::filesystem::file_size(path + ".1"), (1U << 19) - 4);
  Audit nowhere(files.path("none/web.audit"));
  nowhere.note(false, "adam", "10.0.0.9", "goes on");
  EXPECT_EQ(nowhere.records().size(), 1U);
}

// All resources that links lead to from the root are there.
TEST_F(WebRedfish, LinksLeadSomewhere) {
  std::vector<std::string> paths = {root};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const Response response = ask("GET", paths[i]);
    EXPECT_EQ(response.status, 200) << paths[i];
    static const std::string mark = "\"@odata.id\":\"";
    for (std::size_t at = 0; (at = response.body.find(mark, at)) != std::string::npos;) {
      at += mark.size();
      const std::string path =
          response.body.substr(at, response.body.find_first_of("\"#", at) - at);
      if (std::ranges::find(paths, path) == paths.end()) paths.push_back(path);
    }
  }
  EXPECT_GT(paths.size(), 60U);
}

TEST_F(WebRedfish, WhatChangedIsTold) {
  Snapshot before;
  before.controllers = {{.letter = "B", .isValid = true}};
  before.interfaces = {{.name = "Ftp", .up = true}};
  Snapshot now = before;
  EXPECT_TRUE(happenings(before, now).empty());
  now.controllers[0].isValid = false;
  now.interfaces[0].up = false;
  now.outerUp = true;
  auto all = happenings(before, now);
  using app::Process;
  app::HistoryEntry entry{.daemon = "web", .from = Process::Up, .to = Process::Down, .cause = "x"};
  all.push_back(happeningOf(entry, "/redfish/v1/Managers/A"));
  for (const auto& one : flapping({{"ftpd", 6}}, {{"web", 7}}, "/redfish/v1/Managers/A", 0)) {
    all.push_back(one);
  }
  const auto stream = feed.open("adam", "");
  feed.open("eve", "");  // and goes at once
  ASSERT_EQ(feed.listeners().size(), 1U);
  feed.tell(all);
  const std::string told = stream->take();
  for (const char* text :
       {"The daemon web is Down; it was Up: x.", "The management interface Ftp is down.",
        "The path Outer to the partner is up.", "The controller B is not known any more.",
        "web is failing: it was restarted 7 times", "ftpd is not failing", "-4\ndata: {",
        "\"@odata.id\":\"/redfish/v1/Managers/A/Oem/Mc/Daemons/web\""}) {
    EXPECT_NE(told.find(text), std::string::npos) << text << told;
  }
  EXPECT_EQ(all.size(), 6U);
  feed.endUnless({});
  EXPECT_TRUE(stream->isEnded());
}

// Of a random course of events, a client that comes back gets what it has not had, and is told
// where that is not kept.
TEST_F(WebRedfish, WhoComesBackMissesNothingUntold) {
  const auto idsIn = [](const std::string& text) {
    std::vector<std::string> ids;
    for (std::size_t at = 0; (at = text.find("id: ", at)) != std::string::npos; at += 4) {
      ids.push_back(text.substr(at + 4, text.find('\n', at) - at - 4));
    }
    return ids;
  };
  std::vector<std::string> all = {"of another run"};
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    for (auto count = random() % 5; count > 0; --count) {
      all.push_back(feed.tell({{"TestEvent", {"x"}, root}}).front().id);
    }
    const std::size_t had = random() % all.size();
    const std::string told = feed.open("adam", "", {.lastId = all[had]})->take();
    const std::size_t kept = std::min(all.size() - 1, EventFeed::mostKept);
    const bool isHeld = had > 0 && had >= all.size() - kept;
    EXPECT_EQ(told.find("EventsMissed") == std::string::npos, isHeld) << had << " " << all.size();
    const auto first = isHeld ? had + 1 : all.size() - kept;
    EXPECT_EQ(idsIn(told),
              std::vector(all.begin() + static_cast<std::ptrdiff_t>(first), all.end()));
  }
}

TEST_F(WebRedfish, AFilterLetsThroughWhatItNames) {
  const EventFacts event{"Mc.1.0.DaemonDown", "/a/b", "McDaemon"};
  const struct {
    const char* filter;
    std::optional<bool> passes;  // nothing: it is none
  } rows[] = {
      {"MessageId eq 'Mc.1.0.DaemonDown'", true},
      {"(RegistryPrefix eq 'Base') or (ResourceType eq 'McDaemon')", true},
      {"RegistryPrefix eq 'Mc' and not ResourceType eq 'McDaemon'", false},
      {"RegistryPrefix eq 'Base' and RegistryPrefix eq 'x' or RegistryPrefix ne 'x'", true},
      {"OriginResource eq '/a'", false},
      {"(OriginResource eq '/a') and (SubordinateResources eq true)", true},
      {"SubordinateResources eq true and OriginResource eq '/'", false},
      {"EventFormatType eq 'MetricReport'", false},
      {"", {}},
      {"(MessageId eq 'x'", {}},
      {"MessageId eq 'x", {}},
      {"MessageId eq '", {}},
      {"MessageId eq 'x' and", {}},
      {"MessageId like 'x'", {}},
      {"Other eq 'x'", {}},
      {"MessageId eq 'x' 'y'", {}},
      {"SubordinateResources eq 'true'", {}},
  };
  for (const auto& row : rows) {
    const auto filter = readEventFilter(row.filter);
    ASSERT_EQ(filter.has_value(), row.passes.has_value()) << row.filter;
    if (!filter) continue;
    EXPECT_EQ((*filter)(event), *row.passes) << row.filter;
  }
}

TEST_F(WebRedfish, MetricsEscapeWhatTheyName) {
  Snapshot now;
  now.daemons.push_back({.view = {.name = "a\"b\\c\nd", .state = app::Process::Up}});
  const Figures figures{.daemons = {{now.daemons[0].view.name, {.down = 7, .overLimit = 1}}},
                        .cycles = {.bounds = {0.1, 1}, .counts = {5, 2, 1}, .total = 4}};
  const std::string text = metricsOf(now, figures, 2);
  for (const char* line :
       {R"(mc_daemon_up{daemon="a\"b\\c\nd"} 1)", "mc_web_refused_total 2", R"(cause="down"} 7)",
        R"(cause="memory"} 1)", R"(mc_poll_cycle_seconds_bucket{le="1"} 7)",
        R"(mc_poll_cycle_seconds_bucket{le="+Inf"} 8)", "mc_poll_cycle_seconds_sum 4"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
}

using Outcome = Login::Outcome;
using user::User;
using user::UserManager;

// base64 of "NAME:PASSWORD"
constexpr const char* adams = "Basic YWRhbTpmaXJzdCBwYXNz";
constexpr const char* adamsWrong = "Basic YWRhbTp3cm9uZyBwYXNz";
constexpr const char* adamsSecond = "Basic YWRhbTpzZWNvbmQgcGFzcw==";
constexpr const char* eves = "Basic ZXZlOmZpcnN0IHBhc3M=";

class WebAccess : public testing::Test {
 protected:
  WebAccess() {
    auto rows = test::adamAs("Operator");
    rows.insert({{{"user eve", "Interfaces"}, "Ssh"}, {{"user eve", "Password"}, "first pass"}});
    test::Users::load(rows);
  }

  Login::Answer ask(const std::string& authorization, const std::string& address = "10.0.0.7") {
    request = {};
    request.address = address;
    request.headers["authorization"] = authorization;
    return login.identify(request);
  }
  bool resumes(const std::string& token) {
    request = {};
    request.headers["x-auth-token"] = token;
    return login.identify(request).outcome == Outcome::In;
  }
  std::string begin() {
    std::string token;
    login.begin("adam", "first pass", "10.0.0.7", token, session);
    return token;
  }
  static std::string change(const char* key, const char* value) {
    return UserManager::getManager()->changeUser("adam", [&](User& user) {
      const auto* rule =
          sysinfo::setField(*sysinfo::findField(user::userFields(), key), user, value);
      return std::string(rule == nullptr ? "" : rule);
    });
  }

  const test::SysInfoSetting sysInfo{{}, {}};
  const test::Users users;
  test::LogCapture log;
  Audit audit;
  std::int64_t seconds = 1000;
  Login login{audit, [this] { return seconds * 1000000; }, 60};
  Request request;
  Login::Session session;
};

TEST(Password, OfAUserWithoutAnSnmpRoleIsKeptAsAHash) {
  const test::SysInfoSetting sysInfo{{}, {}};
  User user("bob");
  user.setPassword("long enough");
  ASSERT_EQ(UserManager::getManager()->addUser(user), "");
  const std::string kept = UserManager::getManager()->find("bob")->getPassword();
  EXPECT_TRUE(kept.starts_with("$scrypt$ln=14,r=8,p=1$"));
  EXPECT_TRUE(user::isPassword(kept.c_str(), "long enough"));
  EXPECT_FALSE(user::isPassword(kept.c_str(), "long enougH"));
  EXPECT_NE(user::hashedPassword("long enough"), kept) << "no salt";
  for (const std::string& damaged :
       {kept + "0", kept.substr(1), kept.substr(0, kept.size() - 1),
        "$scrypt$ln=40,r=8,p=1" + kept.substr(21), std::string("long enough")}) {
    EXPECT_FALSE(user::isHashedPassword(damaged.c_str())) << damaged;
  }
  EXPECT_TRUE(user::isPassword("long enough", "long enough"));
  EXPECT_FALSE(user::isPassword("", ""));
  const auto makeSnmpUser = [](User& changed) {
    utility::TokenSet roles(1);
    roles.set(strings::tGSSnmpUser);
    changed.setInterfaces(roles);
    return std::string();
  };
  EXPECT_NE(UserManager::getManager()->changeUser("bob", makeSnmpUser), "");
  EXPECT_EQ(UserManager::getManager()->changeUser("bob",
                                                  [&](User& changed) {
                                                    changed.setPassword("plain again");
                                                    return makeSnmpUser(changed);
                                                  }),
            "");
  EXPECT_STREQ(UserManager::getManager()->find("bob")->getPassword(), "plain again");
  UserManager::getManager()->load({});
}

TEST_F(WebAccess, CredentialsDecide) {
  const struct {
    const char* header;
    Outcome outcome;
  } rows[] = {
      {adams, Outcome::In},      {adamsWrong, Outcome::Wrong},   {eves, Outcome::Wrong},
      {"", Outcome::Wrong},      {"Basic YWRh", Outcome::Wrong}, {"Basic *", Outcome::Wrong},
      {"Basic", Outcome::Wrong}, {"Basic ====", Outcome::Wrong}, {"Bearer x", Outcome::Wrong},
  };
  for (const auto& row : rows) EXPECT_EQ(ask(row.header).outcome, row.outcome) << row.header;
  ask(adams);
  EXPECT_EQ(request.user, "adam");
  EXPECT_EQ(request.granted, Access::Operate);
  EXPECT_EQ(log.count("adam from 10.0.0.7: logged in"), 1) << "each login once";
  EXPECT_FALSE(log.has("first pass") || log.has("wrong pass"));
}

TEST_F(WebAccess, FailuresHaveTheNextWait) {
  for (int i = 0; i < 4; ++i) EXPECT_EQ(ask(adamsWrong).outcome, Outcome::Wrong);
  EXPECT_EQ(ask(adamsWrong).outcome, Outcome::Wrong);
  for (const std::int64_t wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
    EXPECT_EQ(ask(adams).seconds, wait) << "the right password is not looked at either";
    seconds += wait - 1;
    EXPECT_EQ(ask(adams).outcome, Outcome::Wait);
    seconds += 1;
    EXPECT_EQ(ask(adamsWrong).outcome, Outcome::Wrong);
  }
  EXPECT_EQ(ask(adams, "10.0.0.8").outcome, Outcome::Wait) << "for the user's name, too";
  seconds += 60;
  EXPECT_EQ(ask(adams, "10.0.0.8").outcome, Outcome::In);
}

TEST_F(WebAccess, OthersDoNotShutOutWhoHasLoggedInBefore) {
  ask(adams, "10.0.0.8");
  for (int i = 0; i < 7; ++i) ask(adamsWrong), seconds += 10;
  ask(adamsWrong);
  EXPECT_EQ(ask(adams, "10.0.0.9").outcome, Outcome::Wait);
  EXPECT_EQ(ask(adams, "10.0.0.8").outcome, Outcome::In);
}

TEST_F(WebAccess, SessionsEnd) {
  const struct {
    const char* how;
    std::function<void()> act;
    bool lives;
  } rows[] = {
      {"not used for its time", [&] { seconds += 60; }, true},
      {"not used for longer", [&] { seconds += 61; }, false},
      {"by a logout", [&] { login.end(session.id); }, false},
      {"of another", [&] { login.end(session.id + "0"); }, true},
      {"by other rights", [] { change("Rights", "Administrator"); }, false},
      {"by a new password", [] { change("Password", "third pass"); }, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.how);
    test::Users::load(test::adamAs("ReadOnly"));
    const std::string token = begin();
    ASSERT_TRUE(resumes(token));
    EXPECT_FALSE(resumes(token.substr(1) + "0"));
    row.act();
    EXPECT_EQ(resumes(token), row.lives);
  }
}

TEST_F(WebAccess, TheSessionThatWasNotUsedForLongestMakesRoom) {
  const std::string first = begin();
  ++seconds;
  const std::string second = begin();
  ++seconds;
  ASSERT_TRUE(resumes(first));
  for (std::size_t i = 2; i <= Login::mostSessions; ++i) begin();
  EXPECT_EQ(login.sessions().size(), Login::mostSessions);
  EXPECT_TRUE(resumes(first));
  EXPECT_FALSE(resumes(second));
}

TEST_F(WebAccess, AChangedPasswordIsNotRemembered) {
  ASSERT_EQ(ask(adams).outcome, Outcome::In);
  ASSERT_EQ(change("Password", "second pass"), "");
  EXPECT_EQ(ask(adams).outcome, Outcome::Wrong);
  EXPECT_EQ(ask(adamsSecond).outcome, Outcome::In);
  ASSERT_EQ(change("Interfaces", "Ssh"), "");
  EXPECT_EQ(ask(adamsSecond).outcome, Outcome::Wrong);
}

}  // namespace
}  // namespace services::web
