// The service that tracks the network paths to the partner controller.
#pragma once

#include <atomic>

#include "app/paths/app_PathRules.h"
#include "host/service/fw_Service.h"

namespace services::app {

/// Pings the partner over its two paths, "othermcinner" and "othermcouter" of the hosts table, logs
/// each change, and points the name "othermc" at the outer path while that is up, at the inner one
/// when it goes down.
///
/// In the first two minutes a cycle runs every fastPollSeconds and pings until both paths are up;
/// afterwards every normalPollSeconds, and after fastPollSeconds when a path has gone down.
class NetTracker : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance.
  explicit NetTracker(const char* name);
  ~NetTracker() override;

  /// The service, or null while none was built.
  static NetTracker* getSingleton() { return m_pSingleton; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Startup() override;
  void Shutdown() override;
  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  void threadDo(int index) override;

  /// Whether a host answers one ping within ten seconds. This controller itself never does.
  bool ping(const char* hostName) const;

  /// Whether a path answered its last ping. Any thread may ask.
  bool isInnerPathUp() const { return m_innerPathUp; }
  bool isOuterPathUp() const { return m_outerPathUp; }

 private:
  void cycle(std::int64_t start);
  void pingPaths();
  PathChange pingPath(const char* hostName, std::atomic<bool>& isUp);
  void logChange(const char* path, PathChange change) const;

  static std::atomic<NetTracker*> m_pSingleton;
  static const framework::ServiceInfo m_serviceInfoData;

  int m_fastPollSeconds = 10;
  int m_normalPollSeconds = 60;
  int m_pollSeconds = 0;  // to the next cycle
  std::atomic<bool> m_innerPathUp = false;
  std::atomic<bool> m_outerPathUp = false;
  bool m_isStartUp = true;
};

}  // namespace services::app
