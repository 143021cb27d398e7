// When a daemon that fails its probe counts as ill: the rule, and nothing but values.
#pragma once

namespace services::app {

/// Counts a daemon's failures in a row.
class HealthCount {
 public:
  static constexpr unsigned int limit = 3;

  enum class Step {
    None,
    Ill,   ///< it has failed for the limit's time: to be told
    Stop,  ///< the same of a daemon that is to be stopped; counting begins anew
    Well   ///< it was told as ill and has not failed now
  };

  /// Takes an answer of the daemon's `generation`; failures of one before it count for nothing.
  Step note(bool failed, unsigned int generation, bool act) {
    if (generation != m_generation) *this = {};
    m_generation = generation;
    if (!failed) {
      const bool wasIll = isIll();
      m_failures = 0;
      return wasIll ? Step::Well : Step::None;
    }
    if (++m_failures < limit) return Step::None;
    if (!act) return m_failures == limit ? Step::Ill : Step::None;
    m_failures = 0;
    return Step::Stop;
  }

  /// Of that generation.
  unsigned int failures(unsigned int generation) const {
    return generation == m_generation ? m_failures : 0;
  }

 private:
  bool isIll() const { return m_failures >= limit; }

  unsigned int m_generation = 0;
  unsigned int m_failures = 0;
};

}  // namespace services::app
