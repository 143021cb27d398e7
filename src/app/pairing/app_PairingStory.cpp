// How the pairing with the partner stands, as the partner link explains it.
#include "app/pairing/app_PairingStory.h"

#include <mutex>
#include <utility>

namespace services::app {

namespace {

std::mutex mutex;  // guards what follows
std::optional<PairingStory> last;

}  // namespace

void setPairingStory(PairingStory story) {
  const std::lock_guard lock(mutex);
  last = std::move(story);
}

std::optional<PairingStory> pairingStory() {
  const std::lock_guard lock(mutex);
  return last;
}

}  // namespace services::app
