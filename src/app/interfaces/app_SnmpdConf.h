// The content of the SNMP agent's configuration file (snmpd.conf(5), snmptrapd's authentication in
// snmpcmd(1)), from records into a stream.
#pragma once

namespace services::sysinfo {
class SysInfo;
}
namespace services::user {
class User;
}
namespace utility {
class PutStream;
}

namespace services::app {

// The texts of the records stand in the file as they are: what could break out of a directive is
// refused before it gets into a record.

/// Writes the lines of a user: a trap session for one who is a trap target, else the user's rights
/// and keys for one who may use SNMP. Answers whether it wrote any; none for a deleted user.
bool writeSnmpUser(utility::PutStream& stream, const user::User& user);

/// Writes a line for each of the trap addresses that is set.
void writeTrapSinks(utility::PutStream& stream, const sysinfo::SysInfo& sysInfo);

/// Writes the communities, which see only a part of the tree where there are SNMPv3 users.
void writeCommunities(utility::PutStream& stream, const sysinfo::SysInfo& sysInfo, bool hasUsers);

}  // namespace services::app
