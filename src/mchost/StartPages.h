// The memory that only the start of the host, or its first cycles, needed.
#pragma once

namespace mchost {

/// Gives back free memory of the heap, and lets go of the pages of programs and libraries that are
/// read alone: the start touches most of them, the work from then on few. What is needed again
/// comes from the page cache. Takes about a millisecond; any thread may run meanwhile.
void releaseStartPages();

}  // namespace mchost
