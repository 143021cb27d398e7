#include "mchost/StartPages.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace mchost {

namespace {

// Segments without the right to write have no page that differs from its file. The kernel refuses
// those that are none of a file, which is as well.
int release(dl_phdr_info* object, std::size_t /*size*/, void* /*nothing*/) {
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = object->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
    const std::uintptr_t begin = (object->dlpi_addr + segment.p_vaddr) & ~(page - 1);
    const std::uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): addresses of segments are numbers in ELF
    ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
  }
  return 0;
}

}  // namespace

void releaseStartPages() {
  ::malloc_trim(0);
  ::dl_iterate_phdr(release, nullptr);
}

}  // namespace mchost
