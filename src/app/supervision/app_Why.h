// Why a daemon is in its state, and what would change that, for those who wonder.
#pragma once

#include "app/supervision/app_StatePass.h"

namespace utility {
class PutStream;
}

namespace services::app {

/// Writes the rule of the state pass that decides for the daemon of that name, with its facts, and
/// for each rule that could come next the facts that it lacks.
void writeWhy(const char* name, const StateFacts& facts, utility::PutStream& stream);

/// What comes next if nothing but time passes, "is started in 3 s"; empty when nothing does.
std::string nextStep(const StateFacts& facts);

}  // namespace services::app
