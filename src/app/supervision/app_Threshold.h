// The limits of the memory check.
#pragma once

#include "util/st_Tokens.h"

namespace services::app {

/// The limit of one key: a daemon's name, or the page cache.
class Threshold {
 public:
  Threshold(unsigned int key, unsigned int limit) : m_key(key), m_limit(limit) {}

  /// The limit of a key, in kB; 1048576 for a key that has none.
  static unsigned int getThreshold(unsigned int key);

 private:
  static const Threshold m_thresholds[];

  unsigned int m_key;
  unsigned int m_limit;
};

}  // namespace services::app
