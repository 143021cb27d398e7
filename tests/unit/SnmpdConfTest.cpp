// The directives of the SNMP agent's file, to the byte.
#include <gtest/gtest.h>

#include <array>

#include "app/interfaces/app_SnmpdConf.h"
#include "support/Printed.h"
#include "sysinfo/record/si_SysInfo.h"
#include "sysinfo/record/us_User.h"

namespace services::app {
namespace {

using strings::stringtoken;
using strings::tGSnone;

constexpr stringtoken MD5 = strings::tGSMD5, SHA = strings::tGSSHA;
constexpr stringtoken DES = strings::tGSDES, AES = strings::tGSAES;

TEST(SnmpdConf, EachUserHasTheLinesOfItsRolesAndItsSecurity) {
  const struct {
    const char* name;
    const char* roles;
    stringtoken auth, privacy;
    bool deleted;
    const char* lines;
  } rows[] = {
      {"user noAuthNoPriv", "SnmpUser", tGSnone, tGSnone, false,
       "rwuser al noauth\ncreateUser al \n"},
      {"privacy alone counts for nothing", "SnmpUser", tGSnone, DES, false,
       "rwuser al noauth\ncreateUser al \n"},
      {"user authNoPriv", "SnmpUser", MD5, tGSnone, false,
       "rwuser al\ncreateUser al MD5 \"pass word\"\n"},
      {"user authPriv", "SnmpUser", MD5, DES, false,
       "rwuser al\ncreateUser al MD5 \"pass word\" DES \"key\"\n"},
      {"other algorithms", "SnmpUser", SHA, AES, false,
       "rwuser al\ncreateUser al SHA \"pass word\" AES \"key\"\n"},
      {"unknown algorithms", "Http SnmpUser", DES, MD5, false,
       "rwuser al\ncreateUser al SHA \"pass word\" AES \"key\"\n"},
      {"target noAuthNoPriv", "SnmpTarget", tGSnone, AES, false,
       "trapsess -v 3 -u al -l noAuthNoPriv 10.0.0.9:162\n"},
      {"target authNoPriv", "SnmpTarget", SHA, tGSnone, false,
       "trapsess -v 3 -u al -l authNoPriv -a SHA -A \"pass word\" 10.0.0.9:162\n"},
      {"both roles", "SnmpUser SnmpTarget", MD5, AES, false,
       "trapsess -v 3 -u al -l authPriv -a MD5 -A \"pass word\" -x AES -X \"key\" 10.0.0.9:162\n"},
      {"no role", "Smis Snmp", MD5, DES, false, ""},
      {"deleted user", "SnmpUser", MD5, DES, true, ""},
      {"deleted target", "SnmpTarget", MD5, DES, true, ""},
  };
  for (const auto& row : rows) {
    user::User user("al");
    utility::TokenSet roles(20);
    roles.SetFromStringList(row.roles);
    user.setInterfaces(roles);
    user.setAuthType(row.auth);
    user.setPrivacyType(row.privacy);
    user.setPassword("pass word");
    user.setPrivacyPassword("key");
    user.setTrapDestination("10.0.0.9:162");
    user.setDeleted(row.deleted);
    bool any = false;
    EXPECT_EQ(test::printed([&](auto& stream) { any = writeSnmpUser(stream, user); }), row.lines)
        << row.name;
    EXPECT_EQ(any, *row.lines != '\0') << row.name;
  }
}

TEST(SnmpdConf, TrapSinksComeInOrderAndCommunitiesInTwoForms) {
  sysinfo::SysInfo sysInfo;
  sysInfo.setSnmpReadCommunity("re\"ad it");
  sysInfo.setSnmpWriteCommunity("write");
  sysInfo.setSnmpTrap1V4Address(0xC0A80001);
  sysInfo.setSnmpTrap3V4Address(0x0A0000FF);
  EXPECT_EQ(test::printed([&](auto& stream) { writeTrapSinks(stream, sysInfo); }),
            "trapsink 192.168.0.1\ntrapsink 10.0.0.255\n");
  EXPECT_EQ(test::printed([&](auto& stream) { writeCommunities(stream, sysInfo, false); }),
            "rocommunity re\"ad it\nrwcommunity write\ntrapcommunity re\"ad it\n");
  EXPECT_EQ(test::printed([&](auto& stream) { writeCommunities(stream, sysInfo, true); }),
            "view mgmtprivate included .1.3.6.1.2.1.1\n"
            "view mgmtprivate included .1.3.6.1.4\n"
            "rocommunity re\"ad it default -V mgmtprivate\n"
            "rwcommunity write default -V mgmtprivate\n"
            "trapcommunity re\"ad it\n"
            "engineIDType 3\n");
}

}  // namespace
}  // namespace services::app
