// The service that keeps both controllers on the same firmware and configuration.
#pragma once

#include <atomic>
#include <mutex>

#include "app/pairing/app_BurnToActive.h"
#include "app/pairing/app_UpdateRules.h"
#include "host/base/fw_Memory.h"
#include "host/service/fw_Service.h"

namespace services::sysinfo {
class MCInfo;
class SysInfo;
}  // namespace services::sysinfo

namespace services::app {

/// Compares the controllers' versions in every cycle, asks the pairing decisions what this
/// controller should give, and starts the command that gives it. The command's progress and result
/// are not watched: it is started again in every cycle in which its condition still holds. A
/// controller that is slave records the midplane as its own once it gives, or has all it needs.
///
/// No access to the system information is held while a decision is made.
class PartnerFirmwareUpdate : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance.
  explicit PartnerFirmwareUpdate(const char* name);
  ~PartnerFirmwareUpdate() override;

  /// The service, or null while none was built.
  static PartnerFirmwareUpdate* getSingleton() { return m_pPartnerFirmwareUpdate; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Startup() override;
  void Shutdown() override;
  bool serviceEvent(strings::stringtoken event, const void* data) override;
  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  const strings::stringtoken* eventSubscription() const override { return m_eventsOfInterest; }
  void threadDo(int index) override;

  /// Starts a cycle at once. Any thread may call.
  void kickstart();

  /// Hand over and take back the partner's versions, which count while the partner's information is
  /// not valid; each a text or null. Any thread may call.
  void setVersions(const char* mcVersion, const char* bundleVersion);
  void clearVersions();

  /// Writes a controller's versions into fields of 32 bytes, cut silently; unavailable ones are
  /// empty, and all are without a record. Hold the system information.
  void getVersions(const sysinfo::MCInfo* controller, char* mc, char* cpld, char* bundle,
                   bool isLocal) const;

  /// How the versions stand, as a cycle finds them. Takes the system information for reading.
  Comparison comparison() const;

  /// While what is answered lives no cycle runs: who has the decisions made afresh so leaves none
  /// between a cycle's decision and its command. Where a service runs it waits for the cycle.
  static std::unique_lock<std::mutex> betweenCycles();

  /// Records the midplane as this controller's own if it is slave.
  void pairWithMidplane();

 private:
  struct Versions {
    VersionTexts local;
    VersionTexts partner;
    Comparison comparison;
  };

  void cycle();
  Versions readVersions(const sysinfo::SysInfo& sysInfo) const;
  void cycleWhileDisabled();
  void cycleOfEqual();
  void cycleOfDifferent(Comparison comparison);
  void logUnavailable(const VersionTexts& local, const VersionTexts& partner) const;
  void logDifferent(const VersionTexts& local, const VersionTexts& partner) const;
  void act(const UpdateStep& step);
  static BurnToActive::SyncAction firmwareAction();

  static constexpr int slowPoll = 60;  // seconds
  static std::atomic<PartnerFirmwareUpdate*> m_pPartnerFirmwareUpdate;
  static const framework::ServiceInfo m_serviceInfoData;
  static const strings::stringtoken m_eventsOfInterest[];

  utility::Waiter m_cycleWaiter;
  int m_pollConfigured = 180;          // seconds
  std::atomic<int> m_pollSeconds = 0;  // to the next cycle
  framework::StaticText m_partnerMcVersion;
  framework::StaticText m_partnerBundleVersion;
  mutable std::mutex m_versionsLock;  // guards the two texts; a leaf
  static std::mutex m_cycleLock;      // held over a cycle; taken before the system information
};

}  // namespace services::app
