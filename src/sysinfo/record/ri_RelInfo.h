// What the firmware release carries.
#pragma once

#include <atomic>

namespace services::relinfo {

class RelInfo {
 public:
  /// Whether the release carries the pairing decisions. Any thread may call.
  static bool hasBurnToActive() { return m_burnToActive; }
  static void setBurnToActive(bool carried) { m_burnToActive = carried; }

 private:
  static std::atomic<bool> m_burnToActive;
};

}  // namespace services::relinfo
