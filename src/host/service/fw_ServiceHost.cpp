// Builds, starts, runs and stops the services.
#include "host/service/fw_ServiceHost.h"

#include <algorithm>
#include <stdexcept>

#include "host/base/fw_Guarded.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_ServiceFactory.h"

namespace framework {

namespace {

// Runs a piece of the service's life; one that throws makes it a failed service.
template <typename Work>
void live(const RunningService& running, const char* what, Work&& work) {
  if (!guarded(running.service->getNameString(), what, work)) *running.failed = true;
}

void runThreads(RunningService& running) {
  auto* active = dynamic_cast<ActiveService*>(running.service.get());
  if (active == nullptr) return;
  for (std::size_t i = 0; i < running.threads.size(); ++i) {
    running.threads[i] = std::thread([&running, active, i] {
      live(running, "thread", [&] { active->threadDo(static_cast<int>(i)); });
    });
  }
}

std::size_t requestedThreads(const Service& service) {
  const auto* active = dynamic_cast<const ActiveService*>(&service);
  return active == nullptr ? 0 : active->NumRequestedThreads();
}

RunningService buildOne(const ServiceFactory& factory) {
  std::unique_ptr<Service> service(factory.getBuild()(factory.getName()));
  if (service == nullptr) throw std::runtime_error("nothing was built");
  return {std::move(service), {}};
}

}  // namespace

ServiceHost& ServiceHost::instance() {
  static ServiceHost& only = *new ServiceHost;
  return only;
}

void ServiceHost::setProgress(std::function<void(const std::string& piece)> begin) {
  m_progress = std::move(begin);
}

void ServiceHost::begin(const char* piece, const Service& service) const {
  if (m_progress) m_progress(std::string(piece) + " of " + service.getNameString());
}

void ServiceHost::build(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const ServiceFactory* factory = ServiceFactory::find(name);
    if (factory == nullptr) {
      Logger::StaticLog(LogType::Error, "%s: no such service is registered", name.c_str());
      continue;
    }
    guarded(name.c_str(), "construction", [&] { m_services.push_back(buildOne(*factory)); });
  }
}

void ServiceHost::start() {
  std::vector<Service*> all;
  for (RunningService& running : m_services) {
    begin("Startup", *running.service);
    live(running, "Startup", [&] { running.service->Startup(); });
    if (*running.failed) continue;
    all.push_back(running.service.get());
    running.threads.resize(requestedThreads(*running.service));
  }
  if (m_progress) m_progress("delivery of events");
  EventManager::instance().start(all);
  for (RunningService& running : m_services) {
    if (!*running.failed) live(running, "start of threads", [&] { runThreads(running); });
  }
}

void ServiceHost::stop() {
  EventManager::instance().stop(
      [this](const Service& service) { begin("event handler", service); });
  for (auto last = m_services.rbegin(); last != m_services.rend(); ++last) {
    RunningService& running = *last;
    begin("Shutdown", *running.service);
    guarded(running.service->getNameString(), "Shutdown", [&] { running.service->Shutdown(); });
    begin("threads", *running.service);
    for (std::thread& thread : running.threads) {
      if (thread.joinable()) thread.join();
    }
  }
}

void ServiceHost::destroy() {
  while (!m_services.empty()) {
    begin("destruction", *m_services.back().service);
    m_services.pop_back();
  }
}

const RunningService* ServiceHost::find(const std::string& name) const {
  const auto found = std::ranges::find_if(m_services, [&](const RunningService& running) {
    return name == running.service->getNameString();
  });
  return found == m_services.end() ? nullptr : &*found;
}

}  // namespace framework
