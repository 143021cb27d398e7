// What the host runs: services, and services with threads of their own.
#pragma once

#include <atomic>
#include <string>

#include "host/base/fw_Entity.h"
#include "host/base/ut_Waiter.h"

namespace framework {

class Shell;

/// A service's description: its name, the token of its debug flag, and its class.
struct ServiceInfo {
  strings::stringtoken name;
  strings::stringtoken debugFlag;
  strings::stringtoken serviceClass;
};

/// A part of the host process with a life of its own.
///
/// The host builds it through its factory, calls Startup(), delivers the events that it subscribes
/// to on a thread of its own, asks for reports on any thread, and at the end calls Shutdown() and
/// destroys it. A constructor may throw; the service is then logged as not built.
///
/// Whatever it overrides may throw: an error line says so, and a service whose registration of
/// commands, Startup() or thread threw is shown as failed. What the host itself throws is a
/// pointer, framework::Exception*, which `catch (const std::exception&)` misses and whose catcher
/// deletes it (fw_Exception.h); the bounded streams throw it where a text finds no room.
class Service : public Entity {
 public:
  /// `name` is the instance name under which the configuration holds the service's properties.
  explicit Service(const char* name);

  strings::stringtoken getName() const override { return m_name; }
  const char* getNameString() const override;
  void information(utility::PutStream& stream, int indentation, bool detailed) const override;

  /// Registers the service's console commands. The host calls it once, on the main thread, between
  /// the building of the services and their Startup(); at no other time does the shell take any.
  /// The commands outlive the service, but are called only between Startup() and Shutdown().
  virtual void initializeCommands(Shell& /*shell*/) {}

  virtual void Startup() {}
  virtual void Shutdown() {}

  /// Handles an event. `data` is the event's own: a terminated text, a record or null, valid
  /// during the call. The answer says whether the event was acted upon.
  virtual bool serviceEvent(strings::stringtoken event, const void* data);

  virtual const ServiceInfo* serviceInfo() const = 0;

  /// The events that are to be delivered, ended by strings::tGSendOfList; null for none.
  virtual const strings::stringtoken* eventSubscription() const { return nullptr; }

  strings::stringtoken ServiceName() const { return m_name; }

 private:
  strings::stringtoken m_name;
};

/// A service on whose behalf the host runs threads.
class ActiveService : public Service {
 public:
  using Service::Service;

  /// Asks the threads to end and wakes all that sleep on the base's waiter. None misses it that
  /// tests requestToShutdown() with the waiter locked before it sleeps; a single thread need not
  /// lock for the test.
  void Shutdown() override;

  /// The body of thread `index`, 0 <= index < NumRequestedThreads(). Returns soon after
  /// requestToShutdown() became true.
  virtual void threadDo(int index) = 0;

  unsigned int NumRequestedThreads() const { return m_requestedThreads; }
  bool requestToShutdown() const { return m_shutdown.load(); }
  void shutDownRequest() { m_shutdown.store(true); }

 protected:
  void setRequestedThreads(unsigned int count) { m_requestedThreads = count; }

  utility::Waiter m_waiter;  ///< what the threads sleep on

 private:
  unsigned int m_requestedThreads = 0;
  std::atomic<bool> m_shutdown = false;
};

}  // namespace framework
