// How the pairing with the partner stands, as the partner link explains it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace services::app {

/// Texts for people; an empty one stands for none.
struct PairingStory {
  std::string firmwareAction;            ///< "Receive"
  std::string settingsAction;            ///< "Merge"
  std::string stall;                     ///< why the two do not go on
  std::string remedy;                    ///< a command of the console, or what a person must do
  std::string push;                      ///< the push that is under way or asked for
  std::vector<std::string> explanation;  ///< the lines of "partner show"
  std::int64_t asOf = 0;                 ///< host timestamp
};

/// Kept by the partner link, while one is loaded, each time that it looks. Any thread may call.
void setPairingStory(PairingStory story);
/// Nothing before the first.
std::optional<PairingStory> pairingStory();

}  // namespace services::app
