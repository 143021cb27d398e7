// How long something took, counted for those who watch.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace utility {

/// Counts durations by bounds that grow, in microseconds. Adding neither waits nor allocates. Any
/// thread may call; sums that are read while one adds may lack its last.
template <std::size_t size>
class Durations {
 public:
  using Bounds = std::array<std::int64_t, size>;
  struct Sums {
    std::array<std::uint64_t, size + 1> counts{};  ///< of each bound; the last is for all above
    std::int64_t total = 0;                        ///< microseconds
  };

  /// `bounds` lives as long as this.
  explicit Durations(const Bounds& bounds) : m_bounds(bounds) {}

  void add(std::int64_t microseconds) {
    const auto* const bound = std::ranges::lower_bound(m_bounds, microseconds);
    ++m_counts[static_cast<std::size_t>(bound - m_bounds.begin())];
    m_total += microseconds;
  }

  Sums sums() const {
    Sums sums{.total = m_total};
    std::ranges::copy(m_counts, sums.counts.begin());
    return sums;
  }

 private:
  const Bounds& m_bounds;
  std::array<std::atomic<std::uint64_t>, size + 1> m_counts{};
  std::atomic<std::int64_t> m_total = 0;
};

}  // namespace utility
