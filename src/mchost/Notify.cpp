// Telling the service manager how the daemon fares.
#include "mchost/Notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/machine/Descriptor.h"

namespace mchost {

void notify(const char* state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  if (path == nullptr || std::strlen(path) >= sizeof(address.sun_path)) return;
  std::memcpy(address.sun_path, path, std::strlen(path));
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const auto size = offsetof(sockaddr_un, sun_path) + std::strlen(path);
  const platform::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ::sendto(socket.get(), state, std::strlen(state), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size));
}

}  // namespace mchost
