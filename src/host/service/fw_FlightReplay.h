// A plug-in's telling of a flight recorder's file.
#pragma once

#include <string>

namespace utility {
class PutStream;
}

namespace framework {

/// Registers who decides again what a flight recorder's file holds. Made by a static initialiser;
/// the host calls it when it is asked to replay a file.
class FlightReplay {
 public:
  /// Writes the story of a file's content into `stream`; answers in how many places this build
  /// decides otherwise, or -1 where the content has nothing to tell.
  using Replay = int (*)(const std::string& content, utility::PutStream& stream);

  explicit FlightReplay(Replay replay);

  /// The one that was registered, or null.
  static Replay get();
};

}  // namespace framework
