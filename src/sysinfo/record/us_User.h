// A user of the management interfaces.
#pragma once

#include "host/base/fw_EntityObject.h"
#include "host/base/ut_TokenSet.h"
#include "sysinfo/record/si_Field.h"
#include "sysinfo/record/si_StoredText.h"

namespace services::user {

/// The values of Rights.
inline constexpr strings::stringtoken readOnly = strings::digestOf("ReadOnly");
inline constexpr strings::stringtoken operatorRights = strings::digestOf("Operator");
inline constexpr strings::stringtoken administrator = strings::digestOf("Administrator");

/// A user's record: a value; the user manager keeps the ones in force.
class User : public framework::object::EntityObject {
 public:
  using EntityObject::EntityObject;

  /// The interfaces and SNMP roles (tGSSnmpUser, tGSSnmpTarget) that the user may use.
  const utility::TokenSet& getInterfaces() const { return m_interfaces; }
  void setInterfaces(const utility::TokenSet& interfaces) { m_interfaces = interfaces; }

  /// What the user may do by the web: the token of "ReadOnly", "Operator" or "Administrator".
  strings::stringtoken getRights() const { return m_rights; }
  void setRights(strings::stringtoken rights) { m_rights = rights; }

  /// tGSnone, tGSMD5 or tGSSHA; tGSnone, tGSDES or tGSAES.
  strings::stringtoken getAuthType() const { return m_authType; }
  void setAuthType(strings::stringtoken type) { m_authType = type; }
  strings::stringtoken getPrivacyType() const { return m_privacyType; }
  void setPrivacyType(strings::stringtoken type) { m_privacyType = type; }

  /// Whether the SNMP agent's file has the user, and so the password as it is.
  bool hasSnmpRole() const {
    return m_interfaces.inSet(strings::tGSSnmpUser) || m_interfaces.inSet(strings::tGSSnmpTarget);
  }

  /// Texts, never null, empty where there is none; valid while the record is.
  const char* getPassword() const { return m_password.get(); }
  void setPassword(const char* text) { m_password.set(text); }
  const char* getPrivacyPassword() const { return m_privacyPassword.get(); }
  void setPrivacyPassword(const char* text) { m_privacyPassword.set(text); }
  const char* getTrapDestination() const { return m_trapDestination.get(); }
  void setTrapDestination(const char* text) { m_trapDestination.set(text); }

 private:
  utility::TokenSet m_interfaces{20};
  strings::stringtoken m_rights = readOnly;
  strings::stringtoken m_authType = strings::tGSnone;
  strings::stringtoken m_privacyType = strings::tGSnone;
  sysinfo::StoredText m_password{""};
  sysinfo::StoredText m_privacyPassword{""};
  sysinfo::StoredText m_trapDestination{""};
};

/// The attributes of a user as keys and texts.
std::span<const sysinfo::Field<User>> userFields();

/// What keeps the attributes of a user from standing together: one line, empty when nothing does.
/// A type needs its password of 8 characters or more, a trap target its destination, and an SNMP
/// role a password that is no hash.
std::string contradictionOf(const User& user);

}  // namespace services::user
