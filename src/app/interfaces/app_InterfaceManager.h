// The service that switches the management interfaces on and off.
#pragma once

#include <atomic>
#include <mutex>

#include "app/interfaces/app_Interfaces.h"
#include "host/base/ut_TokenSet.h"
#include "host/service/fw_Service.h"

namespace services::sysinfo {
class SysInfo;
}
namespace services::user {
class User;
class UserManager;
}  // namespace services::user
namespace utility {
class VirtualPutStream;
}

namespace services::app {

/// Switches the management interfaces that its configuration names: the web server's listeners, the
/// daemons that serve others, the console. At construction it drives each to the state that the
/// system information asks for; from then on others switch and ask through setUp() and isUp(), and
/// nothing of that is stored. It also writes the SNMP agent's configuration file, and follows the
/// changes of the system information and of the users.
///
/// Any thread may call, also one that holds the system information for reading. Calls that switch
/// daemons wait for the supervision's table lock.
class InterfaceManager : public framework::Service {
 public:
  /// The values are the tokens of the interfaces' names.
  enum Interfaces : strings::stringtoken {
    Http = strings::digestOf("Http"),
    Https = strings::digestOf("Https"),
    Telnet = strings::digestOf("Telnet"),
    Ssh = strings::digestOf("Ssh"),
    Smis = strings::digestOf("Smis"),
    Ftp = strings::digestOf("Ftp"),
    Snmp = strings::digestOf("Snmp"),
    Debug = strings::digestOf("Debug"),
    Usmis = strings::digestOf("Usmis"),
    ActivityProgress = strings::digestOf("ActivityProgress"),
  };

  /// Reads the configuration of the instance, synchronises the managed interfaces, and writes the
  /// SNMP agent's file where it is missing or empty.
  explicit InterfaceManager(const char* name);
  ~InterfaceManager() override = default;

  /// The service, or null while there is none.
  static InterfaceManager* getSingleton() { return m_pSingleton; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Startup() override;
  void Shutdown() override;
  bool serviceEvent(strings::stringtoken event, const void* data) override;
  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  const strings::stringtoken* eventSubscription() const override { return m_eventsOfInterest; }

  /// For other components: setInterfaceUp() at once, and isInterfaceUp(). False without a service.
  static bool setUp(Interfaces interface, bool up);
  static bool isUp(Interfaces interface);

  /// Whether the service manages that interface.
  bool managing(Interfaces interface) const;

  /// Switches a managed interface and answers whether that was done; false where it is not managed.
  /// With `suspendOnly` a daemon is only told apart from those that the supervision restarts, or
  /// given back to it; some interfaces are switched at once all the same. The request is remembered
  /// whatever came of it.
  bool setInterfaceUp(Interfaces interface, bool up, bool suspendOnly);

  /// Whether a managed interface works at present; false for one that is not managed.
  bool isInterfaceUp(Interfaces interface) const;
  /// The same as "^^^^" or "vvvv".
  const char* isInterfaceUpString(Interfaces interface) const;

  /// Drives a managed interface to the state that the system information asks for, which is held
  /// for reading meanwhile. Nothing happens where it cannot be had.
  void syncInterface(Interfaces interface);

  /// Switches a daemon: releases or suspends it and, unless `suspendOnly`, starts or stops it.
  /// Answers whether that command was issued; the answer carries no meaning with `suspendOnly`.
  bool processControl(strings::stringtoken daemon, bool up, bool suspendOnly);
  /// Whether a daemon runs or has just been started by the supervision.
  bool processUp(strings::stringtoken daemon) const;

  /// Writes the path of the SNMP agent's configuration file.
  void getSnmpdConfName(utility::PutStream& stream) const;
  /// Writes a user's lines of that file and answers whether there were any.
  bool handleSnmpV3User(const user::User& user, utility::VirtualPutStream& stream) const;
  /// Replaces the SNMP agent's configuration file and, 1.2 seconds later, signals the agent if it
  /// runs. `sysInfo` null: the system information is taken for reading until the end. `changed`, a
  /// user or null, is written last and in place of the user of that name. Where the file cannot be
  /// replaced it keeps its content, which is logged and remembered durably, and nothing is
  /// signalled.
  void updateSnmpdConfiguration(const sysinfo::SysInfo* sysInfo, const user::User* changed);

 private:
  static bool isDebugOn();

  void createSnmpdConfiguration();

  // What was last asked for.
  void ask(strings::stringtoken interface, bool up);
  bool isAskedUp(strings::stringtoken interface) const;

  // Switching and asking, by what carries the interface.
  bool switchInterface(const ManagementInterface& interface, bool up, bool suspendOnly);
  bool switchSmis(strings::stringtoken form, bool up, bool suspendOnly);
  bool isCarrierUp(const ManagementInterface& interface) const;
  void warnIfShutOut() const;

  // The SNMP agent's file.
  bool replaceSnmpdConf(const char* path, const sysinfo::SysInfo& sysInfo,
                        const user::User* changed, const char* operation) const;
  bool writeSnmpUsers(utility::VirtualPutStream& stream, int count, const user::User* changed,
                      const char* operation) const;
  void signalSnmpAgent(const char* operation) const;

  // Events.
  void sysInfoChanged(sysinfo::SysInfo& sysInfo);
  void applySmisSettings(const sysinfo::SysInfo& sysInfo);

  static std::atomic<InterfaceManager*> m_pSingleton;
  static const framework::ServiceInfo m_serviceInfoData;
  static const strings::stringtoken m_eventsOfInterest[];

  // Makes the service known while it lives, also when its constructor throws.
  struct Registration {
    explicit Registration(InterfaceManager* manager) { m_pSingleton = manager; }
    ~Registration() { m_pSingleton = nullptr; }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
  };

  utility::TokenSet m_managing{20};
  utility::TokenSet m_upInterfaces{20};
  mutable std::mutex m_upLock;  // guards m_upInterfaces; a leaf
  std::mutex m_switchLock;  // one switch at a time: what is asked for, suspended and issued agree
  const Registration m_registration;
};

}  // namespace services::app
