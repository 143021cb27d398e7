// The users in force.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sysinfo/record/si_Rows.h"
#include "sysinfo/record/us_User.h"

namespace services::user {

/// The users, in the order of their names. Records in force never change: a change puts a new one
/// in their place, and what a reader has taken stays as it is until it is released. Any thread may
/// call, also one that holds the system information either way.
class UserManager {
 public:
  static UserManager* getManager();

  /// The number of users. Like all lookups it takes the access wanted, strings::tGSreadAccess.
  int numUsers(strings::stringtoken access) const;

  /// The user at an index, 0 <= index < numUsers(), in the order of names; null when there is none.
  /// Give it back with releaseUser().
  const framework::object::EntityObject* getUser(int index, strings::stringtoken access);
  /// The same, but null where the user at that index has this name.
  const framework::object::EntityObject* getUserExcept(int index, strings::stringtoken name,
                                                       strings::stringtoken access);
  void releaseUser(const framework::object::EntityObject* user, strings::stringtoken access);

  /// Adds a user, edits the one of a name, or takes one out: durable when the call returns,
  /// then told to the services by an event with a copy of the record. The answer is empty, or one
  /// line that says why nothing was changed. One change at a time: `edit` gets the record in force
  /// to change, under the lock of changes, and answers likewise.
  ///
  /// Of a user without an SNMP role the password is kept as a hash (us_Password.h), which takes
  /// tens of milliseconds at a change.
  ///
  /// userAccessChanged is raised by an addition, a removal (with the record marked deleted), and a
  /// change of Interfaces or Password: what the daemons that log users in must learn. userChanged
  /// is raised by any other change.
  std::string addUser(const User& user);
  std::string changeUser(const std::string& name,
                         const std::function<std::string(User& user)>& edit);
  std::string deleteUser(const std::string& name);

  /// The user of that name as it is in force at present; null when there is none.
  std::shared_ptr<const User> find(const std::string& name) const;

  /// Takes the users of these rows in place of those in force, without an event. Call before
  /// services are built.
  void load(const sysinfo::Rows& rows);

 private:
  using Record = std::shared_ptr<const User>;

  std::string replace(const Record& record, strings::stringtoken event);

  mutable std::mutex m_mutex;  // guards what follows
  std::mutex m_changing;       // one change at a time; taken before all others
  std::vector<Record> m_users;
  std::vector<Record> m_held;  // what readers have taken, once for each taking
};

}  // namespace services::user
