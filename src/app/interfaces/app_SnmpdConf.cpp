// The content of the SNMP agent's configuration file.
#include "app/interfaces/app_SnmpdConf.h"

#include "sysinfo/record/si_SysInfo.h"
#include "sysinfo/record/us_User.h"
#include "util/ut_IPV4Address.h"
#include "util/ut_PutStream.h"

namespace services::app {

namespace {

using user::User;
using utility::PutStream;

enum class Security { noAuthNoPriv, authNoPriv, authPriv };

Security securityOf(const User& user) {
  if (user.getAuthType() == strings::tGSnone) return Security::noAuthNoPriv;
  if (user.getPrivacyType() == strings::tGSnone) return Security::authNoPriv;
  return Security::authPriv;
}

const char* authAlgorithm(const User& user) {
  return user.getAuthType() == strings::tGSMD5 ? "MD5" : "SHA";
}

const char* privacyAlgorithm(const User& user) {
  return user.getPrivacyType() == strings::tGSDES ? "DES" : "AES";
}

void writeTrapSession(PutStream& stream, const User& user) {
  stream.PutF("trapsess -v 3 -u %s ", user.getNameString());
  switch (securityOf(user)) {
    case Security::authPriv:
      stream.PutF("-l authPriv -a %s -A \"%s\" -x %s -X \"%s\" %s\n", authAlgorithm(user),
                  user.getPassword(), privacyAlgorithm(user), user.getPrivacyPassword(),
                  user.getTrapDestination());
      break;
    case Security::authNoPriv:
      stream.PutF("-l authNoPriv -a %s -A \"%s\" %s\n", authAlgorithm(user), user.getPassword(),
                  user.getTrapDestination());
      break;
    case Security::noAuthNoPriv:
      stream.PutF("-l noAuthNoPriv %s\n", user.getTrapDestination());
      break;
  }
}

void writeRightsAndKeys(PutStream& stream, const User& user) {
  const Security security = securityOf(user);
  stream.PutF("rwuser %s%s\n", user.getNameString(),
              security == Security::noAuthNoPriv ? " noauth" : "");
  stream.PutF("createUser %s ", user.getNameString());
  switch (security) {
    case Security::authPriv:
      stream.PutF("%s \"%s\" %s \"%s\"\n", authAlgorithm(user), user.getPassword(),
                  privacyAlgorithm(user), user.getPrivacyPassword());
      break;
    case Security::authNoPriv:
      stream.PutF("%s \"%s\"\n", authAlgorithm(user), user.getPassword());
      break;
    case Security::noAuthNoPriv:
      stream.PutC('\n');
      break;
  }
}

}  // namespace

bool writeSnmpUser(PutStream& stream, const User& user) {
  const bool target = user.getInterfaces().inSet(strings::tGSSnmpTarget);
  if (!target && !user.getInterfaces().inSet(strings::tGSSnmpUser)) return false;
  if (user.getDeleted()) return false;
  if (target) {
    writeTrapSession(stream, user);
  } else {
    writeRightsAndKeys(stream, user);
  }
  return true;
}

void writeTrapSinks(PutStream& stream, const sysinfo::SysInfo& sysInfo) {
  for (const std::uint32_t address :
       {sysInfo.getSnmpTrap1V4Address(), sysInfo.getSnmpTrap2V4Address(),
        sysInfo.getSnmpTrap3V4Address()}) {
    if (address == 0) continue;
    stream.PutS("trapsink ");
    utility::IPV4Address(address).toPutStream(stream);
    stream.PutC('\n');
  }
}

void writeCommunities(PutStream& stream, const sysinfo::SysInfo& sysInfo, bool hasUsers) {
  const char* const restriction = hasUsers ? " default -V mgmtprivate" : "";
  if (hasUsers) {
    stream.PutS(
        "view mgmtprivate included .1.3.6.1.2.1.1\n"
        "view mgmtprivate included .1.3.6.1.4\n");
  }
  stream.PutF("rocommunity %s%s\n", sysInfo.getSnmpReadCommunity(), restriction);
  stream.PutF("rwcommunity %s%s\n", sysInfo.getSnmpWriteCommunity(), restriction);
  stream.PutF("trapcommunity %s\n", sysInfo.getSnmpReadCommunity());
  if (hasUsers) stream.PutS("engineIDType 3\n");
}

}  // namespace services::app
