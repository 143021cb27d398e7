// Whether a plug-in was built for this host.
#include "mchost/PluginStamp.h"

#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/machine/Descriptor.h"
#include "host/service/fw_PluginStamp.h"

namespace mchost {

namespace {

constexpr std::size_t most = 1 << 20;  // bytes of headers or notes; no library has so many
constexpr std::size_t aligned = 4;     // as the notes of plug-ins are
constexpr std::string_view owner("MC\0", 3);

struct Stamp {
  std::uint32_t interface = 0;
  std::uint32_t tokens = 0;
  bool operator==(const Stamp&) const = default;
};

constexpr Stamp ours = {framework::pluginInterface, framework::tokenTable};

// `size` bytes at `offset` as values; none when the file does not have them.
template <typename Value>
std::vector<Value> readAt(int file, std::uint64_t offset, std::size_t size) {
  std::vector<Value> values(size <= most ? size / sizeof(Value) : 0);
  const std::size_t bytes = values.size() * sizeof(Value);
  const auto count = ::pread(file, values.data(), bytes, static_cast<off_t>(offset));
  if (count < 0 || static_cast<std::size_t>(count) != bytes) values.clear();
  return values;
}

bool isForThisMachine(const ElfW(Ehdr) & header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
         header.e_ident[EI_CLASS] == (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32) &&
         header.e_phentsize == sizeof(ElfW(Phdr));
}

// Takes a note, or what fills its name or text up, from the front.
std::string_view take(std::string_view& notes, std::size_t size) {
  const std::string_view taken = notes.substr(0, size);
  notes.remove_prefix(std::min(notes.size(), (size + aligned - 1) / aligned * aligned));
  return taken;
}

// The stamps among the notes of a segment.
void collect(std::string_view notes, std::vector<Stamp>& stamps) {
  ElfW(Nhdr) note{};
  while (notes.size() >= sizeof(note)) {
    std::memcpy(&note, take(notes, sizeof(note)).data(), sizeof(note));
    const std::string_view name = take(notes, note.n_namesz);
    const std::string_view text = take(notes, note.n_descsz);
    if (name != owner || note.n_type != framework::pluginNote || text.size() != sizeof(Stamp)) {
      continue;
    }
    std::memcpy(&stamps.emplace_back(), text.data(), sizeof(Stamp));
  }
}

std::string shown(const Stamp& stamp) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "interface %u with tokens %08x", stamp.interface,
                stamp.tokens);
  return text.data();
}

}  // namespace

std::optional<std::string> misfitOf(const std::string& path) {
  const platform::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const auto header = readAt<ElfW(Ehdr)>(file.get(), 0, sizeof(ElfW(Ehdr)));
  if (header.empty() || !isForThisMachine(header[0])) return std::nullopt;
  std::vector<Stamp> stamps;
  for (const auto& segment :
       readAt<ElfW(Phdr)>(file.get(), header[0].e_phoff, header[0].e_phnum * sizeof(ElfW(Phdr)))) {
    if (segment.p_type != PT_NOTE || segment.p_align > aligned) continue;
    const auto notes = readAt<char>(file.get(), segment.p_offset, segment.p_filesz);
    collect({notes.data(), notes.size()}, stamps);
  }
  if (stamps.empty()) return "is no plug-in: it has no note of the interface that it was built for";
  const auto other = std::ranges::find_if(stamps, [](const auto& stamp) { return stamp != ours; });
  if (other == stamps.end()) return std::nullopt;
  return "is built for " + shown(*other) + ", and this host has " + shown(ours) +
         "; build it anew with this host's headers";
}

}  // namespace mchost
