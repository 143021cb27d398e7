// The service that brings login, Redfish and metrics to the web listeners.
#pragma once

#include <memory>

#include "host/service/fw_Service.h"
#include "host/web/ht_Site.h"
#include "web/wb_Delivery.h"
#include "web/wb_EventFeed.h"
#include "web/wb_EventWatch.h"
#include "web/wb_Snapshot.h"

namespace services::web {

/// From its start to its shutdown it gives the web listeners their site: who may, the Redfish
/// service below "/redfish", "/metrics", the live page below "/ui/", and the page of plain text
/// "/". Build it last, since its clients ask the other services.
class WebService : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance.
  explicit WebService(const char* name);
  ~WebService() override = default;

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Startup() override;
  /// Returns when no request is answered any more.
  void Shutdown() override;
  const framework::ServiceInfo* serviceInfo() const override;
  /// Thread 0 looks for what happened, once a second; thread 1 sends it to the subscribed.
  void threadDo(int index) override;

 private:
  http::Site site();
  void lookForEvents(EventWatch& watch);

  bool m_openOnLoopback = false;
  Audit m_audit;
  RecentLines& m_lines = RecentLines::instance();
  EventFeed m_feed;
  std::unique_ptr<Delivery> m_delivery;
  std::unique_ptr<Login> m_login;
  std::unique_ptr<Sources> m_sources;
};

}  // namespace services::web
