// Who may: passwords as they are kept, logins by each request and by sessions, and the waits after
// failures.

#include "support/Users.h"
#include "sysinfo/record/us_Password.h"
#include "web/wb_Audit.h"
#include "web/wb_Login.h"
#include "web/wb_Secrets.h"

namespace services::web {
namespace {

using http::Access;
using http::Request;
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
