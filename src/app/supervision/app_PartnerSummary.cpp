#include "app/supervision/app_PartnerSummary.h"

#include <mutex>
#include <utility>

namespace services::app {

namespace {

std::mutex mutex;  // guards what follows
std::optional<PartnerSummary> last;

}  // namespace

void setPartnerSummary(std::optional<PartnerSummary> summary) {
  const std::lock_guard lock(mutex);
  last = std::move(summary);
}

std::optional<PartnerSummary> partnerSummary() {
  const std::lock_guard lock(mutex);
  return last;
}

}  // namespace services::app
