// Builds, starts, runs and stops the services.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/framework/fw_Service.h"

namespace framework {

/// One service and the threads that run on its behalf, as many as it asked for when it was built;
/// their number does not change while they start and end.
struct RunningService {
  std::unique_ptr<Service> service;
  std::vector<std::thread> threads;
  /// Its Startup() or a thread ended by an exception, or a thread could not be started.
  std::shared_ptr<std::atomic<bool>> failed = std::make_shared<std::atomic<bool>>(false);
};

/// The services of the process, in the order of their building.
///
/// build(), start(), stop() and destroy() are called once each, in this order, by the main thread.
/// Between build() and destroy() the list does not change, so any thread may read it.
class ServiceHost {
 public:
  static ServiceHost& instance();

  /// Builds the named services in this order. One that has no factory, whose constructor throws or
  /// that its factory does not build is logged as an error and left out.
  void build(const std::vector<std::string>& names);
  /// Calls Startup() on each, begins to deliver events and runs the threads. One whose Startup()
  /// throws gets neither.
  void start();
  /// Ends the delivery of events, then, in reverse order, shuts each service down and joins its
  /// threads.
  void stop();
  /// Destroys the services, the last built first.
  void destroy();

  const std::vector<RunningService>& services() const { return m_services; }
  /// The service of that name, or null.
  const RunningService* find(const std::string& name) const;

 private:
  std::vector<RunningService> m_services;
};

}  // namespace framework
