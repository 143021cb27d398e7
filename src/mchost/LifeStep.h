// What the process is about, for the line that says why it ended.
#pragma once

#include <string>

namespace mchost {

/// The main thread begins a step of the process's life. From the first on an exception that nobody
/// catches ends the process with status 1, once the log has written what it was given (at most a
/// second), and an error line that names the step. Nothing is destroyed then: threads may run that
/// need it.
void beginStep(const std::string& name);

/// The step that was begun last; any thread may call.
std::string currentStep();

}  // namespace mchost
