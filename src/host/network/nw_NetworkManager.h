// The hosts table: names of hosts and their addresses.
#pragma once

namespace services::network {

/// The system's hosts file, /etc/hosts, in the form of hosts(5). It is read anew by each call. Any
/// thread may call.
class NetworkManager {
 public:
  /// Writes the address of a host name into `buffer` of `size` bytes, terminated; that of the first
  /// line that holds the name, in either letter case. False, and nothing is written, when none
  /// does or the address does not fit.
  static bool getHosts(char* buffer, unsigned int size, const char* hostName);

  /// Points a host name at an IPv4 address: afterwards one line holds the name. Other names stay
  /// where they are, other lines and comments as they are, byte for byte; the file is replaced
  /// whole, or not touched where it says so already. False, with an error line and the file
  /// unchanged, for what is no address or host name or when the file cannot be read or written.
  static bool setHosts(const char* address, const char* hostName);
};

}  // namespace services::network
