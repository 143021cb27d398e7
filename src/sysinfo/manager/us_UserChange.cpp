// The events that tell the services of changes of users.
#include "sysinfo/manager/us_UserChange.h"

#include "host/service/fw_EventManager.h"

namespace services::user {

namespace {

using strings::stringtoken;

class UserEvent : public framework::EventRecord {
 public:
  UserEvent(stringtoken event, const User& user, std::shared_ptr<sysinfo::Change> change)
      : m_event(event), m_user(user), m_telling(std::move(change)) {}

  stringtoken event() const override { return m_event; }
  const void* data() const override { return &m_user; }

  bool supersede(EventRecord& older) override {
    auto* const other = dynamic_cast<UserEvent*>(&older);
    if (other == nullptr || other->m_user.getName() != m_user.getName()) return false;
    if (other->reloadsSmis() && !m_user.getInterfaces().inSet(strings::token<"Smis">)) return false;
    if (other->m_event == strings::tGSuserAccessChanged) m_event = other->m_event;
    other->m_telling.done();
    return true;
  }

  void handled() override { m_telling.done(); }

 private:
  bool reloadsSmis() const {
    return m_event == strings::tGSuserAccessChanged &&
           m_user.getInterfaces().inSet(strings::token<"Smis">);
  }

  stringtoken m_event;
  const User m_user;
  sysinfo::Telling m_telling;
};

}  // namespace

void raiseUserChange(stringtoken event, const User& user,
                     const std::shared_ptr<sysinfo::Change>& change) {
  const auto make = [&] { return std::make_unique<UserEvent>(event, user, change); };
  if (!framework::EventManager::instance().raise(event, make)) change->lose();
}

void makeUpForLost() {
  const auto lost = sysinfo::Untold::instance().takeLost();
  if (!lost) return;
  User user("");
  user.setDeleted(true);
  utility::TokenSet interfaces(1);
  if (lost->event == strings::tGSuserAccessChanged) interfaces.set(strings::token<"Smis">);
  user.setInterfaces(interfaces);
  raiseUserChange(lost->event, user, lost->change);
}

}  // namespace services::user
