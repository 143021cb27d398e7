// The users in force.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/sysinfo/si_Rows.h"
#include "host/sysinfo/us_User.h"

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

  /// A copy of the user of that name; null when there is none.
  std::unique_ptr<User> findUser(const std::string& name) const;

  /// Adds a user, replaces the one of its name, or takes one out: durable when the call returns,
  /// then told to the services by an event with a copy of the record. The answer is empty, or one
  /// line that says why nothing was changed.
  ///
  /// userAccessChanged is raised by an addition, a removal (with the record marked deleted), and a
  /// change of Interfaces or Password: what the daemons that log users in must learn. userChanged
  /// is raised by any other change. A change that the process did not live to tell is made up for
  /// at the next start (see SysInfoManager::tellUntold()).
  std::string addUser(const User& user);
  std::string changeUser(const User& user);
  std::string deleteUser(const std::string& name);

  /// Takes the users of these rows in place of those in force, without an event. Call before
  /// services are built.
  void load(const sysinfo::Rows& rows);

 private:
  using Record = std::shared_ptr<const User>;

  Record find(const std::string& name) const;
  void raise(strings::stringtoken event, const User& user);
  void told();
  std::string replace(const std::string& name, const Record& record);

  mutable std::mutex m_mutex;
  std::mutex m_changing;  // one change at a time; taken before m_mutex and the store's lock
  std::vector<Record> m_users;
  std::vector<Record> m_held;  // what readers have taken, once for each taking
  int m_untold = 0;            // changes whose event has not been handled to the end
};

}  // namespace services::user
