// One sample of the memory accounts.
#pragma once

#include "util/ut_DateTime.h"

namespace services::app {

/// A sample of the save track. The ring that holds it knows whether it was filled, so the counters
/// of a new one are not set.
class memtrack_ {
 public:
  memtrack_() {}  // leaves the counters alone

  utility::DateTime timeStamp;
  int totalBytes;  ///< what the allocator holds of the system
  int usedBytes;
  int freeBytes;
  int extraBytes;    ///< what the system could have back
  int sysBytesFree;  ///< the machine's free memory, in kB
  int sysPercentFree;
};

}  // namespace services::app
