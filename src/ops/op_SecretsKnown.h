// The secrets that the host knows of.
#pragma once

#include "ops/op_Redactor.h"

namespace services::ops {

/// Tells the redactor every secret value of the store, of the users and of the configuration.
void addKnownSecrets(Redactor& redactor);

/// The configuration in force as TOML, a property a line, without its secrets.
std::string configurationWithout(Redactor& redactor);

}  // namespace services::ops
