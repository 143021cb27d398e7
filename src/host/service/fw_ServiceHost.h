// Builds, starts, runs and stops the services.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/service/fw_Service.h"

namespace framework {

/// One service and the threads that run on its behalf, as many as it had asked for when its
/// Startup() returned.
struct RunningService {
  std::unique_ptr<Service> service;
  std::vector<std::thread> threads;
  /// Its Startup() or a thread ended by an exception, or a thread could not be started.
  std::shared_ptr<std::atomic<bool>> failed = std::make_shared<std::atomic<bool>>(false);
};

/// The services of the process, in the order of their building.
///
/// build(), start(), stop() and destroy() are called once each, in this order, by the main thread.
/// Between start() and destroy() the list and the threads' number do not change, so any thread may
/// read them.
class ServiceHost {
 public:
  static ServiceHost& instance();

  /// Has `begin` told of each piece of the services' life before it begins, on the main thread:
  /// "Startup of NAME". Who waits for one that does not end knows its name.
  void setProgress(std::function<void(const std::string& piece)> begin);

  /// Builds the named services in this order. One that has no factory, whose constructor throws or
  /// that its factory does not build is logged as an error and left out.
  void build(const std::vector<std::string>& names);
  /// Calls Startup() on each, begins to deliver events and runs the threads that each asked for
  /// until then. One whose Startup() throws gets neither.
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
  void begin(const char* piece, const Service& service) const;

  std::function<void(const std::string&)> m_progress;
  std::vector<RunningService> m_services;
};

}  // namespace framework
