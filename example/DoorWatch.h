// An example of a plug-in's service: it warns while the enclosure's door stands open.
#pragma once

#include <atomic>

#include "host/service/fw_Service.h"

class DoorWatch : public framework::ActiveService {
 public:
  explicit DoorWatch(const char* name);

  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  void initializeCommands(framework::Shell& shell) override;
  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void threadDo(int index) override;

 private:
  void look();

  static const framework::ServiceInfo m_serviceInfoData;
  const char* m_sensor = "/run/door.open";  // a file that is there while the door is open
  int m_pollSeconds = 10;
  std::atomic<bool> m_isOpen = false;  // reports and commands run on other threads
};
